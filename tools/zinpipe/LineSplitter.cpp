#include "LineSplitter.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t readSize = std::size_t{256} << 10;

// A UTF-8 character has at most this many bytes after its first.
constexpr std::size_t mostContinuationBytes = 3;

bool IsContinuationByte(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// The largest count, not above `most`, at which no character is cut; `most`
// where the text is not UTF-8.
std::size_t CharacterBoundary(const char* text, std::size_t most) {
  std::size_t count = most;
  while (count > 0 && most - count <= mostContinuationBytes && IsContinuationByte(text[count])) {
    --count;
  }
  return count > 0 && !IsContinuationByte(text[count]) ? count : most;
}

}  // namespace

LineSplitter::LineSplitter(std::size_t longest, Packing pack)
    : longestRecord(longest), packing(pack), buffer(longest + readSize) {}

char* LineSplitter::Room() {
  std::memmove(buffer.data(), buffer.data() + begin, Left());
  end -= begin;
  begin = 0;
  return buffer.data() + end;
}

std::size_t LineSplitter::RoomSize() const {
  return std::min(buffer.size() - end, readSize);
}

void LineSplitter::Added(std::size_t count) {
  const std::size_t from = end;
  end += count;
  if (std::memchr(buffer.data() + from, '\0', count) != nullptr) EscapeNulBytes(from);
}

void LineSplitter::EscapeNulBytes(std::size_t from) {
  std::string escaped;
  for (std::size_t i = from; i < end; ++i) {
    if (buffer[i] == '\0') {
      escaped += "\\0";
      ++nulBytes;
    } else {
      escaped += buffer[i];
    }
  }
  end = from + escaped.size();
  if (buffer.size() < end) buffer.resize(end);
  std::copy(escaped.begin(), escaped.end(), buffer.begin() + static_cast<std::ptrdiff_t>(from));
}

bool LineSplitter::Next(std::string_view& record) {
  if (resuming) return NextPiece(record, false);
  const char* const text = buffer.data() + begin;
  const std::size_t most = std::min(Left(), longestRecord);
  const void* const newline =
      packing == Packing::ManyLines ? memrchr(text, '\n', most) : std::memchr(text, '\n', most);
  if (newline == nullptr) return most == longestRecord && NextPiece(record, false);
  const auto size = static_cast<std::size_t>(static_cast<const char*>(newline) - text) + 1;
  record = {text, size};
  begin += size;
  lastResumes = false;
  return true;
}

bool LineSplitter::Last(std::string_view& record) {
  if (Next(record)) return true;
  return Left() > 0 && NextPiece(record, true);
}

// A part of a line that does not fit into one record.
bool LineSplitter::NextPiece(std::string_view& record, bool inputEnds) {
  const char* const text = buffer.data() + begin;
  const std::size_t room = longestRecord - 1 - (resuming ? resumeMark.size() : 0);
  const std::size_t most = std::min(Left(), room + 1);
  const void* const newline = std::memchr(text, '\n', most);
  if (newline != nullptr) {
    record = Piece(static_cast<std::size_t>(static_cast<const char*>(newline) - text), false);
    ++begin;  // the newline
    return true;
  }
  if (Left() > room) {
    record = Piece(CharacterBoundary(text, room - cutMark.size()), true);
    return true;
  }
  if (!inputEnds) return false;
  record = Piece(Left(), false);
  return true;
}

std::string_view LineSplitter::Piece(std::size_t count, bool goesOn) {
  piece.clear();
  if (resuming) piece += resumeMark;
  piece.append(buffer.data() + begin, count);
  if (goesOn) piece += cutMark;
  piece += '\n';
  begin += count;
  lastResumes = resuming;
  if (goesOn) ++cuts;
  if (goesOn && !resuming) ++cutLines;
  resuming = goesOn;
  return piece;
}
