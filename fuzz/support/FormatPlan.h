// A printf format with values that fit it, out of an input.
#ifndef ZIN_FUZZ_FORMAT_PLAN_H
#define ZIN_FUZZ_FORMAT_PLAN_H

#include <cerrno>
#include <cstdio>
#include <deque>
#include <string>
#include <variant>
#include <vector>

#include "Fields.h"

inline constexpr std::size_t mostFormatValues = 4;

struct FormatPlan {
  using Value = std::variant<int, long long, double, const char*>;

  std::string format;
  std::vector<Value> values;        // as many as the format asks for, of its types
  std::deque<std::string> strings;  // what values point to
  int callersErrno = 0;             // what %m tells

  FormatPlan() = default;
  FormatPlan(const FormatPlan&) = delete;
  FormatPlan& operator=(const FormatPlan&) = delete;
};

// Reads a format (one field), errno (one) and the values (one each). What is no
// conversion in the field, or one too many, becomes an ordinary percent sign;
// widths and precisions have at most four digits.
void ReadFormatPlan(Fields& input, FormatPlan& plan);

// Calls callee(format, values...) with the values in their own types, as only a
// compiler can pass them on.
template <typename Callee, typename... Values>
void CallWithValues(const FormatPlan& plan, const Callee& callee, Values... values) {
  constexpr std::size_t count = sizeof...(Values);
  if constexpr (count < mostFormatValues) {
    if (count < plan.values.size()) {
      const auto next = [&](auto value) { CallWithValues(plan, callee, values..., value); };
      std::visit(next, plan.values[count]);
      return;
    }
  }
  errno = plan.callersErrno;
  callee(plan.format.c_str(), values...);
}

struct FormattedText {
  bool failed = false;  // the C library could not convert a value
  std::string text;     // of whatever length
};

// What the C library makes of it.
FormattedText Format(const FormatPlan& plan);

#endif  // ZIN_FUZZ_FORMAT_PLAN_H
