#include "HttpRequest.h"

#include <strings.h>

#include <algorithm>
#include <charconv>

namespace {

constexpr std::string_view endOfLine = "\r\n";
constexpr std::string_view endOfHead = "\r\n\r\n";

// Cuts the text up to `separator` off the front of `rest`.
std::string_view TakeUntil(std::string_view& rest, std::string_view separator) {
  const std::size_t position = rest.find(separator);
  const std::string_view taken = rest.substr(0, position);
  rest.remove_prefix(position == std::string_view::npos ? rest.size()
                                                        : position + separator.size());
  return taken;
}

bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

std::string_view WithoutSpacesAround(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool IsMethod(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '_';
  });
}

bool IsVersion(std::string_view text) {
  return text == "HTTP/1.0" || text == "HTTP/1.1";
}

std::optional<char> DecodedByte(std::string_view twoDigits) {
  unsigned value = 0;
  const char* const end = twoDigits.data() + twoDigits.size();
  const auto [parsedTo, error] = std::from_chars(twoDigits.data(), end, value, 16);
  if (twoDigits.size() != 2 || error != std::errc() || parsedTo != end) return std::nullopt;
  return static_cast<char>(value);
}

}  // namespace

HttpRequest ParseRequest(std::string_view head) {
  HttpRequest request;
  const bool complete = head.ends_with(endOfHead);
  std::string_view requestLine = TakeUntil(head, endOfLine);
  request.method = TakeUntil(requestLine, " ");
  request.target = TakeUntil(requestLine, " ");
  request.wellFormed = complete && IsMethod(request.method) && request.target.starts_with('/') &&
                       IsVersion(requestLine);

  while (!head.empty()) {
    std::string_view value = TakeUntil(head, endOfLine);
    const std::string_view name = TakeUntil(value, ":");
    if (EqualsIgnoringCase(name, "User-Agent")) request.userAgent = WithoutSpacesAround(value);
  }
  return request;
}

std::optional<std::string> PathOfTarget(std::string_view target) {
  const std::string_view encoded = target.substr(0, target.find('?'));
  std::string path;
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    char c = encoded[i];
    if (c == '%') {
      const std::optional<char> decoded = DecodedByte(encoded.substr(i + 1, 2));
      if (!decoded) return std::nullopt;
      c = *decoded;
      i += 2;
    }
    if (c == '\0') return std::nullopt;
    path += c;
  }
  if (!path.starts_with('/')) return std::nullopt;
  return path;
}
