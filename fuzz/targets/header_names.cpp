// The header of a line out of any names, numbers and bounds; the stamp of a
// rotated file; the file name of a path. A buffer of exactly the stated size
// lets the address sanitizer see the first byte beyond.
//
// Input: level, source line, size of the buffer, most characters, tag, file,
// function, process name, separators, thread, milliseconds, and six numbers of a
// date. A tag, file or function "null" is a null pointer.
#include <memory>

#include "Expect.h"
#include "FakeIds.h"
#include "Fields.h"
#include "Line.h"
#include "LineFormat.h"

namespace {

constexpr long long lowest = INT32_MIN, highest = INT32_MAX;

const char* OrNull(const std::string& text) {
  return text == "null" ? nullptr : text.c_str();
}

std::string Digits(long long number, std::size_t least) {
  std::string text = std::to_string(number < 0 ? -number : number);
  if (text.size() < least) text.insert(0, least - text.size(), '0');
  return number < 0 ? "-" + text : text;
}

// What is in the buffer, and what the call says about it, for a text that is to
// be written into `destMax` bytes with at most `count` characters.
void ExpectBounded(const std::string& what, const std::string& whole, std::uint64_t destMax,
                   std::uint64_t count, const char* buffer, std::int64_t result) {
  if (destMax == 0) {
    ExpectEqual(what + ", result without a buffer", std::int64_t{-1}, result);
    return;
  }
  const std::uint64_t room = std::min(count, destMax - 1);
  const bool fits = whole.size() <= room;
  ExpectEqual(what, fits ? whole : whole.substr(0, room), std::string(buffer));
  ExpectEqual(what + ", result", fits ? static_cast<std::int64_t>(whole.size()) : -1, result);
}

void CheckHeader(const LineParts& parts, std::uint64_t destMax, std::uint64_t count) {
  const std::unique_ptr<char[]> buffer(new char[destMax]);
  const std::int64_t result =
      FormatLogHeader(destMax == 0 ? nullptr : buffer.get(), destMax, count, parts.level,
                      parts.file, parts.line, parts.function, parts.tag);
  ExpectBounded("the header", HeaderOf(parts), destMax, count, buffer.get(), result);
}

void CheckStamp(const LineParts& parts, int sequence, int process, std::uint64_t destMax,
                std::uint64_t count) {
  FakeIds::SetProcessId(process);
  const ZinDateTime& time = parts.time;
  const std::string whole = Digits(time.year, 4) + Digits(time.month, 2) + Digits(time.day, 2) +
                            Digits(time.hour, 2) + Digits(time.minute, 2) + Digits(time.second, 2) +
                            Digits(static_cast<long long>(parts.tick % 1000), 3) + "-" +
                            Digits(sequence, 3) + "-" + std::to_string(process);
  const std::unique_ptr<char[]> buffer(new char[destMax]);
  const int result =
      FormatFileStamp(destMax == 0 ? nullptr : buffer.get(), destMax, count, sequence);
  ExpectBounded("the stamp", whole, destMax, count, buffer.get(), result);
}

void CheckBaseName(const std::string& path, const std::string& separators) {
  const char* const base = BaseFileName(path.c_str(), separators.c_str());
  ExpectEqual("the file name of a path", BaseNameOf(path, separators), std::string(base));
  // A part of the path itself: its end is the path's end.
  ExpectEqual("where it ends", path.size(),
              static_cast<std::size_t>(base - path.c_str()) + std::string(base).size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fields input(data, size);
  LineParts parts;
  parts.level = static_cast<LogLevel>(input.NextNumber(lowest, highest));
  parts.line = static_cast<int>(input.NextNumber(lowest, highest));
  const auto destMax = static_cast<std::uint64_t>(input.NextNumber(0, 4096));
  const auto count = static_cast<std::uint64_t>(input.NextNumber(-1, 5000));  // -1: no bound
  const std::string tag = input.NextText(), file = input.NextText(), function = input.NextText();
  parts.tag = OrNull(tag);
  parts.file = OrNull(file);
  parts.function = OrNull(function);
  parts.process = input.NextText();
  const std::string separators = input.NextText();
  parts.thread = static_cast<int>(input.NextNumber(lowest, highest));
  parts.tick = static_cast<unsigned long>(input.NextNumber(0, INT64_MAX));
  for (std::int32_t* const field : {&parts.time.year, &parts.time.month, &parts.time.day,
                                    &parts.time.hour, &parts.time.minute, &parts.time.second}) {
    *field = static_cast<std::int32_t>(input.NextNumber(lowest, highest));
  }

  Install(parts);
  CheckHeader(parts, destMax, count);
  CheckHeader(parts, 2048, 2046);
  CheckStamp(parts, parts.line, parts.thread, destMax, count);
  CheckStamp(parts, static_cast<int>(destMax % 1000), 4711, 32, 31);
  CheckBaseName(file, separators);
  return 0;
}
