// Holds vsnprintf_s against the C library, with formats and values by chance:
//
//   format_differential [--doubles] [--count N] [--seed S] [--threads T]
//
// Compares result, errno and every byte of the buffer, N times. Formats have up to
// four conversions, most of them of the kinds that vsnprintf_s formats by itself;
// values lie around the bounds of their types; some buffers are too small, and in
// some calls numbers round otherwise than to the nearest. --doubles: one number with
// each of 0 to 17 decimals and a few others, where numbers are of all exponents and
// close to where they are rounded up. With LC_ALL=name (and LOCPATH, if need be) half
// of the calls are made in that locale.
//
// Prints the number of comparisons, how many of them were the C library's alone, and
// the number of differences; the first ones to standard error. Exits 1 when there is one.
#include <locale.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cfenv>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <variant>
#include <vector>

#include "FormatComparison.h"

namespace {
thread_local std::uint64_t callsOfCLibrary = 0;
}

// Watches who calls the C library: its own half of a comparison does it once.
extern "C" {
int __real_vsnprintf(char* text, std::size_t size, const char* format, std::va_list values);

int __wrap_vsnprintf(char* text, std::size_t size, const char* format, std::va_list values) {
  ++callsOfCLibrary;
  return __real_vsnprintf(text, size, format, values);
}
}

namespace {

// splitmix64: a sequence that a seed repeats, on every machine.
class Chance {
 public:
  explicit Chance(std::uint64_t seed) : state(seed) {}

  std::uint64_t Bits() {
    state += 0x9e3779b97f4a7c15;
    std::uint64_t bits = state;
    bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9;
    bits = (bits ^ (bits >> 27)) * 0x94d049bb133111eb;
    return bits ^ (bits >> 31);
  }
  std::uint64_t Below(std::uint64_t bound) { return Bits() % bound; }
  bool OneIn(std::uint64_t count) { return Below(count) == 0; }
  template <typename List>
  auto& OneOf(List& list) {
    return list[Below(std::size(list))];
  }

