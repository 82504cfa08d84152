#include "PlainFormat.h"

#include <langinfo.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace {

constexpr int mostDigits = 4;  // of a width or a precision
constexpr int widest = 9999;
constexpr int none = -1;
constexpr int usualDecimals = 6;
constexpr int mostDecimals = 17;

enum class Length { Usual, Char, Short, Long, LongLong, Max, Size, Difference };

// What a percent sign asks for.
struct Conversion {
  bool left = false;
  bool zeros = false;
  Length length = Length::Usual;
  char kind = '\0';  // NUL: nothing that is known here
  int width = 0;
  int precision = none;

  bool IsBare() const { return width == 0 && precision == none; }
};

// The values of a call. A copy, so that the C library can take them again.
struct Values {
  explicit Values(std::va_list values) { va_copy(list, values); }
  ~Values() { va_end(list); }
  Values(const Values&) = delete;
  Values& operator=(const Values&) = delete;

  std::va_list list;
};

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// A digit too many is left standing, where no conversion has one.
int ReadNumber(const char*& format) {
  int number = 0;
  for (int digits = 0; digits < mostDigits && IsDigit(*format); ++digits) {
    number = 10 * number + (*format++ - '0');
  }
  return number;
}

Length ReadLength(const char*& format) {
  const char letter = *format;
  switch (letter) {
    case 'h':
    case 'l':
      if (*++format != letter) return letter == 'h' ? Length::Short : Length::Long;
      ++format;
      return letter == 'h' ? Length::Char : Length::LongLong;
    case 'j':
      ++format;
      return Length::Max;
    case 'z':
      ++format;
      return Length::Size;
    case 't':
      ++format;
      return Length::Difference;
    default:
      return Length::Usual;
  }
}

// False: a number that is not known here.
bool ReadWidthAndPrecision(const char*& format, Values& values, Conversion& conversion) {
  for (; *format == '-' || *format == '0'; ++format) {
    (*format == '-' ? conversion.left : conversion.zeros) = true;
  }
  if (*format == '*') {
    ++format;
    const int width = va_arg(values.list, int);
    if (width < -widest || width > widest) return false;
    conversion.left = conversion.left || width < 0;
    conversion.width = width < 0 ? -width : width;
  } else {
    conversion.width = ReadNumber(format);
  }
  if (*format != '.') return true;
  ++format;
  if (*format == '*') {
    ++format;
    conversion.precision = std::max(va_arg(values.list, int), none);
    return conversion.precision <= widest;
  }
  conversion.precision = ReadNumber(format);
  return true;
}

// Reads what follows a percent sign, and the values that * stands for.
Conversion ReadConversion(const char*& format, Values& values) {
  Conversion result;
  // Letters come behind everything else.
  if (*format < 'A' && !ReadWidthAndPrecision(format, values, result)) return result;
  result.length = ReadLength(format);
  result.kind = *format;
  if (*format != '\0') ++format;
  return result;
}

// Lengths that are the same on this processor are not on another.
// NOLINTBEGIN(bugprone-branch-clone)

std::intmax_t TakeSigned(Length length, Values& values) {
  switch (length) {
    case Length::Char:
      return static_cast<signed char>(va_arg(values.list, int));
    case Length::Short:
      return static_cast<short>(va_arg(values.list, int));
    case Length::Long:
      return va_arg(values.list, long);
    case Length::LongLong:
      return va_arg(values.list, long long);
    case Length::Max:
      return va_arg(values.list, std::intmax_t);
    case Length::Size:
      return va_arg(values.list, std::make_signed_t<std::size_t>);
    case Length::Difference:
      return va_arg(values.list, std::ptrdiff_t);
    default:
      return va_arg(values.list, int);
  }
}

