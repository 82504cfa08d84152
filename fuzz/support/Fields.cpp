#include "Fields.h"

#include <algorithm>
#include <cstdlib>

std::string Fields::Next() {
  const std::size_t end = rest.find('\n');
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return std::string(line.substr(0, line.find('\0')));
}

std::int64_t Fields::NextNumber(std::int64_t least, std::int64_t most) {
  return std::clamp<std::int64_t>(std::strtoll(Next().c_str(), nullptr, 10), least, most);
}

std::string Fields::Expanded(const std::string& field) {
  constexpr std::size_t longest = 20000;
  const std::size_t digits = field.find_first_not_of("0123456789");
  if (digits == 0 || digits > 5 || digits == std::string::npos || field[digits] != '*') {
    return field;
  }
  const std::string piece = field.substr(digits + 1);
  std::string text;
  for (long left = std::strtol(field.c_str(), nullptr, 10); left > 0; --left) {
    if (piece.empty() || text.size() + piece.size() > longest) break;
    text += piece;
  }
  return text;
}
