#include "Server.h"

#include <ZinLogger.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "Connection.h"
#include "Exchange.h"
#include "RequestLog.h"

namespace {

constexpr int pauseAfterFailureMilliseconds = 100;

sockaddr* Generic(sockaddr_in& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

[[noreturn]] void ThrowSystemError(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

FileDescriptor Listen(int port) {
  FileDescriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!listener.IsOpen()) ThrowSystemError("cannot open a socket");
  // Lets a restarted service have its port back while old connections fade.
  const int yes = 1;
  (void)setsockopt(listener.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  if (bind(listener.Get(), Generic(address), sizeof address) != 0 ||
      listen(listener.Get(), SOMAXCONN) != 0) {
    ThrowSystemError("cannot listen on 127.0.0.1:" + std::to_string(port));
  }
  return listener;
}

std::string TextOf(const sockaddr_in& address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  (void)inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
  return std::string(text.data()) + ":" + std::to_string(ntohs(address.sin_port));
}

bool IsWorthReporting(int error) {
  // Another worker was faster, or the client has left already.
  return error != EAGAIN && error != EWOULDBLOCK && error != EINTR && error != ECONNABORTED;
}

}  // namespace

Server::Server(int port, const ServedFolder& servedFolder, Statistics& counters)
    : folder(servedFolder),
      statistics(counters),
      listener(Listen(port)),
      stopEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!stopEvent.IsOpen()) ThrowSystemError("cannot create an event");
}

Server::~Server() {
  Stop();
}

int Server::Port() const {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (getsockname(listener.Get(), Generic(address), &size) != 0) return 0;
  return ntohs(address.sin_port);
}

void Server::Start(int threadCount) {
  for (int i = 0; i < threadCount; ++i) workers.emplace_back([this] { Work(); });
}

void Server::Stop() {
  (void)eventfd_write(stopEvent.Get(), 1);
  for (std::thread& worker : workers) worker.join();
  workers.clear();
}

void Server::Work() {
  for (;;) {
    std::array<pollfd, 2> pollers = {{{stopEvent.Get(), POLLIN, 0}, {listener.Get(), POLLIN, 0}}};
    (void)poll(pollers.data(), pollers.size(), -1);
    if (pollers[0].revents != 0) return;

    sockaddr_in peer{};
    socklen_t peerSize = sizeof peer;
    FileDescriptor client(
        accept4(listener.Get(), Generic(peer), &peerSize, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!client.IsOpen()) {
      const int error = errno;
      if (!IsWorthReporting(error)) continue;
      ZinLogger::GetInstance()->Log(__FILE__, __LINE__, __func__, " ", "", ERROR,
                                    "cannot accept a connection: %s",
                                    std::generic_category().message(error).c_str());
      // Out of descriptors or memory: the same failure would come at once.
      (void)poll(pollers.data(), 1, pauseAfterFailureMilliseconds);
      continue;
    }
    Connection connection(std::move(client));
    if (const std::optional<Exchange> exchange = AnswerRequest(connection, folder)) {
      LogRequest(*exchange, TextOf(peer));
      statistics.Add(*exchange);
    }
  }
}
