#include "Expect.h"

#include <cstdio>
#include <cstdlib>

namespace {

void Print(const char* title, const std::string& text) {
  constexpr std::size_t mostShown = 4000;
  (void)std::fprintf(stderr, "  %s (%zu bytes): ", title, text.size());
  for (const char c : text.substr(0, mostShown)) {
    const auto byte = static_cast<unsigned char>(c);
    const bool printable = byte >= ' ' && byte < 127 && c != '\\';
    (void)std::fprintf(stderr, printable ? "%c" : "\\x%02x", byte);
  }
  (void)std::fprintf(stderr, "%s\n", text.size() > mostShown ? " ..." : "");
}

}  // namespace

void FailExpectation(const std::string& what, const std::string& expected,
                     const std::string& seen) {
  (void)std::fprintf(stderr, "UNEXPECTED: %s\n", what.c_str());
  Print("expected", expected);
  Print("seen", seen);
  std::abort();
}
