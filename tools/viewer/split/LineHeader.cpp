#include "LineHeader.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

constexpr std::size_t kLongestName = 255;  // of a file, and so of a process
constexpr std::size_t kLongestNumber = 10;
constexpr std::array<std::string_view, 6> kLevels = {"FATAL", "ERROR", "WARN",
                                                     "INFO",  "DEBUG", "UNKNOWN"};

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Walks over the text. Every step but the first begins where the last one ended
// and does nothing once a step has failed.
class Walk {
 public:
  explicit Walk(std::string_view text) : rest(text) {}

  // '0' in the pattern stands for any digit.
  Walk& Pattern(std::string_view pattern) {
    if (result != HeaderMatch::Yes) return *this;
    const std::size_t length = std::min(pattern.size(), rest.size());
    for (std::size_t i = 0; i < length; ++i) {
      if (pattern[i] == '0' ? !IsDigit(rest[i]) : rest[i] != pattern[i]) return Fail();
    }
    return length < pattern.size() ? Starve() : Advance(length);
  }

  Walk& Name() {
    return UpTo(kLongestName, [](char c) { return c != '[' && c != ']' && c != '\n'; });
  }

  Walk& Number() {
    if (result == HeaderMatch::Yes && !rest.empty() && rest.front() == '-') Advance(1);
    return UpTo(kLongestNumber, IsDigit);
  }

  Walk& Level() {
    if (result != HeaderMatch::Yes) return *this;
    bool starved = false;
    for (const std::string_view level : kLevels) {
      if (rest.substr(0, level.size()) == level) return Advance(level.size());
      starved = starved || level.substr(0, rest.size()) == rest;
    }
    return starved ? Starve() : Fail();
  }

  HeaderMatch Result() const { return result; }

 private:
  template <typename Predicate>
  Walk& UpTo(std::size_t longest, Predicate accepted) {
    if (result != HeaderMatch::Yes) return *this;
    std::size_t length = 0;
    while (length < rest.size() && accepted(rest[length])) ++length;
    if (length > longest) return Fail();
    return length == rest.size() ? Starve() : Advance(length);
  }

  Walk& Advance(std::size_t length) {
    rest.remove_prefix(length);
    return *this;
  }
  Walk& Fail() {
    result = HeaderMatch::No;
    return *this;
  }
  Walk& Starve() {
    result = HeaderMatch::TooShort;
    return *this;
  }

  std::string_view rest;
  HeaderMatch result = HeaderMatch::Yes;
};

}  // namespace

HeaderMatch MatchLineHeader(std::string_view text) {
  return Walk(text)
      .Pattern("[")
      .Name()
      .Pattern("] [0000-00-00 00:00:00.000] [")
      .Number()
      .Pattern("] [")
      .Level()
      .Pattern("]")
      .Result();
}
