#include "LogFileWriter.h"

#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <utility>

#include "FileModes.h"
#include "MakeDirs.h"
#include "Probes.h"
#include "ZinDir.h"
#include "ZinDirOwnership.h"

namespace {

constexpr int mostMoves = 100;

// A file that turned up at a free name is not touched (EEXIST); one that could
// not be moved aside is emptied.
std::unique_ptr<LogFileStream> OpenEmpty(const std::string& path, bool nameIsFree) {
  using Existing = LogFileStream::Existing;
  return LogFileStream::Open(path, nameIsFree ? Existing::Refuse : Existing::Empty);
}

// A descriptor of a file on a server, disk or daemon that is gone takes nothing
// any more, even when that has come back.
bool IsGone(int error) {
  return error == ESTALE || error == ENODEV || error == ENXIO || error == ENOTCONN ||
         error == ECONNABORTED || error == ESHUTDOWN;
}

// Whether the file whose descriptor has failed for so many lines in a row is to
// be opened anew. Ever more rarely, for each time moves a file aside.
bool IsTimeToOpenAnew(int error, std::uint64_t failedLines) {
  // EIO may pass, but a file system that was shut down stays so for as long as
  // somebody holds a file of it.
  constexpr std::uint64_t fewestErrors = 16;
  if (!std::has_single_bit(failedLines)) return false;
  return IsGone(error) || (error == EIO && failedLines >= fewestErrors);
}

}  // namespace

LogFileWriter::LogFileWriter(std::string name, std::string dir, std::int64_t keep,
                             std::uint64_t limit)
    : fileName(std::move(name)), directory(std::move(dir)), keepCount(keep), sizeLimit(limit) {}

LogFileWriter::~LogFileWriter() noexcept {
  // In key order; the map's own destructor goes by its tree.
  for (auto& [subDirKey, file] : openFiles) file.reset();
}

// Deliberate: as the program gave it. A relative directory follows a chdir with
// the next file that is opened, and an empty one is the root.
std::string LogFileWriter::DirectoryOf(const std::string& subDirKey) const {
  return subDirKey.empty() ? directory : directory + "/" + subDirKey;
}

OpenLogFile* LogFileWriter::FindOpenFile(const std::string& subDirKey) const {
  const auto found = openFiles.find(subDirKey);
  return found == openFiles.end() ? nullptr : found->second.get();
}

void LogFileWriter::WriteLine(const std::string& subDirKey, const std::string& line) {
  OpenLogFile* file = FileFor(subDirKey);
  if (file != nullptr) file = EndLine(*file, subDirKey, line, file->stream->Write(line));
  RotateIfFull(file, subDirKey);
}

OpenLogFile* LogFileWriter::FileFor(const std::string& subDirKey) {
  OpenLogFile* file = FindOpenFile(subDirKey);
  if (file != nullptr && file->stream != nullptr && file->stream->IsFoundLost()) {
    ForgetLostFiles();
    file = nullptr;
  }
  if (file == nullptr) {
    OpenFile(subDirKey);
    file = FindOpenFile(subDirKey);
  }
  if (file != nullptr && file->stream == nullptr) {
    openFiles.erase(subDirKey);
    file = nullptr;
  }
  return file;
}

std::uint64_t LogFileWriter::BytesBeforeLastLine(const OpenLogFile* file) const {
  if (file == nullptr || !file->stream->IsRegularFile()) return 0;
  return sizeLimit - std::min(sizeLimit, file->bytesWritten);
}

OpenLogFile* LogFileWriter::WriteSome(OpenLogFile* file, LineRun& run) {
  if (run.DoneCount() > 0) return WriteNextLine(run);
  if (file == nullptr) {
    run.AddDone(1);
    return nullptr;
  }
  const std::size_t left = file->stream->Write(run.Text());
  const int error = errno;
  const std::size_t written = run.Text().size() - left;
  std::size_t whole = run.LineCount();
  if (left > 0) {
    for (whole = 0; run.EndOf(whole) <= written;) ++whole;
  }
  if (whole > 0) {
    file->failedLines = 0;
    file->bytesWritten += run.EndOf(whole - 1);
    run.AddDone(whole);
  }
  if (left == 0) return file;

  const std::size_t lost = run.EndOf(whole) - written;
  run.AddDone(1);
  errno = error;
  return EndLine(*file, run.Key(), run.Line(whole), lost);
}