std::uintmax_t TakeUnsigned(Length length, Values& values) {
  switch (length) {
    case Length::Char:
      return static_cast<unsigned char>(va_arg(values.list, unsigned));
    case Length::Short:
      return static_cast<unsigned short>(va_arg(values.list, unsigned));
    case Length::Long:
      return va_arg(values.list, unsigned long);
    case Length::LongLong:
      return va_arg(values.list, unsigned long long);
    case Length::Max:
      return va_arg(values.list, std::uintmax_t);
    case Length::Size:
      return va_arg(values.list, std::size_t);
    case Length::Difference:
      return va_arg(values.list, std::make_unsigned_t<std::ptrdiff_t>);
    default:
      return va_arg(values.list, unsigned);
  }
}

// NOLINTEND(bugprone-branch-clone)

std::string_view Between(const char* begin, const char* end) {
  return {begin, static_cast<std::size_t>(end - begin)};
}

// Where something is written to: from `to` on, up to `end`. All the functions that put
// something there return false when there is no room for it, or it is not known here.
struct Output {
  char* to;
  char* const end;

  std::size_t Room() const { return static_cast<std::size_t>(end - to); }
  void Copy(std::string_view text) { to += text.copy(to, text.size()); }
  void Fill(std::size_t count, char c) { to = std::fill_n(to, count, c); }
};

// The text up to the next percent sign or the end of the format.
bool PutText(Output& output, const char*& format) {
  // Short texts are copied sooner than the C library is called.
  constexpr std::size_t shortText = 8;
  char* to = output.to;
  char* const shortEnd = to + std::min(output.Room(), shortText);
  const char* from = format;
  while (to != shortEnd && *from != '%' && *from != '\0') *to++ = *from++;
  output.to = to;
  format = from;
  if (to != shortEnd || *from == '%' || *from == '\0') return true;
  format = strchrnul(from, '%');
  const std::string_view rest = Between(from, format);
  if (rest.size() > output.Room()) return false;
  output.Copy(rest);
  return true;
}

// A value in its parts; `zeros` of them before the digits.
bool PutPadded(Output& output, const Conversion& conversion, std::string_view prefix,
               std::size_t zeros, std::string_view digits) {
  const std::size_t size = prefix.size() + zeros + digits.size();
  const std::size_t padding = std::max(static_cast<std::size_t>(conversion.width), size) - size;
  if (size + padding > output.Room()) return false;
  if (!conversion.left) output.Fill(padding, ' ');
  output.Copy(prefix);
  output.Fill(zeros, '0');
  output.Copy(digits);
  if (conversion.left) output.Fill(padding, ' ');
  return true;
}

bool PutString(Output& output, const Conversion& conversion, const char* text) {
  if (text == nullptr || conversion.zeros || conversion.length != Length::Usual) return false;
  // Read no further than needed: with a precision, there may be no NUL.
  std::size_t most = output.Room() + 1;
  if (conversion.precision != none) {
    most = std::min(most, static_cast<std::size_t>(conversion.precision));
  }
  return PutPadded(output, conversion, {}, 0, {text, strnlen(text, most)});
}

bool PutCharacter(Output& output, const Conversion& conversion, int value) {
  if (conversion.zeros || conversion.precision != none || conversion.length != Length::Usual) {
    return false;
  }
  const char character = static_cast<char>(value);
  return PutPadded(output, conversion, {}, 0, {&character, 1});
}

bool PutInteger(Output& output, const Conversion& conversion, std::string_view prefix,
                std::string_view digits) {
  std::size_t least = 0;
  if (conversion.precision != none) {
    least = static_cast<std::size_t>(conversion.precision);
    if (least == 0 && digits == "0") digits = {};
  } else if (conversion.zeros && !conversion.left) {
    const auto width = static_cast<std::size_t>(conversion.width);
    least = width - std::min(width, prefix.size());
  }
  const std::size_t zeros = std::max(least, digits.size()) - digits.size();
  return PutPadded(output, conversion, prefix, zeros, digits);
}

// Numbers of 32 bits, as most are, are taken apart in less time than others.
std::to_chars_result WriteDecimal(char* to, char* end, std::uintmax_t value) {
  constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
  return value <= most ? std::to_chars(to, end, static_cast<std::uint32_t>(value))
                       : std::to_chars(to, end, value);
}

