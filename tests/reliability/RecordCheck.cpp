#include "RecordCheck.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "Json.h"

namespace {

using Kind = LineShapes::Kind;

constexpr std::size_t mostGapsListed = 40;

// A rotated file's name is its stem, "_", 17 digits, "-" and a sequence of
// three that wraps at 1000, also within a millisecond.
std::string StampOf(const std::string& name) {
  const std::size_t at = name.rfind('_');
  return at == std::string::npos ? std::string() : name.substr(at + 1);
}

bool IsOlder(const std::filesystem::path& left, const std::filesystem::path& right) {
  const std::string first = StampOf(left.filename());
  const std::string second = StampOf(right.filename());
  if (first.empty() || second.empty()) return !first.empty() && second.empty();
  constexpr std::size_t timeLength = 17;
  constexpr std::size_t sequenceLength = 3;
  const int byTime = first.compare(0, timeLength, second, 0, timeLength);
  if (byTime != 0 || first.size() < timeLength + 1 + sequenceLength) return byTime < 0;
  const int a = std::atoi(first.substr(timeLength + 1, sequenceLength).c_str());
  const int b = std::atoi(second.substr(timeLength + 1, sequenceLength).c_str());
  return std::abs(a - b) > 500 ? a > b : a < b;
}

void PrintStream(std::ostream& out, const RecordCheck::Stream& stream) {
  out << "{\"count\": " << stream.count << ", \"next\": " << stream.timesSeen.size()
      << ", \"missing\": " << stream.timesSeen.size() - stream.count << ", \"gaps\": [";
  std::size_t listed = 0;
  for (std::size_t i = 0; i < stream.timesSeen.size() && listed < mostGapsListed; ++i) {
    if (stream.timesSeen[i] != 0) continue;
    const std::size_t begin = i;
    while (i < stream.timesSeen.size() && stream.timesSeen[i] == 0) ++i;
    out << (listed++ == 0 ? "" : ", ") << '[' << begin << ", " << i << ']';
  }
  out << "]}";
}

}  // namespace

void RecordCheck::Add(const std::string& path) {
  if (!std::filesystem::is_directory(path)) return AddFile(path);
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    if (entry.is_regular_file() && entry.path().extension() == ".log") {
      paths.push_back(entry.path());
    }
  }
  std::stable_sort(paths.begin(), paths.end(), IsOlder);
  for (const auto& each : paths) AddFile(each);
}

void RecordCheck::AddFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  ++files;
  std::string_view rest = content;
  for (std::size_t end = 0; (end = rest.find('\n')) != std::string_view::npos;) {
    AddLine(rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
  if (rest.empty()) return;
  // Without a newline: cut. Only the newline itself may be what is missing.
  if (shapes.Read(rest).kind != Kind::Damaged) {
    ++cutTails;
    cutFile = path;
  } else {
    AddLine(rest);
  }
}

void RecordCheck::AddLine(std::string_view line) {
  const LineShapes::Reading reading = shapes.Read(line);
  if (reading.kind == Kind::Record || reading.kind == Kind::Own) return Count(reading);
  if (AddPieces(line)) return;
  if (damaged++ == 0) firstDamaged = line.substr(0, 400);
}

// Lines without an end, each followed by the next: the last one is whole. What
// is missing may be the newline alone; such a record counts as written.
bool RecordCheck::AddPieces(std::string_view line) {
  for (std::size_t at = 0; (at = shapes.NextBeginning(line, at + 1)) != std::string_view::npos;) {
    const LineShapes::Reading piece = shapes.Read(line.substr(0, at));
    if (piece.kind == Kind::Damaged) continue;
    const std::string_view rest = line.substr(at);
    const LineShapes::Reading reading = shapes.Read(rest);
    const bool isWhole = reading.kind == Kind::Record || reading.kind == Kind::Own;
    if (!isWhole && !AddPieces(rest)) continue;
    ++cutInside;
    if (piece.kind != Kind::Begun) Count(piece);
    if (isWhole) Count(reading);
    return true;
  }
  return false;
}

void RecordCheck::Count(const LineShapes::Reading& reading) {
  if (reading.kind == Kind::Own) {
    ++ownLines;
    return;
  }
  ++records;
  const RecordId& id = reading.id;
  Stream& stream = streams[{id.writer, id.thread}];
  if (stream.any && id.sequence < stream.last) ++disorder;
  stream.any = true;
  stream.last = id.sequence;
  if (stream.timesSeen.size() <= id.sequence) stream.timesSeen.resize(id.sequence + 1);
  if (stream.timesSeen[id.sequence]++ == 0) {
    ++stream.count;
  } else {
    ++duplicates;
  }
}

const RecordCheck::Stream* RecordCheck::Find(unsigned writer, unsigned thread) const {
  const auto found = streams.find({writer, thread});
  return found == streams.end() ? nullptr : &found->second;
}

std::string RecordCheck::Json() const {
  std::ostringstream out;
  out << "{\"files\": " << files << ", \"records\": " << records << ", \"own\": " << ownLines
      << ", \"damaged\": " << damaged << ", \"cutInside\": " << cutInside
      << ", \"cutTails\": " << cutTails << ", \"duplicates\": " << duplicates
      << ", \"disorder\": " << disorder << ", \"cutFile\": " << JsonText(cutFile)
      << ", \"firstDamaged\": " << JsonText(firstDamaged) << ", \"streams\": {";
  bool isFirst = true;
  for (const auto& [key, stream] : streams) {
    out << (isFirst ? "" : ", ") << '"' << key.first << '.' << key.second << "\": ";
    PrintStream(out, stream);
    isFirst = false;
  }
  out << "}}";
  return out.str();
}