OpenLogFile* LogFileWriter::WriteNextLine(LineRun& run) {
  OpenLogFile* const file = FileFor(run.Key());
  const std::string_view line = run.Line(run.DoneCount());
  run.AddDone(1);
  if (file == nullptr) return nullptr;
  return EndLine(*file, run.Key(), line, file->stream->Write(line));
}

// After the write of a line that left `left` bytes, with the reason in errno.
OpenLogFile* LogFileWriter::EndLine(OpenLogFile& file, const std::string& subDirKey,
                                    std::string_view line, std::size_t left) {
  OpenLogFile* current = &file;
  if (left == 0) {
    file.failedLines = 0;
  } else {
    current = WriteAfterFailure(subDirKey, line, file, left);
  }
  // Deliberate: counted whether or not the write succeeded.
  if (current != nullptr) current->bytesWritten += line.size();
  return current;
}

OpenLogFile* LogFileWriter::WriteAfterFailure(const std::string& subDirKey, std::string_view line,
                                              OpenLogFile& failed, std::size_t left) {
  const int error = errno;
  const std::uint64_t failedLines = failed.failedLines + 1;
  const bool isLost = failed.stream->IsLost();
  if (!isLost && !IsTimeToOpenAnew(error, failedLines)) {
    failed.failedLines = failedLines;
    failed.stream->TraceLoss(left, error);
    return &failed;
  }
  if (isLost) ForgetLostFiles();
  OpenFile(subDirKey);
  OpenLogFile* const file = FindOpenFile(subDirKey);
  if (file == nullptr) return nullptr;
  left = file->stream->Write(line);
  if (left != 0) {
    // The new file is no better: the next lines are not to rotate it each.
    file->stream->TraceLoss(left, errno);
    file->failedLines = failedLines;
  }
  return file;
}

void LogFileWriter::RotateIfFull(const OpenLogFile* file, const std::string& subDirKey) {
  if (file == nullptr || file->bytesWritten <= sizeLimit) return;
  OpenFile(subDirKey);
  RemoveExcessRotatedFiles(*this, subDirKey);
}

void LogFileWriter::ForgetLostFiles() {
  std::erase_if(openFiles, [](const auto& entry) {
    return entry.second->stream != nullptr && entry.second->stream->IsLost();
  });
}

void LogFileWriter::OpenFile(const std::string& subDirKey) {
  openFiles.erase(subDirKey);

  const std::string targetDirectory = DirectoryOf(subDirKey);
  const std::string path = targetDirectory + "/" + fileName;
  // Deliberate: the answer is not used; the open below finds out by itself.
  (void)ZinIsPathResolvable(path.c_str(), static_cast<int>(path.size()));
  bool nameIsFree = IsReadable(path) ? RotateFile(path) : errno == ENOENT;
  if (!ZinMakeDirs(targetDirectory)) return;

  std::unique_ptr<LogFileStream> stream = OpenEmpty(path, nameIsFree);
  for (int moved = 0; stream == nullptr && nameIsFree && errno == EEXIST; ++moved) {
    // A second worker of the channel was faster: its file is moved aside, too,
    // for emptied it would lose lines. A dangling link is followed, and a file
    // that is still there after so many tries cannot be moved.
    nameIsFree = moved < mostMoves && IsReadable(path) && RotateFile(path);
    stream = OpenEmpty(path, nameIsFree);
  }
  if (stream == nullptr) probes::OpenFail(path);
  // Deliberate: mode and owner are set even when the open failed.
  (void)chmod(path.c_str(), logFileMode);
  // Deliberate: given a file, this sets its owner and then reports that it
  // cannot open the path as a directory. At a size limit of 0 that line needs a
  // file of its own, and so on until the stop.
  (void)ZinChownDirAndFirstDepthFiles(path.c_str(), serviceAccount);
  if (targetDirectory.find("metrics") != std::string::npos) {
    (void)chmod(path.c_str(), metricsFileMode);
  }
  if (stream == nullptr) return;

  auto file = std::make_unique<OpenLogFile>();
  file->stream = std::move(stream);
  openFiles.insert_or_assign(subDirKey, std::move(file));
}