 private:
  std::uint64_t state;
};

// ---- Values --------------------------------------------------------------------

long long SomeInteger(Chance& chance) {
  if (chance.OneIn(2)) return static_cast<long long>(chance.Bits() >> chance.Below(64));
  const int shift = static_cast<int>(chance.Below(64));
  const std::uint64_t power = std::uint64_t{1} << shift;
  std::uint64_t decimal = 1;
  for (std::uint64_t left = chance.Below(20); left > 0; --left) decimal *= 10;
  const std::uint64_t base = chance.OneIn(2) ? power : decimal;
  const std::uint64_t value = base + chance.Below(5) - 2;
  return static_cast<long long>(chance.OneIn(2) ? value : 0 - value);
}

double FromBits(std::uint64_t bits) {
  return std::bit_cast<double>(bits);
}

// Close to where its decimals are rounded up, or just there.
double NearATie(Chance& chance) {
  const int decimals = static_cast<int>(chance.Below(18));
  const auto digits = static_cast<double>(chance.Bits() >> (11 + chance.Below(53)));
  double value = (digits + 0.5) / std::pow(10, decimals);
  for (std::uint64_t steps = chance.Below(3); steps > 0; --steps) {
    value = std::nextafter(value, chance.OneIn(2) ? 0 : HUGE_VAL);
  }
  return value;
}

double SomeDouble(Chance& chance) {
  constexpr double special[] = {
      0.0,    1.0,     0.5,      2.5,  0.1,   9.9999995, 999999.9999995, 0x1p53,
      0x1p64, 0x1p-75, 0x1p-127, 1e15, 1e300, 3.14159,   0.25,           0x1p-1074};
  const std::uint64_t bits = chance.Bits();
  const std::uint64_t sign = bits & (std::uint64_t{1} << 63);
  double value = 0;
  switch (chance.Below(6)) {
    case 0:
      value = FromBits(chance.Bits() & ~(std::uint64_t{1} << 63));
      break;
    case 1:  // few bits, so that ties are frequent
      value = std::ldexp(static_cast<double>(chance.Bits() >> (40 + chance.Below(24))),
                         -static_cast<int>(chance.Below(24)));
      break;
    case 2:
      value = NearATie(chance);
      break;
    case 3:
      value = chance.OneOf(special);
      break;
    default:  // the exponents that are formatted without the C library, and some around
      value = std::ldexp(FromBits((bits >> 12) | std::bit_cast<std::uint64_t>(1.0)),
                         static_cast<int>(chance.Below(204)) - 134);
  }
  return FromBits(std::bit_cast<std::uint64_t>(value) | sign);
}

const char* SomeString(Chance& chance) {
  static const std::string longer(200, 'x');
  static const char* const strings[] = {"",
                                        "a",
                                        "ab",
                                        "alpha_unit",
                                        "100%d",
                                        "with a blank",
                                        "\xc3\xa4\xff",
                                        longer.c_str(),
                                        "(null)",
                                        "line\nline",
                                        nullptr};
  return chance.OneOf(strings);
}

// ---- Formats -------------------------------------------------------------------

enum class Type { Int, LongLong, Double, String };

constexpr std::size_t mostValues = 4;

struct Plan {
  struct Need {
    Type type = Type::Int;
    bool isStar = false;
  };
  std::string format;
  std::vector<Need> needs;
};

void AddText(Chance& chance, Plan& plan) {
  constexpr std::string_view texts[] = {"",
                                        " ",
                                        "=",
                                        "request ",
                                        "%%",
                                        " took 5 %% of ",
                                        "exactly",
                                        "an octet",
                                        "nine char",
                                        "\xe2\x82\xac",
                                        "the quick brown fox jumps over the lazy dog"};
  plan.format += chance.OneOf(texts);
}

// A width or a precision.
void AddNumber(Chance& chance, Plan& plan) {
  constexpr std::string_view numbers[] = {"1", "2",  "3",  "4",  "5",  "6",    "8",
                                          "9", "10", "17", "18", "20", "0012", "40"};
  if (chance.OneIn(6) && plan.needs.size() + 1 < mostValues) {
    plan.format += '*';
    plan.needs.push_back({Type::Int, true});
  } else if (chance.OneIn(40)) {
    plan.format += chance.OneIn(2) ? "300" : "10001";
  } else {
    plan.format += chance.OneOf(numbers);
  }
}

bool IsOneOf(char kind, std::string_view kinds) {
  return kinds.find(kind) != std::string_view::npos;
}

void AddConversion(Chance& chance, Plan& plan) {
  constexpr std::string_view usual = "sssssccdddddddiuuuxxxXoppfffffffF";
  constexpr std::string_view unusual = "eEgGaAm";
  const char kind = chance.OneIn(20) ? chance.OneOf(unusual) : chance.OneOf(usual);
  plan.format += '%';
  if (chance.OneIn(2)) {
    for (std::uint64_t left = chance.Below(3); left > 0; --left) {
      plan.format += chance.OneIn(2) ? '-' : '0';
    }
    if (chance.OneIn(16)) plan.format += "+ #'"[chance.Below(4)];
    if (chance.OneIn(2)) AddNumber(chance, plan);
  }
  if (chance.OneIn(3)) {
    plan.format += '.';
    if (!chance.OneIn(5)) AddNumber(chance, plan);
  }
  Plan::Need need;
  if (IsOneOf(kind, "diuxXo")) {
    constexpr std::string_view lengths[] = {"", "", "hh", "h", "l", "ll", "j", "z", "t"};
    const std::string_view length = chance.OneOf(lengths);
    plan.format += length;
    if (length.find_first_of("ljzt") != std::string_view::npos) need.type = Type::LongLong;
  } else if (IsOneOf(kind, "fFeEgGaA")) {
    if (chance.OneIn(8)) plan.format += 'l';
    need.type = Type::Double;
  } else if (IsOneOf(kind, "sp")) {
    need.type = Type::String;
  } else if (kind == 'c' && chance.OneIn(16)) {
    plan.format += 'l';  // a wide character, which not every locale can show
  }
  plan.format += kind;
  if (kind != 'm') plan.needs.push_back(need);
}

Plan SomePlan(Chance& chance) {
  Plan plan;
  AddText(chance, plan);
  for (std::uint64_t left = chance.Below(4); left > 0 && plan.needs.size() < mostValues; --left) {
    AddConversion(chance, plan);
    AddText(chance, plan);
  }
  return plan;
}

using Value = std::variant<int, long long, double, const char*>;
static_assert(sizeof(long) == sizeof(long long), "a long long serves for l, j, z and t");

Value SomeValue(Chance& chance, const Plan::Need& need) {
  if (need.isStar) {
    constexpr int far[] = {-10000, -9999, 9999, 10000, -300, 300};
    return chance.OneIn(30) ? chance.OneOf(far) : static_cast<int>(chance.Below(44)) - 22;
  }
  switch (need.type) {
    case Type::Int:
      return static_cast<int>(SomeInteger(chance));
    case Type::LongLong:
      return SomeInteger(chance);
    case Type::Double:
      return SomeDouble(chance);
    case Type::String:
      return SomeString(chance);
  }
  return 0;
}

CallBounds SomeBounds(Chance& chance) {
  constexpr std::size_t large = 128;
  CallBounds bounds{large, large - 1, static_cast<int>(chance.Below(3))};
  if (chance.OneIn(5)) {
    bounds.destMax = chance.Below(48);
    bounds.count = chance.OneIn(4) ? chance.Below(48) : bounds.destMax - 1;
  }
  return bounds;
}

// ---- Comparisons ---------------------------------------------------------------

struct Options {
  bool doubles = false;
  std::uint64_t count = 1000000;
  std::uint64_t seed = 1;
  unsigned threads = 1;
};

struct Score {
  std::uint64_t comparisons = 0, byCLibrary = 0, differences = 0;
};

class Comparer {
 public:
  template <typename... Values>
  void Compare(const CallBounds& bounds, const char* format, Values... values) {
    const std::uint64_t callsBefore = callsOfCLibrary;
    ++score.comparisons;
    if (!comparison.Agrees(bounds, format, values...)) {
      Report(bounds, format);
    }
    // The reference makes one call, or none when there is no buffer.
    const std::uint64_t ownCalls = bounds.destMax == 0 ? 0 : 1;
    if (callsOfCLibrary - callsBefore > ownCalls) ++score.byCLibrary;
  }

