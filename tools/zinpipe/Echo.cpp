#include "Echo.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "StandardError.h"

namespace {

// As much as a pipe takes without blocking once it is ready for writing.
constexpr std::size_t surePart = PIPE_BUF;

// Once told to stop, the reader gets so much time for each part.
constexpr int patienceInMilliseconds = 200;

}  // namespace

void Echo::Copy(std::string_view bytes) {
  while (active && !bytes.empty()) {
    if (!WaitForReader()) return Fail("nobody reads it");
    const ssize_t written = write(STDOUT_FILENO, bytes.data(), std::min(bytes.size(), surePart));
    if (written < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (written < 0) return Fail(std::strerror(errno));
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

// False: it is time to stop, and nobody reads.
bool Echo::WaitForReader() const {
  std::array<pollfd, 2> waiting{{{STDOUT_FILENO, POLLOUT, 0}, {signals.Descriptor(), POLLIN, 0}}};
  for (;;) {
    const int patience = signals.Stops() > 0 ? patienceInMilliseconds : -1;
    const int ready = poll(waiting.data(), waiting.size(), patience);
    if (ready < 0) continue;  // interrupted
    if (waiting[0].revents != 0) return true;
    if (ready == 0 || signals.MustStopAtOnce()) return false;
    signals.Take();
  }
}

void Echo::Fail(const char* reason) {
  active = false;
  failed = true;
  Say(std::string("standard output: ") + reason + "; --echo ends here");
}
