// Owns the open output files of one channel: one per sub-directory key, all of
// the same name.
#ifndef ZIN_LOG_FILE_WRITER_H
#define ZIN_LOG_FILE_WRITER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "LineRun.h"
#include "LogFileStream.h"

struct OpenLogFile {
  std::uint64_t bytesWritten = 0;  // since it was opened, failed writes included
  std::unique_ptr<LogFileStream> stream;
  std::uint64_t failedLines = 0;  // in a row, up to now
};

// Files are opened by the first line for them and stay open until they rotate
// or the writer is destroyed. What the writer is given it hands to the kernel at
// once and keeps nothing back, so a crash loses at most what it is being given.
//
// For one thread, the worker, on whose stack it lives. No operation reports a
// failure: a line whose file cannot be opened is dropped, and the next line
// tries again.
class LogFileWriter {
 public:
  // sizeLimit in bytes; keepCount in files, may be negative.
  LogFileWriter(std::string fileName, std::string directory, std::int64_t keepCount,
                std::uint64_t sizeLimit);

  // Closes all files.
  ~LogFileWriter() noexcept;
  LogFileWriter(const LogFileWriter&) = delete;
  LogFileWriter& operator=(const LogFileWriter&) = delete;

  // Appends `line` as it stands to the file of `subDirKey`. The line that takes
  // the file past the size limit is written whole; then the file is rotated.
  //
  // A write that fails because the descriptor is of no more use (the program
  // has closed it, or what it stood for is gone) opens the file anew, as the
  // first line does, and the line goes there. Any other failure costs the line.
  void WriteLine(const std::string& subDirKey, const std::string& line);

  // The same for several lines at a time, in steps, so that whoever gives them can
  // follow. From outside nothing differs from one WriteLine for each.
  //
  // The file for the next lines of the key, opened if needed. Null: it cannot be.
  OpenLogFile* FileFor(const std::string& subDirKey);

  // A run may go on after so many bytes. What is not a regular file takes one line
  // at a time: a write there may last for ever, and then holds but that line.
  std::uint64_t BytesBeforeLastLine(const OpenLogFile* file) const;

  // Writes all lines of the run with one call. When the kernel does not take all
  // of them, ends with the line that broke; then goes on line by line. Returns
  // the file that is open now; null when none is.
  OpenLogFile* WriteSome(OpenLogFile* file, LineRun& run);

  // After the last line of a run.
  void RotateIfFull(const OpenLogFile* file, const std::string& subDirKey);

  // Opens the file of `subDirKey` new and empty, with mode and owner set. A
  // file that is there already, open or left by an earlier run, is rotated
  // away first.
  void OpenFile(const std::string& subDirKey);

  // Renames `path` to its time-stamped name. Never overwrites a file: when the
  // name is taken, a fresh stamp is. When the rename fails, the file stays.
  // Returns whether the name `path` seems to be free now: it may also be the
  // folder of the rotated name that was not found.
  bool RotateFile(const std::string& path);

  // The directory in which the file of `subDirKey` stands.
  std::string DirectoryOf(const std::string& subDirKey) const;

  const std::string fileName;
  const std::string directory;
  std::map<std::string, std::unique_ptr<OpenLogFile>> openFiles;  // by sub-directory key
  const std::int64_t keepCount;        // rotated files kept next to a live one
  const std::uint64_t sizeLimit;       // bytes; a file that grows past it is rotated
  std::uint32_t rotationSequence = 0;  // 0 to 999, shared by all keys

 private:
  // Null when there is none.
  OpenLogFile* FindOpenFile(const std::string& subDirKey) const;

  // After a write that left `left` bytes, with the reason in errno: tries a new
  // file, if that may help. The file that is open now; null when none is.
  OpenLogFile* WriteAfterFailure(const std::string& subDirKey, std::string_view line,
                                 OpenLogFile& failed, std::size_t left);

  OpenLogFile* EndLine(OpenLogFile& file, const std::string& subDirKey, std::string_view line,
                       std::size_t left);
  OpenLogFile* WriteNextLine(LineRun& run);

  // Of all keys at once, before another file gets the number of one of them.
  void ForgetLostFiles();
};

// Removes the oldest rotated siblings of the writer's live file beyond its keep
// count, in the sub-directory `streamKey` ("": the writer's directory itself).
// The live file stays. Runs on the writer's worker thread.
void RemoveExcessRotatedFiles(const LogFileWriter& writer, const std::string& streamKey);

#endif  // ZIN_LOG_FILE_WRITER_H
