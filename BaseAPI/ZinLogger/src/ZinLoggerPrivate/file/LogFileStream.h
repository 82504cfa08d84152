// An output stream over a file descriptor: unbuffered, and tried afresh after
// every failure.
#ifndef ZIN_LOG_FILE_STREAM_H
#define ZIN_LOG_FILE_STREAM_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// Nothing is kept back in a buffer, so a write that failed leaves nothing that
// a later one could repeat. For use by one thread.
class LogFileStream {
 public:
  // What Open does with a file that is there already.
  enum class Existing { Empty, Refuse };

  // Opens `path` for writing and creates it, if needed, with mode 0640. The
  // descriptor is closed on exec and never 0, 1 or 2: a service that has closed
  // its standard streams must not get its log file as standard error.
  //
  // Null when the file cannot be opened, with the reason in errno: EEXIST when
  // a file that is there was refused.
  static std::unique_ptr<LogFileStream> Open(const std::string& path,
                                             Existing existing = Existing::Empty);

  // Closes the descriptor, unless it is lost; a failure is ignored.
  ~LogFileStream();
  LogFileStream(const LogFileStream&) = delete;
  LogFileStream& operator=(const LogFileStream&) = delete;

  // Hands all bytes of `text` to the kernel before it returns, with one write
  // unless the kernel takes them in parts. Returns how many bytes at the end it
  // did not take; then errno tells why, 0 when it gave no reason.
  std::size_t Write(std::string_view text) noexcept;

  // Whether it is a file on a disk, and not a pipe, say, whose reader may stop.
  bool IsRegularFile() const noexcept { return isRegularFile; }

  // Tells a tracer that as many bytes are not written anywhere else, either.
  void TraceLoss(std::size_t bytes, int error) const noexcept;

  // Whether the program has closed the descriptor under us: the number stands
  // for nothing, or for a file or socket of the program's.
  bool IsLost() const noexcept;

  // The same, but looks at most every ten milliseconds, and is false in between:
  // a look costs a system call, which is too dear for every line.
  bool IsFoundLost() noexcept;

  // Around fork. The child has no use for its parent's files: it closes them, or
  // they would be passed on from child to child, and what the parent removes
  // would stay on the disk. The objects are of no use there from then on.
  static void LockForFork();
  static void UnlockInParent();
  static void CloseAllInChild();

 private:
  struct File {
    dev_t device;
    ino_t number;
  };

  explicit LogFileStream(int openDescriptor);

  int descriptor;
  std::optional<File> file;  // none when it could not be examined
  bool isRegularFile = false;
  std::int64_t lookedAt;                  // milliseconds of a coarse clock
  LogFileStream* previousOpen = nullptr;  // of all that are open
  LogFileStream* nextOpen = nullptr;
};

// Whether `path` can be opened for reading; if not, errno tells why.
bool IsReadable(const std::string& path);

#endif  // ZIN_LOG_FILE_STREAM_H
