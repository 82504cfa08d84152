// Bytes to and from one client, none of it without an end in time.
#ifndef SERVICE_CONNECTION_H
#define SERVICE_CONNECTION_H

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "FileDescriptor.h"

class Connection {
 public:
  using Clock = std::chrono::steady_clock;

  // `accepted` is a connected, non-blocking socket.
  explicit Connection(FileDescriptor accepted) : socket(std::move(accepted)) {}

  // Reads up to and including the empty line that ends a request's head. What
  // came so far when the client falls silent, leaves, or sends too much.
  std::string ReadHead(Clock::time_point deadline);

  // Both return the bytes that were sent: fewer when the client left or takes
  // too long, or when the file shrank.
  std::uint64_t Send(std::string_view text, Clock::time_point deadline);
  std::uint64_t SendFile(const FileDescriptor& file, std::uint64_t size,
                         Clock::time_point deadline);

  // Says that nothing more follows and takes in what the client still sends:
  // closing with unread bytes would reset the connection and could cost the
  // client the answer.
  void FinishGently(Clock::time_point deadline);

 private:
  bool WaitFor(short events, Clock::time_point deadline) const;

  FileDescriptor socket;
};

#endif  // SERVICE_CONNECTION_H
