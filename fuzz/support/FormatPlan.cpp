#include "FormatPlan.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace {

static_assert(sizeof(long) == sizeof(long long), "a long long serves for l, j, z and t");

constexpr std::string_view digits = "0123456789";
constexpr int widest = 9999;

// One conversion of a format, in its parts as they stand.
struct Conversion {
  std::string_view flags, width, precision, length;
  char kind = '\0';
};

std::string_view TakeAll(std::string_view& text, std::string_view characters,
                         std::size_t atMost = 4) {
  const std::size_t end = std::min(text.find_first_not_of(characters), text.size());
  const std::string_view taken = text.substr(0, std::min(end, atMost));
  text.remove_prefix(taken.size());
  return taken;
}

std::string_view TakeNumber(std::string_view& text) {
  return text.starts_with('*') ? TakeAll(text, "*", 1) : TakeAll(text, digits);
}

// Takes what follows a percent sign from the beginning of `text`.
Conversion TakeConversion(std::string_view& text) {
  Conversion result;
  result.flags = TakeAll(text, "-+ #0'");
  result.width = TakeNumber(text);
  if (text.starts_with('.')) {
    const std::string_view dot = TakeAll(text, ".", 1);
    const std::string_view number = TakeNumber(text);
    result.precision = {dot.data(), dot.size() + number.size()};
  }
  result.length = TakeAll(text, "hljzt", 2);
  if (!text.empty()) {
    result.kind = text.front();
    text.remove_prefix(1);
  }
  return result;
}

class PlanReader {
 public:
  PlanReader(Fields& theInput, FormatPlan& thePlan) : input(theInput), plan(thePlan) {}

  void Read() {
    const std::string raw = input.NextText();
    plan.callersErrno = static_cast<int>(input.NextNumber(0, 200));
    std::string_view text = raw;
    while (!text.empty()) {
      const std::size_t percent = std::min(text.find('%'), text.size());
      plan.format += text.substr(0, percent);
      text.remove_prefix(percent);
      if (text.empty()) break;
      text.remove_prefix(1);
      std::string_view behind = text;
      const Conversion conversion = TakeConversion(behind);
      if (Add(conversion)) {
        text = behind;
      } else {
        plan.format += "%%";
      }
    }
  }

 private:
  // False: it is none, or there is no more room for its values.
  bool Add(const Conversion& conversion) {
    if (conversion.kind == '\0') return false;
    if (conversion.kind == 'm') {
      plan.format += "%m";
      return true;
    }
    if (conversion.kind == '%') return false;  // the second sign is read again
    const bool numbersAsked[] = {conversion.width == "*", conversion.precision == ".*"};
    const auto stars =
        static_cast<std::size_t>(numbersAsked[0]) + static_cast<std::size_t>(numbersAsked[1]);
    if (plan.values.size() + stars + 1 > mostFormatValues) return false;
    if (!IsKnown(conversion)) return false;

    plan.format += '%';
    for (const std::string_view part :
         {conversion.flags, conversion.width, conversion.precision, conversion.length}) {
      plan.format += part;
    }
    plan.format += conversion.kind;
    for (std::size_t star = 0; star < stars; ++star) {
      plan.values.emplace_back(static_cast<int>(input.NextNumber(-widest, widest)));
    }
    plan.values.push_back(ValueOf(conversion));
    return true;
  }

  static bool IsOneOf(char kind, std::string_view kinds) {
    return kinds.find(kind) != std::string_view::npos;
  }

  static bool IsKnown(const Conversion& conversion) {
    constexpr std::string_view lengths[] = {"", "h", "hh", "l", "ll", "j", "z", "t"};
    if (IsOneOf(conversion.kind, "diuxXo")) {
      return std::find(std::begin(lengths), std::end(lengths), conversion.length) !=
             std::end(lengths);
    }
    // A wide character that the locale does not know cannot be converted.
    if (conversion.kind == 'c') return conversion.length.empty() || conversion.length == "l";
    return IsOneOf(conversion.kind, "spfFeEgGaA") && conversion.length.empty();
  }

  FormatPlan::Value ValueOf(const Conversion& conversion) {
    if (IsOneOf(conversion.kind, "sp")) {
      plan.strings.push_back(input.NextText());
      return plan.strings.back().c_str();
    }
    const std::string field = input.Next();
    if (IsOneOf(conversion.kind, "fFeEgGaA")) return std::strtod(field.c_str(), nullptr);
    const long long number = std::strtoll(field.c_str(), nullptr, 0);
    const bool isLong = !conversion.length.empty() && IsOneOf(conversion.length.front(), "ljzt");
    if (isLong && conversion.kind != 'c') return number;
    return static_cast<int>(number);
  }

  Fields& input;
  FormatPlan& plan;
};

}  // namespace

void ReadFormatPlan(Fields& input, FormatPlan& plan) {
  PlanReader(input, plan).Read();
}

FormattedText Format(const FormatPlan& plan) {
  // Through a pointer, which the compiler's check of formats cannot follow.
  int (*const print)(char*, std::size_t, const char*, ...) = std::snprintf;
  FormattedText result;
  CallWithValues(plan, [&](const char* format, auto... values) {
    const int length = print(nullptr, 0, format, values...);
    result.failed = length < 0;
    if (result.failed) return;
    result.text.resize(static_cast<std::size_t>(length) + 1);
    errno = plan.callersErrno;
    (void)print(result.text.data(), result.text.size(), format, values...);
    result.text.pop_back();
  });
  return result;
}
