// Cuts a stream of bytes into records that the logger takes as they are.
#ifndef ZINPIPE_LINE_SPLITTER_H
#define ZINPIPE_LINE_SPLITTER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What stands at the end of a line that was too long, and at the begin of the
// line that goes on with it. Taking out both and the newline between them
// gives the line back.
constexpr std::string_view cutMark = "[zinpipe+]";
constexpr std::string_view resumeMark = "[+zinpipe]";

// A record holds whole lines with their newlines: as many as fit when lines
// are packed, else one. A line longer than a record is cut and marked. A NUL
// byte, which no record can hold, becomes the two characters \0.
class LineSplitter {
 public:
  enum class Packing { ManyLines, OneLine };

  // `longestRecord`: bytes, newlines counted.
  LineSplitter(std::size_t longestRecord, Packing packing);

  // Where the next bytes of the input go, and how many may.
  char* Room();
  std::size_t RoomSize() const;

  // `count` bytes have been put there. Take all records before the next read.
  void Added(std::size_t count);

  // The next record, valid until the next call; false: there is none yet.
  bool Next(std::string_view& record);

  // At the end of the input: as Next, but the last line needs no newline.
  bool Last(std::string_view& record);

  // Whether the last record goes on with a line that was cut.
  bool LastResumes() const { return lastResumes; }

  std::uint64_t CutLines() const { return cutLines; }
  std::uint64_t NulBytes() const { return nulBytes; }
  std::uint64_t Cuts() const { return cuts; }

 private:
  std::size_t Left() const { return end - begin; }
  void EscapeNulBytes(std::size_t from);
  bool NextPiece(std::string_view& record, bool inputEnds);
  std::string_view Piece(std::size_t count, bool goesOn);

  std::size_t longestRecord;
  Packing packing;
  std::vector<char> buffer;
  std::size_t begin = 0;  // of what was read and not yet handed out
  std::size_t end = 0;
  bool resuming = false;  // the line that stands at begin was cut before
  bool lastResumes = false;
  std::string piece;
  std::uint64_t cutLines = 0;
  std::uint64_t cuts = 0;
  std::uint64_t nulBytes = 0;
};

#endif  // ZINPIPE_LINE_SPLITTER_H