bool PutDecimal(Output& output, const Conversion& conversion, std::string_view sign,
                std::uintmax_t magnitude) {
  std::array<char, std::numeric_limits<std::uintmax_t>::digits10 + 1> text;
  const char* const textEnd = WriteDecimal(text.begin(), text.end(), magnitude).ptr;
  return PutInteger(output, conversion, sign, Between(text.begin(), textEnd));
}

bool PutUnsigned(Output& output, const Conversion& conversion, std::uintmax_t value) {
  if (!conversion.IsBare()) return PutDecimal(output, conversion, {}, value);
  const std::to_chars_result result = WriteDecimal(output.to, output.end, value);
  if (result.ec != std::errc{}) return false;
  output.to = result.ptr;
  return true;
}

bool PutSigned(Output& output, const Conversion& conversion, std::intmax_t value) {
  const auto bits = static_cast<std::uintmax_t>(value);
  return value < 0 ? PutDecimal(output, conversion, "-", 0 - bits)
                   : PutUnsigned(output, conversion, bits);
}

template <int base>
bool PutInBase(Output& output, const Conversion& conversion, std::string_view prefix,
               std::uintmax_t value) {
  std::array<char, std::numeric_limits<std::uintmax_t>::digits / 3 + 1> text;
  char* const textEnd = std::to_chars(text.begin(), text.end(), value, base).ptr;
  if (conversion.kind == 'X') {
    std::transform(text.data(), textEnd, text.data(),
                   [](char c) { return IsDigit(c) ? c : static_cast<char>(c - 'a' + 'A'); });
  }
  return PutInteger(output, conversion, prefix, Between(text.data(), textEnd));
}

bool PutPointer(Output& output, const Conversion& conversion, const void* value) {
  if (value == nullptr || conversion.zeros || conversion.precision != none ||
      conversion.length != Length::Usual) {
    return false;
  }
  return PutInBase<16>(output, conversion, "0x", reinterpret_cast<std::uintptr_t>(value));
}

#ifdef __SIZEOF_INT128__
__extension__ using Wide = unsigned __int128;

constexpr std::array<std::uint64_t, mostDecimals + 1> PowersOfTen() {
  std::array<std::uint64_t, mostDecimals + 1> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = 10 * powers[i - 1];
  return powers;
}

constexpr auto powersOfTen = PowersOfTen();

// What stands before the point and behind it.
struct Fixed {
  std::uint64_t whole = 0;
  std::uint64_t decimals = 0;
};

// The parts of a number below 2^64. A double is an integer of 53 bits over a power of
// two, so that its decimals are those of a division of integers: nothing is approximate.
// The last one is rounded to the nearest, and to the even one of two equally near.
Fixed Divide(double magnitude, std::uint64_t powerOfTen) {
  static_assert(std::numeric_limits<double>::is_iec559);
  constexpr int fractionBits = std::numeric_limits<double>::digits - 1;
  constexpr std::uint64_t hiddenBit = std::uint64_t{1} << fractionBits;
  constexpr int bias = std::numeric_limits<double>::max_exponent - 1;
  std::uint64_t bits = 0;
  std::memcpy(&bits, &magnitude, sizeof bits);
  const int exponent = static_cast<int>(bits >> fractionBits);
  const std::uint64_t numerator = (bits & (hiddenBit - 1)) | (exponent == 0 ? 0 : hiddenBit);
  const int shift = bias + fractionBits - std::max(exponent, 1);  // the denominator: 2^shift

  Fixed result;
  if (shift <= 0) {
    result.whole = numerator << -shift;
    return result;
  }
  if (shift >= 128) return result;  // less than half of any last decimal
  if (shift < 64) result.whole = numerator >> shift;
  const Wide denominator = Wide{1} << shift;
  const Wide product = (numerator & (denominator - 1)) * powerOfTen;  // 53 bits and 57
  const Wide rest = product & (denominator - 1);
  result.decimals = static_cast<std::uint64_t>(product >> shift);
  const bool isOdd = ((result.whole * powerOfTen + result.decimals) & 1) != 0;
  if (rest > denominator / 2 || (rest == denominator / 2 && isOdd)) ++result.decimals;
  if (result.decimals == powerOfTen) {
    result.decimals = 0;
    ++result.whole;
  }
  return result;
}

