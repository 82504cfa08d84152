// Reads back what the logger writes, file after file, and counts its lines.
#ifndef ZINPIPE_OUTPUT_FILES_H
#define ZINPIPE_OUTPUT_FILES_H

#include <cstdint>
#include <deque>
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

// The logger tells nobody what became of a line. But its files can be read: the
// file being written is held open here, so that it can be read to its end even
// when it has been renamed or deleted meanwhile, and its successor is found
// under the same name. No file is missed as long as less is handed over between
// two looks than fits into one.
//
// Each file is locked while it is held, so that no second zinpipe takes the
// same name. Not thread-safe.
class OutputFiles {
 public:
  // A file of that name from an earlier run stays out of the count. `keepFiles`
  // is that of the logger. Throws std::runtime_error when another zinpipe holds
  // the name.
  OutputFiles(std::string directory, const std::string& fileName, int keepFiles, LineMark mark);

  // Looks what was written since the last look; false: nothing.
  bool Look();

  // Lines that were found since the start, with their newlines.
  std::uint64_t LinesFound() const { return linesFound; }

  // Lines that were found, but whose files are gone by now.
  std::uint64_t LinesRemoved() const;

 private:
  struct KnownFile {
    FileIdentity identity;
    std::uint64_t lines = 0;
  };

  bool ReadCurrent();
  bool FindNext();
  std::uint64_t CountLines(std::string_view bytes);

  std::string directory;
  std::string path;
  std::size_t mostKnown;
  LineMark mark;
  Descriptor current;
  FileIdentity currentIdentity;
  bool currentIsOurs = false;  // else it is what an earlier run left
  bool isLocked = true;
  std::int64_t position = 0;
  std::string unfinishedLine;  // looked at with a mark only
  std::vector<char> buffer;
  std::deque<KnownFile> known;  // the oldest first; the last one is current
  std::uint64_t linesForgotten = 0;
  std::uint64_t linesFound = 0;
};

#endif  // ZINPIPE_OUTPUT_FILES_H
