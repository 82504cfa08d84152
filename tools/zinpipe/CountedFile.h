// One file of the logger, and the lines that were counted in it.
#ifndef ZINPIPE_COUNTED_FILE_H
#define ZINPIPE_COUNTED_FILE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Descriptor.h"
#include "FileIdentity.h"

// Recognises the lines of the tool among those that the logger adds itself.
// Lines of the tool have `mark` at `offset`; an empty mark is in every line.
struct LineMark {
  std::size_t offset = 0;
  std::string mark;
};

// Holds the file open, so that it can be read to its end, and looked after,
// even when it has been renamed or deleted meanwhile. Not thread-safe.
class CountedFile {
 public:
  CountedFile(Descriptor file, const FileIdentity& identity, const LineMark& mark);

  struct Change {
    bool readSome = false;
    std::uint64_t found = 0;  // lines that are new
    std::uint64_t lost = 0;   // lines that were counted before and stand there no more
  };

  // Reads what was added since the last look, and sees whether what was there
  // still is. `buffer` is scratch.
  Change Look(std::vector<char>& buffer);

  const FileIdentity& Identity() const { return identity; }
  std::uint64_t Lines() const { return lines; }
  std::int64_t Size() const { return position; }  // bytes that were read

  // At the last look: whether it stands in a directory.
  bool HasName() const { return hasName; }

  // Its present path, as far as the system tells; else empty.
  std::string Path() const;

  // They have been written off; what is found from now on is counted anew.
  void ForgetLines() { lines = 0; }

 private:
  std::uint64_t ReadOn(std::vector<char>& buffer, std::int64_t end, bool& readSome);
  std::uint64_t CountLines(std::string_view bytes);
  std::uint64_t CountAgain(std::vector<char>& buffer, std::int64_t end);
  void Remember(std::string_view bytes);
  enum class Remains { All, Part, Nothing };
  Remains WhatRemains(const std::string& text, std::int64_t where) const;

  Descriptor file;
  FileIdentity identity;
  LineMark mark;
  std::int64_t position = 0;
  std::uint64_t lines = 0;
  std::string unfinishedLine;  // looked at with a mark only
  std::string tail;            // the last bytes before position
  bool hasName = true;
};

#endif  // ZINPIPE_COUNTED_FILE_H
