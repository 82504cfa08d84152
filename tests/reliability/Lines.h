#ifndef ZIN_RELIABILITY_LINES_H
#define ZIN_RELIABILITY_LINES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Records.h"

// What a line of a log file may look like: a header of known shape before a
// record, or one of the lines that the library writes about itself.
class LineShapes {
 public:
  enum class Kind {
    Record,  // whole
    Own,     // the library's, whole
    Begun,   // a record or a line of the library whose end is missing
    Damaged,
  };
  struct Reading {
    Kind kind = Kind::Damaged;
    RecordId id;  // of a whole record
  };

  // `program` stands in the first bracket of every header.
  static LineShapes WithHeader(const std::string& program);
  // Nothing before the record: metrics, and the peers.
  static LineShapes Plain();

  // `line` comes without its newline.
  [[nodiscard]] Reading Read(std::string_view line) const;

  // Where a line may begin inside another one whose end is missing: the next
  // place after the first byte that looks like a header.
  [[nodiscard]] std::size_t NextBeginning(std::string_view line, std::size_t from) const;

 private:
  // '#' stands for one digit, '*' for one or more, '~' for whatever is left.
  std::string recordHeader;
  std::string beginning;
  std::vector<std::string> ownLines;
};

#endif  // ZIN_RELIABILITY_LINES_H
