// The head of an HTTP/1.x request.
#ifndef SERVICE_HTTP_REQUEST_H
#define SERVICE_HTTP_REQUEST_H

#include <optional>
#include <string>
#include <string_view>

struct HttpRequest {
  std::string method;
  std::string target;  // as sent, still percent-encoded
  std::string userAgent;
  bool wellFormed = false;
};

// Reads the request line and the user agent from `head`. A head that is
// malformed, or that does not end with the empty line, gives what could be read
// of it, so that it can be logged.
HttpRequest ParseRequest(std::string_view head);

// The path that a request target names: without query, percent-decoded.
// Nothing for a bad escape, for a NUL byte and for a target that is no path.
std::optional<std::string> PathOfTarget(std::string_view target);

#endif  // SERVICE_HTTP_REQUEST_H
