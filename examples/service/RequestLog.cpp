#include "RequestLog.h"

#include <ZinLogger.h>

#include <array>
#include <cstdio>
#include <string_view>

namespace {

constexpr const char* failedKey = "failed";

// The logger cuts a line at 2046 bytes, newline included. With these bounds a
// line stays far below, whatever a client sends.
constexpr std::size_t longestMethod = 16;
constexpr std::size_t longestTarget = 400;
constexpr std::size_t longestUserAgent = 100;

// Text from outside, made safe for a line of a log: a client could otherwise
// forge lines with a line feed, or a quotation mark.
std::string Printable(std::string_view text, std::size_t longest) {
  std::string result;
  for (const char c : text.substr(0, longest)) {
    if (c >= ' ' && c <= '~' && c != '"' && c != '\\') {
      result += c;
    } else {
      std::array<char, 5> escaped{};
      std::snprintf(escaped.data(), escaped.size(), "\\x%02x", static_cast<unsigned char>(c));
      result += escaped.data();
    }
  }
  if (text.size() > longest) result += "...";
  return result;
}

LogLevel LevelOf(int status) {
  if (status < 400) return INFO;
  return status < 500 ? WARN : ERROR;
}

}  // namespace

void LogRequest(const Exchange& exchange, const std::string& peer) {
  const LogLevel level = LevelOf(exchange.status);
  ZinLogger::GetInstance()->Log(
      __FILE__, __LINE__, __func__, " ", level == INFO ? "" : failedKey, level,
      "%s \"%s %s\" %d %llu bytes%s %lld us \"%s\"", peer.c_str(),
      Printable(exchange.request.method, longestMethod).c_str(),
      Printable(exchange.request.target, longestTarget).c_str(), exchange.status,
      static_cast<unsigned long long>(exchange.bodyBytes), exchange.complete ? "" : " (cut short)",
      static_cast<long long>(exchange.duration.count()),
      Printable(exchange.request.userAgent, longestUserAgent).c_str());
}
