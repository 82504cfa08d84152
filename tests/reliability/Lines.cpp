#include "Lines.h"

#include <cctype>

namespace {

struct Match {
  bool fits = false;       // as far as the text goes
  bool textEnded = false;  // before the shape did
  std::size_t length = 0;  // of the text that the shape took
};

bool IsDigit(char character) {
  return std::isdigit(static_cast<unsigned char>(character)) != 0;
}

Match MatchShape(std::string_view text, std::string_view shape) {
  std::size_t at = 0;
  for (const char expected : shape) {
    if (expected == '~') return {true, false, text.size()};
    if (at == text.size()) return {true, true, at};
    if (expected == '#' || expected == '*') {
      if (!IsDigit(text[at])) return {};
      ++at;
      while (expected == '*' && at < text.size() && IsDigit(text[at])) ++at;
    } else if (text[at] == expected) {
      ++at;
    } else {
      return {};
    }
  }
  return {true, false, at};
}

// A record without its end: as far as the text goes, it is that record's.
bool IsBegunRecord(std::string_view text) {
  if (const auto id = ParseRecordId(text)) return RecordText(*id).starts_with(text);
  return MatchShape(text, "rec *.*.* ").textEnded;
}

}  // namespace

LineShapes LineShapes::WithHeader(const std::string& program) {
  const std::string stamp = "[" + program + "] [####-##-## ##:##:##.###] [*] ";
  const std::string owner = stamp + "[ERROR] [ZinDir:*] [ZinChownDirAndFirstDepthFiles]: ";
  const std::string stop = stamp + "[INFO] [ZinLoggerPrivate:*] [Stop";
  LineShapes shapes;
  shapes.beginning = "[" + program + "] [";
  shapes.recordHeader = stamp + "[INFO] [Driver.cpp:*] [Emit]: ";
  shapes.ownLines = {
      stop + "Queue]: @@@@ LOG EXIT @@@@",
      stop + "Queue]: @@@@ METRICS EXIT @@@@",
      stop + "MetricsQueue]: @@@@ METRICS EXIT @@@@",
      owner + "Can't get user name id, errno: *, owner = qorsrvr",
      owner + "Failed to lchown to user, error:*",
      owner + "Failed open dir,path=~",
  };
  return shapes;
}

LineShapes LineShapes::Plain() {
  LineShapes shapes;
  shapes.beginning = "rec ";
  return shapes;
}

LineShapes::Reading LineShapes::Read(std::string_view line) const {
  const Match header = MatchShape(line, recordHeader);
  if (header.fits) {
    if (header.textEnded) return {Kind::Begun, {}};
    const std::string_view text = line.substr(header.length);
    if (const auto id = ParseRecordId(text); id && RecordText(*id) == text) {
      return {Kind::Record, *id};
    }
    return {IsBegunRecord(text) ? Kind::Begun : Kind::Damaged, {}};
  }
  bool isBegun = false;
  for (const std::string& shape : ownLines) {
    const Match own = MatchShape(line, shape);
    if (own.fits && !own.textEnded && own.length == line.size()) return {Kind::Own, {}};
    isBegun = isBegun || (own.fits && own.textEnded);
  }
  return {isBegun ? Kind::Begun : Kind::Damaged, {}};
}

std::size_t LineShapes::NextBeginning(std::string_view line, std::size_t from) const {
  return line.find(beginning, from);
}
