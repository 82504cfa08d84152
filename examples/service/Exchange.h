// One request and its answer.
#ifndef SERVICE_EXCHANGE_H
#define SERVICE_EXCHANGE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "Connection.h"
#include "HttpRequest.h"
#include "ServedFolder.h"

struct Exchange {
  HttpRequest request;
  int status = 0;
  bool complete = false;        // the client took the whole answer
  std::uint64_t bodyBytes = 0;  // sent
  std::chrono::microseconds duration{};
};

// Reads a request, answers it with a file of `folder` or an error, and says
// how it went. Nothing when the client left without a word. One connection
// carries one request: the answer says "Connection: close".
std::optional<Exchange> AnswerRequest(Connection& connection, const ServedFolder& folder);

#endif  // SERVICE_EXCHANGE_H
