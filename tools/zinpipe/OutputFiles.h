// Reads back what the logger writes, file after file, and counts its lines.
#ifndef ZINPIPE_OUTPUT_FILES_H
#define ZINPIPE_OUTPUT_FILES_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "CountedFile.h"
#include "Descriptor.h"
#include "FileIdentity.h"

// Lines that had been counted and are in no file any more, though no limit of
// this run removed them.
struct Loss {
  enum class Kind { Emptied, Removed };
  Kind kind;
  std::string path;
  std::uint64_t lines;
};

// The logger tells nobody what became of a line. But its files can be read: the
// file being written is held open here, so that it can be read to its end
// whatever becomes of its name, and its successor is found under the same name.
// No file is missed as long as less is handed over between two looks than fits
// into one. The finished files are looked after, too: what somebody else
// removes or empties is lost. Not thread-safe.
class OutputFiles {
 public:
  // A file of that name from an earlier run stays out of the count. `keepFiles`
  // is that of the logger. Throws std::runtime_error when another process has
  // locked that file.
  OutputFiles(std::string directory, const std::string& fileName, int keepFiles, LineMark mark);

  // Looks what has become of the files since the last look.
  void Look();

  // The same, and of finished files too old to be watched.
  void LookAtAll();

  // Lines that were found since the start, with their newlines, and of them:
  std::uint64_t LinesFound() const { return linesFound; }
  std::uint64_t LinesRemoved() const { return linesRemoved; }  // by the limits of this run
  std::uint64_t LinesLost() const { return linesLost; }        // by somebody else

  // What was lost since the last call.
  std::vector<Loss> TakeLosses();

  // The file that the logger writes to; null before the first line.
  const CountedFile* Live() const { return files.empty() ? nullptr : &files.back(); }

  // Whether the logger goes on writing to a file that nobody will find: it has
  // no name any more, or another file has taken its place.
  bool LiveIsAstray() const;

  // Whether the file being written became shorter since the last call: the
  // logger then writes on behind a hole.
  bool TakeLiveWasCut() { return std::exchange(liveWasCut, false); }

 private:
  using Clock = std::chrono::steady_clock;
  struct UnwatchedFile {
    FileIdentity identity;
    std::uint64_t lines;
  };

  void LookAt(CountedFile& file);
  void LookAtFinished();
  bool FindNext();
  void Adopt(Descriptor next, const FileIdentity& identity);
  void StopWatchingOldest();
  void NoteLoss(Loss::Kind kind, const CountedFile& file, std::uint64_t lines);
  void Resolve(const FileIdentity& gone, std::uint64_t lines);

  std::string directory;
  std::string path;
  std::size_t mostWatched;
  LineMark mark;
  Descriptor leftover;  // of an earlier run, open so that its number is not used again
  FileIdentity leftoverIdentity;
  std::deque<CountedFile> files;  // the oldest first; the last one is being written
  std::vector<UnwatchedFile> unwatched;
  bool liveIsTold = false;  // the loss of the file being written has been told
  bool anotherInItsPlace = false;
  bool liveWasCut = false;
  Clock::time_point lastLookAtFinished;
  std::vector<char> buffer;
  std::vector<Loss> losses;
  std::uint64_t linesFound = 0;
  std::uint64_t linesRemoved = 0;
  std::uint64_t linesLost = 0;
};

#endif  // ZINPIPE_OUTPUT_FILES_H
