#include "Connection.h"

#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace {

constexpr std::size_t longestHead = 8192;
constexpr std::string_view endOfHead = "\r\n\r\n";

bool IsTemporary(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

bool Connection::WaitFor(short events, Clock::time_point deadline) const {
  using std::chrono::milliseconds;
  const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
  if (left <= milliseconds(0)) return false;
  pollfd poller{socket.Get(), events, 0};
  const int ready = poll(&poller, 1, static_cast<int>(left.count()));
  return ready > 0 || (ready < 0 && errno == EINTR);
}

std::string Connection::ReadHead(Clock::time_point deadline) {
  std::string head;
  std::array<char, 2048> buffer{};
  while (head.size() < longestHead) {
    const ssize_t count = recv(socket.Get(), buffer.data(), buffer.size(), 0);
    if (count < 0 && IsTemporary(errno)) {
      if (WaitFor(POLLIN, deadline)) continue;
      break;
    }
    if (count <= 0) break;
    head.append(buffer.data(), static_cast<std::size_t>(count));
    const std::size_t end = head.find(endOfHead);
    if (end != std::string::npos) {
      head.resize(end + endOfHead.size());
      break;
    }
  }
  return head;
}

std::uint64_t Connection::Send(std::string_view text, Clock::time_point deadline) {
  std::uint64_t sent = 0;
  while (sent < text.size()) {
    const std::string_view rest = text.substr(static_cast<std::size_t>(sent));
    const ssize_t count = send(socket.Get(), rest.data(), rest.size(), MSG_NOSIGNAL);
    if (count < 0 && !(IsTemporary(errno) && WaitFor(POLLOUT, deadline))) break;
    if (count > 0) sent += static_cast<std::uint64_t>(count);
  }
  return sent;
}

std::uint64_t Connection::SendFile(const FileDescriptor& file, std::uint64_t size,
                                   Clock::time_point deadline) {
  constexpr std::uint64_t largestPiece = 1U << 20;
  std::uint64_t sent = 0;
  while (sent < size && Clock::now() < deadline) {
    const auto piece = static_cast<std::size_t>(std::min(size - sent, largestPiece));
    const ssize_t count = sendfile(socket.Get(), file.Get(), nullptr, piece);
    if (count == 0) break;
    if (count < 0 && !(IsTemporary(errno) && WaitFor(POLLOUT, deadline))) break;
    if (count > 0) sent += static_cast<std::uint64_t>(count);
  }
  return sent;
}

void Connection::FinishGently(Clock::time_point deadline) {
  shutdown(socket.Get(), SHUT_WR);
  std::array<char, 2048> ignored{};
  for (;;) {
    const ssize_t count = recv(socket.Get(), ignored.data(), ignored.size(), 0);
    if (count == 0 || (count < 0 && !IsTemporary(errno))) return;
    if (count < 0 && !WaitFor(POLLIN, deadline)) return;
    if (Clock::now() >= deadline) return;
  }
}
