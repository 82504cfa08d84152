#ifndef ZIN_RELIABILITY_RECORD_CHECK_H
#define ZIN_RELIABILITY_RECORD_CHECK_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Lines.h"

// Reads log files and keeps account of every byte of them.
class RecordCheck {
 public:
  // What one thread of one writer has on disk.
  struct Stream {
    std::uint64_t count = 0;              // distinct records
    std::vector<std::uint8_t> timesSeen;  // by sequence
    std::uint64_t last = 0;
    bool any = false;
  };

  explicit RecordCheck(LineShapes lineShapes) : shapes(std::move(lineShapes)) {}

  // A file, or the ".log" files of a directory: the rotated ones by age, then
  // those that are still being written.
  void Add(const std::string& path);

  [[nodiscard]] const Stream* Find(unsigned writer, unsigned thread) const;
  // The account as one JSON object.
  [[nodiscard]] std::string Json() const;

  std::uint64_t files = 0;
  std::uint64_t records = 0;    // whole ones, doubles included
  std::uint64_t ownLines = 0;   // the library's
  std::uint64_t damaged = 0;    // lines that are none of all this
  std::uint64_t cutInside = 0;  // a line without its end, directly followed by another
  std::uint64_t cutTails = 0;   // a line without its end, at the end of a file
  std::uint64_t duplicates = 0;
  std::uint64_t disorder = 0;  // records behind one of a higher sequence
  std::string firstDamaged;
  std::string cutFile;  // the last one with a cut tail

 private:
  void AddFile(const std::string& path);
  void AddLine(std::string_view line);
  bool AddPieces(std::string_view line);
  void Count(const LineShapes::Reading& reading);

  LineShapes shapes;
  std::map<std::pair<unsigned, unsigned>, Stream> streams;
};

#endif  // ZIN_RELIABILITY_RECORD_CHECK_H
