#include "Exchange.h"

#include <string_view>

namespace {

using Clock = Connection::Clock;

constexpr std::chrono::seconds timeForRequest{2};
constexpr std::chrono::seconds timeForAnswer{30};
constexpr std::chrono::seconds timeForGoodbye{1};

constexpr int statusOk = 200;
constexpr int statusBadRequest = 400;
constexpr int statusForbidden = 403;
constexpr int statusNotFound = 404;
constexpr int statusMethodNotAllowed = 405;

struct Answer {
  int status = 0;
  std::string_view contentType = "text/plain; charset=utf-8";
  std::string text;  // the body, unless there is a file
  ServedFolder::OpenFile file{};
};

std::string_view ReasonOf(int status) {
  switch (status) {
    case statusOk:
      return "OK";
    case statusBadRequest:
      return "Bad Request";
    case statusForbidden:
      return "Forbidden";
    case statusNotFound:
      return "Not Found";
    case statusMethodNotAllowed:
      return "Method Not Allowed";
    default:
      return "Internal Server Error";
  }
}

Answer ErrorAnswer(int status) {
  Answer answer;
  answer.status = status;
  answer.text = std::to_string(status) + " " + std::string(ReasonOf(status)) + "\n";
  return answer;
}

Answer AnswerTo(const HttpRequest& request, const ServedFolder& folder) {
  if (!request.wellFormed) return ErrorAnswer(statusBadRequest);
  if (request.method != "GET" && request.method != "HEAD") {
    return ErrorAnswer(statusMethodNotAllowed);
  }
  const std::optional<std::string> path = PathOfTarget(request.target);
  if (!path) return ErrorAnswer(statusBadRequest);

  ServedFolder::OpenFile file = folder.Open(*path);
  if (file.status != statusOk) return ErrorAnswer(file.status);
  Answer answer;
  answer.status = statusOk;
  answer.contentType = ContentTypeOf(*path);
  answer.file = std::move(file);
  return answer;
}

std::uint64_t SizeOf(const Answer& answer) {
  return answer.file.contents.IsOpen() ? answer.file.size : answer.text.size();
}

std::string HeadOf(const Answer& answer) {
  std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " ";
  head += ReasonOf(answer.status);
  head += "\r\nContent-Type: ";
  head += answer.contentType;
  head += "\r\nContent-Length: " + std::to_string(SizeOf(answer));
  if (answer.status == statusMethodNotAllowed) head += "\r\nAllow: GET, HEAD";
  head += "\r\nConnection: close\r\n\r\n";
  return head;
}

std::uint64_t SendBody(Connection& connection, const Answer& answer, Clock::time_point deadline) {
  if (!answer.file.contents.IsOpen()) return connection.Send(answer.text, deadline);
  return connection.SendFile(answer.file.contents, answer.file.size, deadline);
}

}  // namespace

std::optional<Exchange> AnswerRequest(Connection& connection, const ServedFolder& folder) {
  const Clock::time_point begin = Clock::now();
  const std::string received = connection.ReadHead(begin + timeForRequest);
  if (received.empty()) return std::nullopt;

  Exchange exchange;
  exchange.request = ParseRequest(received);
  const Answer answer = AnswerTo(exchange.request, folder);
  exchange.status = answer.status;

  const Clock::time_point deadline = Clock::now() + timeForAnswer;
  const std::string head = HeadOf(answer);
  exchange.complete = connection.Send(head, deadline) == head.size();
  if (exchange.complete && exchange.request.method != "HEAD") {
    exchange.bodyBytes = SendBody(connection, answer, deadline);
    exchange.complete = exchange.bodyBytes == SizeOf(answer);
  }
  exchange.duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
  // These two may leave bytes unread: a body, or the rest of a long head.
  if (answer.status == statusBadRequest || answer.status == statusMethodNotAllowed) {
    connection.FinishGently(Clock::now() + timeForGoodbye);
  }
  return exchange;
}
