#ifndef ZIN_RELIABILITY_JSON_H
#define ZIN_RELIABILITY_JSON_H

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

// A JSON string of any bytes; those outside ASCII become "\u00XX".
inline std::string JsonText(std::string_view text) {
  std::string quoted = "\"";
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && byte < 0x7F && character != '"' && character != '\\') {
      quoted += character;
      continue;
    }
    std::array<char, 8> escaped{};
    (void)std::snprintf(escaped.data(), escaped.size(), "\\u%04x", byte);
    quoted += escaped.data();
  }
  return quoted + '"';
}

#endif  // ZIN_RELIABILITY_JSON_H