// As the C library would find it, which asks the locale of the thread.
bool PointIsADot() {
  const char* const point = nl_langinfo(RADIXCHAR);
  return point[0] == '.' && point[1] == '\0';
}

bool PutFixed(Output& output, const Conversion& conversion, double value) {
  const double magnitude = std::fabs(value);
  if (!(magnitude < 0x1p64)) return false;  // nor a NaN
  const int precision = conversion.precision == none ? usualDecimals : conversion.precision;
  if (precision > mostDecimals) return false;
  if (conversion.length != Length::Usual && conversion.length != Length::Long) return false;
  if (!PointIsADot() || std::fegetround() != FE_TONEAREST) return false;

  const std::uint64_t powerOfTen = powersOfTen[static_cast<std::size_t>(precision)];
  const Fixed fixed = Divide(magnitude, powerOfTen);
  constexpr int mostWhole = std::numeric_limits<std::uint64_t>::digits10 + 1;
  std::array<char, mostWhole + 1 + mostDecimals> text;
  char* textEnd = WriteDecimal(text.begin(), text.begin() + mostWhole, fixed.whole).ptr;
  if (precision > 0) {
    // A one in the place of the point keeps the zeros behind it.
    (void)WriteDecimal(textEnd, text.end(), powerOfTen + fixed.decimals);
    *textEnd = '.';
    textEnd += 1 + precision;
  }
  const std::string_view digits = Between(text.begin(), textEnd);
  const std::string_view sign("-", std::signbit(value) ? 1 : 0);
  std::size_t zeros = 0;
  if (conversion.zeros && !conversion.left) {
    const std::size_t size = sign.size() + digits.size();
    zeros = std::max(static_cast<std::size_t>(conversion.width), size) - size;
  }
  return PutPadded(output, conversion, sign, zeros, digits);
}
#else
bool PutFixed(Output&, const Conversion&, double) {
  return false;
}
#endif

bool PutValue(Output& output, const Conversion& conversion, Values& values) {
  const Length length = conversion.length;
  switch (conversion.kind) {
    case 's':
      return PutString(output, conversion, va_arg(values.list, const char*));
    case 'c':
      return PutCharacter(output, conversion, va_arg(values.list, int));
    case 'd':
    case 'i':
      return PutSigned(output, conversion, TakeSigned(length, values));
    case 'u':
      return PutUnsigned(output, conversion, TakeUnsigned(length, values));
    case 'x':
    case 'X':
      return PutInBase<16>(output, conversion, {}, TakeUnsigned(length, values));
    case 'o':
      return PutInBase<8>(output, conversion, {}, TakeUnsigned(length, values));
    case 'p':
      return PutPointer(output, conversion, va_arg(values.list, const void*));
    case 'f':
    case 'F':
      return PutFixed(output, conversion, va_arg(values.list, double));
    default:
      return false;
  }
}

}  // namespace

int FormatPlainly(char* destination, std::size_t room, const char* format, std::va_list theValues) {
  constexpr std::size_t longest = std::numeric_limits<int>::max();
  Output output{destination, destination + std::min(room, longest)};
  Values values(theValues);
  for (;;) {
    if (!PutText(output, format)) return notPlain;
    if (*format == '\0') break;
    ++format;
    if (*format == '%') {
      if (output.Room() == 0) return notPlain;
      output.Fill(1, *format++);
    } else if (!PutValue(output, ReadConversion(format, values), values)) {
      return notPlain;
    }
  }
  *output.to = '\0';
  return static_cast<int>(output.to - destination);
}
