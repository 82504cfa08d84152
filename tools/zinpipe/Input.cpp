#include "Input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "StandardError.h"

namespace {

constexpr int pipeSize = 1 << 20;

std::string BaseName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

int OpenFile(const std::string& path) {
  return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
}

}  // namespace

Input::Input()
    : path("standard input"), name("stdin"), file(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)) {
  if (!file.IsOpen()) {
    throw std::runtime_error(std::string("cannot use standard input: ") + std::strerror(errno));
  }
  NoteSize();
}

Input::Input(std::string filePath, bool follow, bool retry)
    : path(std::move(filePath)), name(BaseName(path)), file(OpenFile(path)), following(follow) {
  if (!file.IsOpen() && errno == ENOENT && retry) return;
  if (!file.IsOpen()) {
    throw std::runtime_error("cannot open '" + path + "': " + std::strerror(errno));
  }
  NoteSize();
  if (waits) throw std::runtime_error("'" + path + "' is not a regular file");
}

void Input::NoteSize() {
  struct stat status {};
  if (fstat(file.Number(), &status) != 0) return;
  identity = FileIdentity(status);
  waits = !S_ISREG(status.st_mode);
  hasWriter = S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode);
  // Fewer and longer turns for the writer and for this program; a wish alone.
  if (S_ISFIFO(status.st_mode)) (void)fcntl(file.Number(), F_SETPIPE_SZ, pipeSize);
  if (waits) return;
  const off_t begin = lseek(file.Number(), 0, SEEK_CUR);
  if (begin >= 0 && status.st_size > begin) {
    sizeAtStart = static_cast<std::uint64_t>(status.st_size - begin);
  }
}

std::size_t Input::Read(char* room, std::size_t size) {
  if (!file.IsOpen()) return 0;
  const ssize_t got = read(file.Number(), room, size);
  if (got > 0) {
    position += got;
    return static_cast<std::size_t>(got);
  }
  if (got < 0 && (errno == EINTR || errno == EAGAIN)) return 0;
  if (got < 0) {
    Say("cannot read '" + path + "': " + std::strerror(errno));
    failed = true;
    atEnd = true;
  } else if (!following) {
    atEnd = true;
  }
  return 0;
}

// A file that became shorter was emptied by those who write it.
bool Input::BecameShorter() const {
  struct stat status {};
  return file.IsOpen() && fstat(file.Number(), &status) == 0 && status.st_size < position;
}

bool Input::MoveToReplacement() {
  if (!following) return false;
  if (BecameShorter()) {
    Say("'" + path + "' became shorter; reading it from the begin");
    (void)lseek(file.Number(), 0, SEEK_SET);
    position = 0;
    return true;
  }
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return false;
  if ((file.IsOpen() && FileIdentity(status) == identity) || !S_ISREG(status.st_mode)) return false;
  Descriptor next(OpenFile(path));
  if (!next.IsOpen() || fstat(next.Number(), &status) != 0) return false;
  file = std::move(next);
  identity = FileIdentity(status);
  position = 0;
  return true;
}
