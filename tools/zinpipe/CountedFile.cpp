#include "CountedFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "Newlines.h"

namespace {

constexpr std::int64_t noEnd = std::numeric_limits<std::int64_t>::max();

// A file that was emptied is written on at the place where it was: what stood
// before is a hole then, and reads as zeros. So many bytes are compared.
constexpr std::size_t longestTail = 64;

}  // namespace

CountedFile::CountedFile(Descriptor descriptor, const FileIdentity& which, const LineMark& lineMark)
    : file(std::move(descriptor)), identity(which), mark(lineMark) {}

CountedFile::Change CountedFile::Look(std::vector<char>& buffer) {
  Change change;
  struct stat status {};
  if (fstat(file.Number(), &status) != 0) return change;
  const std::string before = tail;
  const std::int64_t end = position;
  const std::uint64_t linesBefore = lines;
  change.found = ReadOn(buffer, noEnd, change.readSome);
  // After reading: it may have been emptied, and written to, just before.
  switch (WhatRemains(before, end)) {
    case Remains::All:
      break;
    case Remains::Part:
      change.lost += CountAgain(buffer, position);
      break;
    case Remains::Nothing:
      change.lost += linesBefore;
      lines -= linesBefore;
  }
  hasName = status.st_nlink > 0;
  return change;
}

// Reads up to `end`, or to the end of the file. Returns the number of lines.
std::uint64_t CountedFile::ReadOn(std::vector<char>& buffer, std::int64_t end, bool& readSome) {
  std::uint64_t found = 0;
  while (position < end) {
    const auto most = static_cast<std::size_t>(
        std::min(end - position, static_cast<std::int64_t>(buffer.size())));
    const ssize_t got = pread(file.Number(), buffer.data(), most, position);
    if (got <= 0) break;
    readSome = true;
    position += got;
    const std::string_view bytes(buffer.data(), static_cast<std::size_t>(got));
    found += CountLines(bytes);
    Remember(bytes);
    if (bytes.size() < most) break;
  }
  lines += found;
  return found;
}

// Part of what was counted has gone. Returns the number of lines that have.
std::uint64_t CountedFile::CountAgain(std::vector<char>& buffer, std::int64_t end) {
  const std::uint64_t counted = lines;
  position = 0;
  lines = 0;
  unfinishedLine.clear();
  tail.clear();
  bool readSome = false;
  (void)ReadOn(buffer, end, readSome);
  lines = std::min(lines, counted);
  return counted - lines;
}

std::uint64_t CountedFile::CountLines(std::string_view bytes) {
  if (mark.mark.empty()) return CountNewlines(bytes);
  unfinishedLine += bytes;
  std::uint64_t found = 0;
  std::size_t begin = 0;
  for (std::size_t newline = unfinishedLine.find('\n'); newline != std::string::npos;
       newline = unfinishedLine.find('\n', begin)) {
    std::string_view line(unfinishedLine.data() + begin, newline - begin);
    // A hole may precede it; no line holds a NUL byte.
    line.remove_prefix(line.rfind('\0') + 1);
    if (line.size() >= mark.offset && line.substr(mark.offset).starts_with(mark.mark)) ++found;
    begin = newline + 1;
  }
  unfinishedLine.erase(0, begin);
  return found;
}

void CountedFile::Remember(std::string_view bytes) {
  tail += bytes.substr(bytes.size() - std::min(bytes.size(), longestTail));
  if (tail.size() > longestTail) tail.erase(0, tail.size() - longestTail);
}

// Looks whether `text` still stands before `where`.
CountedFile::Remains CountedFile::WhatRemains(const std::string& text, std::int64_t where) const {
  std::array<char, longestTail> bytes{};
  const ssize_t got = pread(file.Number(), bytes.data(), text.size(),
                            where - static_cast<std::int64_t>(text.size()));
  if (got < 0) return Remains::All;  // nobody knows
  const std::string_view there(bytes.data(), static_cast<std::size_t>(got));
  if (there == text) return Remains::All;
  // The file became shorter, and may have a hole; or it is somebody else's text.
  return there.ends_with('\0') || there.size() < text.size() ? Remains::Part : Remains::Nothing;
}

std::string CountedFile::Path() const {
  std::array<char, 4096> target{};
  const std::string link = "/proc/self/fd/" + std::to_string(file.Number());
  const ssize_t length = readlink(link.c_str(), target.data(), target.size());
  std::string path(target.data(), length < 0 ? 0 : static_cast<std::size_t>(length));
  const std::string_view deleted = " (deleted)";
  if (path.ends_with(deleted)) path.resize(path.size() - deleted.size());
  return path;
}