  const Score& Result() const { return score; }

 private:
  void Report(const CallBounds& bounds, const char* format) {
    constexpr std::uint64_t mostReports = 5;
    if (++score.differences > mostReports) return;
    std::fprintf(stderr, "format \"%s\", destMax %zu, count %zu, rounding mode %d\n%s\n", format,
                 bounds.destMax, bounds.count, std::fegetround(), comparison.Describe().c_str());
  }

  FormatComparison comparison;
  Score score;
};

// Passes the values on in their own types, as only a compiler can.
template <typename... Values>
void CompareWith(Comparer& comparer, const CallBounds& bounds, const Plan& plan,
                 const std::array<Value, mostValues>& all, Values... values) {
  constexpr std::size_t count = sizeof...(Values);
  if constexpr (count < mostValues) {
    if (count < plan.needs.size()) {
      std::visit([&](auto next) { CompareWith(comparer, bounds, plan, all, values..., next); },
                 all[count]);
      return;
    }
  }
  comparer.Compare(bounds, plan.format.c_str(), values...);
}

void CompareFormats(Chance& chance, std::uint64_t count, locale_t locale, Comparer& comparer) {
  constexpr std::uint64_t callsPerFormat = 16;
  constexpr int modes[] = {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};
  for (std::uint64_t done = 0; done < count; ++done) {
    static thread_local Plan plan;
    if (done % callsPerFormat == 0) {
      plan = SomePlan(chance);
      std::fesetround(chance.OneIn(16) ? chance.OneOf(modes) : FE_TONEAREST);
      uselocale(chance.OneIn(2) ? locale : LC_GLOBAL_LOCALE);
    }
    std::array<Value, mostValues> values;
    for (std::size_t i = 0; i < plan.needs.size(); ++i)
      values[i] = SomeValue(chance, plan.needs[i]);
    CompareWith(comparer, SomeBounds(chance), plan, values);
  }
}

void CompareDoubles(Chance& chance, std::uint64_t count, Comparer& comparer) {
  constexpr std::array<const char*, 18> formats{
      "%.0f", "%.1f",  "%.2f",  "%.3f",  "%.4f",  "%.5f",  "%f",    "%.7f",  "%.8f",
      "%.9f", "%.10f", "%.11f", "%.12f", "%.13f", "%.14f", "%.15f", "%.16f", "%.17f"};
  const CallBounds bounds{400, 399, 0};
  for (std::uint64_t done = 0; done < count; done += formats.size()) {
    const double value = SomeDouble(chance);
    for (const char* const format : formats) comparer.Compare(bounds, format, value);
  }
}

Options ReadArguments(int argumentCount, char** arguments) {
  Options options;
  const auto usage = [] {
    std::fputs("usage: format_differential [--doubles] [--count N] [--seed S] [--threads T]\n",
               stderr);
    std::exit(2);
  };
  for (int i = 1; i < argumentCount; ++i) {
    const std::string_view name = arguments[i];
    if (name == "--doubles") {
      options.doubles = true;
      continue;
    }
    if (i + 1 == argumentCount) usage();
    const std::uint64_t number = std::strtoull(arguments[++i], nullptr, 10);
    if (name == "--count") {
      options.count = number;
    } else if (name == "--seed") {
      options.seed = number;
    } else if (name == "--threads" && number > 0 && number <= 256) {
      options.threads = static_cast<unsigned>(number);
    } else {
      usage();
    }
  }
  return options;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const Options options = ReadArguments(argumentCount, arguments);
  const locale_t locale = newlocale(LC_ALL_MASK, "", nullptr);
  if (locale == nullptr) {
    std::fputs("format_differential: there is no such locale as LC_ALL says\n", stderr);
    return 2;
  }
  std::vector<Score> scores(options.threads);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < options.threads; ++i) {
    threads.emplace_back([&options, &score = scores[i], locale, i] {
      Chance chance(options.seed + std::uint64_t{i} * 0x51ed2701a2b3c4d5);
      Comparer comparer;
      const std::uint64_t share = options.count / options.threads;
      if (options.doubles) {
        CompareDoubles(chance, share, comparer);
      } else {
        CompareFormats(chance, share, locale, comparer);
      }
      score = comparer.Result();
    });
  }
  Score sum;
  for (unsigned i = 0; i < options.threads; ++i) {
    threads[i].join();
    sum.comparisons += scores[i].comparisons;
    sum.byCLibrary += scores[i].byCLibrary;
    sum.differences += scores[i].differences;
  }
  std::printf("%llu comparisons, %llu of them by the C library alone, %llu differences\n",
              static_cast<unsigned long long>(sum.comparisons),
              static_cast<unsigned long long>(sum.byCLibrary),
              static_cast<unsigned long long>(sum.differences));
  return sum.differences == 0 ? 0 : 1;
}
