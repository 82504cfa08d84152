// An output stream over a file descriptor: unbuffered, and tried afresh after
// every failure.
#ifndef ZIN_LOG_FILE_STREAM_H
#define ZIN_LOG_FILE_STREAM_H

#include <memory>
#include <string>

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

  // Closes the descriptor; a failure is ignored.
  ~LogFileStream();
  LogFileStream(const LogFileStream&) = delete;
  LogFileStream& operator=(const LogFileStream&) = delete;

  // Hands all bytes of `text` to the kernel before it returns, with one write
  // unless the kernel takes them in parts. When a write fails, the rest of the
  // text is lost.
  void Write(const std::string& text) noexcept;

 private:
  explicit LogFileStream(int openDescriptor) : descriptor(openDescriptor) {}

  int descriptor;
};

// Whether `path` can be opened for reading; if not, errno tells why.
bool IsReadable(const std::string& path);

#endif  // ZIN_LOG_FILE_STREAM_H
