// What a fuzz target says when the library does something else than its model.
#ifndef ZIN_FUZZ_EXPECT_H
#define ZIN_FUZZ_EXPECT_H

#include <string>
#include <type_traits>

// Both print to standard error and abort, which libFuzzer takes for a finding.
[[noreturn]] void FailExpectation(const std::string& what, const std::string& expected,
                                  const std::string& seen);

inline void ExpectEqual(const std::string& what, const std::string& expected,
                        const std::string& seen) {
  if (expected != seen) FailExpectation(what, expected, seen);
}

template <typename Expected, typename Seen>
requires std::is_arithmetic_v<Expected>
void ExpectEqual(const std::string& what, Expected expected, Seen seen) {
  static_assert(std::is_signed_v<Expected> == std::is_signed_v<Seen>);
  if (expected != seen) FailExpectation(what, std::to_string(expected), std::to_string(seen));
}

#endif  // ZIN_FUZZ_EXPECT_H
