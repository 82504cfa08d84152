#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cfenv>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include "FormatComparison.h"
#include "PlainFormat.h"
#include "support/RunProgram.h"
#include "support/ScratchDir.h"

namespace {

// Without the attribute by which the compiler checks formats.
int FormatUnchecked(char* destination, std::size_t room, const char* format, ...) {
  using Formatter = int (*)(char*, std::size_t, const char*, std::va_list);
  const Formatter formatter = FormatPlainly;
  std::va_list values;
  va_start(values, format);
  const int result = formatter(destination, room, format, values);
  va_end(values);
  return result;
}

// The text, or nothing where it is left to the C library.
template <typename... Values>
std::optional<std::string> Plain(const char* format, Values... values) {
  char text[12000];
  const int length = FormatUnchecked(text, sizeof text - 1, format, values...);
  if (length == notPlain) return std::nullopt;
  EXPECT_EQ(text[length], '\0');
  return std::string(text, static_cast<std::size_t>(length));
}

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double smallest = std::numeric_limits<double>::denorm_min();

// ---- Text ----------------------------------------------------------------------

TEST(PlainFormat, CopiesText) {
  EXPECT_EQ(Plain(""), "");
  EXPECT_EQ(Plain("a"), "a");
  EXPECT_EQ(Plain("a\xc3\xa4\xff"), "a\xc3\xa4\xff");
  EXPECT_EQ(Plain("1234567"), "1234567");
  EXPECT_EQ(Plain("12345678"), "12345678");
  EXPECT_EQ(Plain("123456789"), "123456789");
  EXPECT_EQ(Plain("12345678%d", 9), "123456789");
  EXPECT_EQ(Plain("a text that is longer than others"), "a text that is longer than others");
}

TEST(PlainFormat, MakesOnePercentSignOfTwo) {
  EXPECT_EQ(Plain("%%"), "%");
  EXPECT_EQ(Plain("100%%%d%%", 5), "100%5%");
  EXPECT_EQ(Plain("eight...%%"), "eight...%");
}

TEST(PlainFormat, TakesSeveralValues) {
  EXPECT_EQ(Plain("request %d of %s took %.3f ms", 42, "alpha", 3.14159),
            "request 42 of alpha took 3.142 ms");
  EXPECT_EQ(Plain("%.4d-%.2d-%.2d %.2d:%.2d:%.2d.%.3d", 2026, 1, 5, 9, 3, 7, 42),
            "2026-01-05 09:03:07.042");
  EXPECT_EQ(Plain("%f %d %f %d %f %d %f %d %f %d %f %d %f %d %f %d %f %d %f %d", 1., 1, 2., 2, 3.,
                  3, 4., 4, 5., 5, 6., 6, 7., 7, 8., 8, 9., 9, 10., 10),
            "1.000000 1 2.000000 2 3.000000 3 4.000000 4 5.000000 5 6.000000 6 7.000000 7 "
            "8.000000 8 9.000000 9 10.000000 10");
}

// ---- Strings and characters ----------------------------------------------------

TEST(PlainFormat, WritesStrings) {
  EXPECT_EQ(Plain("%s", "alpha"), "alpha");
  EXPECT_EQ(Plain("[%s]", ""), "[]");
  EXPECT_EQ(Plain("%7s|%-7s|%3s", "alpha", "alpha", "alpha"), "  alpha|alpha  |alpha");
  EXPECT_EQ(Plain("%.2s|%.0s|%.s|%.9s", "alpha", "alpha", "alpha", "alpha"), "al|||alpha");
  EXPECT_EQ(Plain("%4.2s|%-4.2s|", "alpha", "alpha"), "  al|al  |");
  EXPECT_EQ(Plain("%.*s|%*s|%*s|", 3, "alpha", 6, "beta", -6, "beta"), "alp|  beta|beta  |");
  EXPECT_EQ(Plain("%.*s", -1, "alpha"), "alpha");
}

TEST(PlainFormat, WritesCharacters) {
  EXPECT_EQ(Plain("%c%c", 'a', 0x142), "aB");  // as unsigned char
  EXPECT_EQ(Plain("%3c|%-3c|", 'a', 'b'), "  a|b  |");
  EXPECT_EQ(Plain("a%cb", 0), std::string("a\0b", 3));
}

TEST(PlainFormat, ReadsNoStringBeyondItsPrecision) {
  const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* const pages =
      mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  char* const pageEnd = static_cast<char*>(pages) + pageSize;
  ASSERT_EQ(mprotect(pageEnd, pageSize, PROT_NONE), 0);
  std::memcpy(pageEnd - 3, "abc", 3);
  EXPECT_EQ(Plain("%.3s", pageEnd - 3), "abc");
  EXPECT_EQ(Plain("%.*s", 2, pageEnd - 2), "bc");
  EXPECT_EQ(Plain("%.0s", pageEnd), "");
  munmap(pages, 2 * pageSize);
}

// ---- Integers ------------------------------------------------------------------

TEST(PlainFormat, WritesDecimalNumbers) {
  EXPECT_EQ(Plain("%d %d %d %i", 0, 7, -7, 1234567), "0 7 -7 1234567");
  EXPECT_EQ(Plain("%d %d", INT_MAX, INT_MIN), "2147483647 -2147483648");
  EXPECT_EQ(Plain("%u %u", 0, UINT_MAX), "0 4294967295");
}

TEST(PlainFormat, FillsNumbersUpToAWidth) {
  EXPECT_EQ(Plain("%5d|%-5d|%05d", 42, 42, 42), "   42|42   |00042");
  EXPECT_EQ(Plain("%5d|%-5d|%05d", -42, -42, -42), "  -42|-42  |-0042");
  EXPECT_EQ(Plain("%2d|%-2d|%02d", 421, 421, 421), "421|421|421");
  EXPECT_EQ(Plain("%-05d|%0-5d|", 42, 42), "42   |42   |");
  EXPECT_EQ(Plain("%*d|%*d|%0*d|%0*d|", 4, 7, -4, 7, 4, 7, -4, 7), "   7|7   |0007|7   |");
  EXPECT_EQ(Plain("%9999d", 7), std::string(9998, ' ') + "7");
  EXPECT_EQ(Plain("%-*d", 9999, 7), "7" + std::string(9998, ' '));
}

TEST(PlainFormat, WritesAsManyDigitsAsThePrecisionSays) {
  EXPECT_EQ(Plain("%.3d %.3d %.3d %.3u", 7, -7, 1234, 7), "007 -007 1234 007");
  EXPECT_EQ(Plain("[%.0d] [%.d] [%.0d] [%3.0x]", 0, 0, 5, 0), "[] [] [5] [   ]");
  EXPECT_EQ(Plain("%6.3d|%-6.3d|%06.3d", -7, -7, -7), "  -007|-007  |  -007");
  EXPECT_EQ(Plain("%.*d %.*d", 4, 7, -4, 0), "0007 0");
  EXPECT_EQ(Plain("%05.*d", -1, 7), "00007");  // as if there were no precision
  EXPECT_EQ(Plain("%.9999d", 7), std::string(9998, '0') + "7");
}

TEST(PlainFormat, WritesNumbersOfOtherBases) {
  EXPECT_EQ(Plain("%x %X %x", 0xbeef, 0xbeef, 0), "beef BEEF 0");
  EXPECT_EQ(Plain("%08x|%-6x|%6X|%.4x", 0x12ab, 0x12ab, 0x12ab, 0xf),
            "000012ab|12ab  |  12AB|000f");
  EXPECT_EQ(Plain("%x %X", -1, -2), "ffffffff FFFFFFFE");
  EXPECT_EQ(Plain("%o %o %.3o", 8, 0, 7), "10 0 007");
  EXPECT_EQ(Plain("%lo", ULONG_MAX), "1777777777777777777777");
}

TEST(PlainFormat, TakesEveryLengthOfAnInteger) {
  EXPECT_EQ(Plain("%hhd %hhu %hhx", 0x180, 0x1ff, 0x1ab), "-128 255 ab");
  EXPECT_EQ(Plain("%hd %hu %hX", 0x18000, 0x1ffff, 0x1abcd), "-32768 65535 ABCD");
  EXPECT_EQ(Plain("%ld %lu", LONG_MIN, ULONG_MAX), "-9223372036854775808 18446744073709551615");
  EXPECT_EQ(Plain("%lld %llu %llx", LLONG_MIN, ULLONG_MAX, ULLONG_MAX),
            "-9223372036854775808 18446744073709551615 ffffffffffffffff");
  EXPECT_EQ(Plain("%jd %ju", INTMAX_MIN, UINTMAX_MAX), "-9223372036854775808 18446744073709551615");
  EXPECT_EQ(Plain("%zu %zd", SIZE_MAX, static_cast<std::ptrdiff_t>(-5)), "18446744073709551615 -5");
  EXPECT_EQ(Plain("%td %tu", PTRDIFF_MIN, PTRDIFF_MAX), "-9223372036854775808 9223372036854775807");
  EXPECT_EQ(Plain("%020lld|%-22lldx", LLONG_MIN, LLONG_MIN),
            "-9223372036854775808|-9223372036854775808  x");
}

TEST(PlainFormat, WritesPointers) {
  EXPECT_EQ(Plain("%p", reinterpret_cast<void*>(std::uintptr_t{0x7ffe12})), "0x7ffe12");
  EXPECT_EQ(Plain("%10p|%-10p|", reinterpret_cast<void*>(std::uintptr_t{0xab}),
                  reinterpret_cast<void*>(std::uintptr_t{0xcd})),
            "      0xab|0xcd      |");
}

// ---- Numbers with a point ------------------------------------------------------

TEST(PlainFormat, WritesNumbersWithAPoint) {
  EXPECT_EQ(Plain("%f %f %f", 0.0, 1.0, -3.25), "0.000000 1.000000 -3.250000");
  EXPECT_EQ(Plain("%.3f %.2F %.1f %lf", 3.14159, 1234567.891, 0.25, 0.5),
            "3.142 1234567.89 0.2 0.500000");
  EXPECT_EQ(Plain("%f %.0f", -0.0, -0.0), "-0.000000 -0");
  EXPECT_EQ(Plain("%.17f", 0.1), "0.10000000000000001");
  EXPECT_EQ(Plain("%.17f", 1.0 / 3), "0.33333333333333331");
}

TEST(PlainFormat, RoundsToTheNearest) {
  EXPECT_EQ(Plain("%.2f %.2f", 0.994, 0.996), "0.99 1.00");
  EXPECT_EQ(Plain("%.2f %.2f", 1.005, 1.015), "1.00 1.01");  // both doubles are below it
  EXPECT_EQ(Plain("%.3f %.3f", 999.9996, -999.9996), "1000.000 -1000.000");
  EXPECT_EQ(Plain("%.0f %.0f", 0.4, 0.6), "0 1");
}

TEST(PlainFormat, RoundsToTheEvenOneOfTwoEquallyNear) {
  EXPECT_EQ(Plain("%.0f %.0f %.0f %.0f", 0.5, 1.5, 2.5, 3.5), "0 2 2 4");
  EXPECT_EQ(Plain("%.1f %.1f %.1f %.1f", 0.25, 0.75, 1.25, -1.75), "0.2 0.8 1.2 -1.8");
  EXPECT_EQ(Plain("%.2f %.2f", 0.125, 0.375), "0.12 0.38");
  EXPECT_EQ(Plain("%.0f", std::nextafter(0.5, 1)), "1");
  EXPECT_EQ(Plain("%.0f", std::nextafter(2.5, 3)), "3");
  EXPECT_EQ(Plain("%.1f", std::nextafter(0.25, 0)), "0.2");
  EXPECT_EQ(Plain("%.1f", std::nextafter(0.25, 1)), "0.3");
}

TEST(PlainFormat, TakesNumbersUpTo2To64) {
  EXPECT_EQ(Plain("%.1f", 0x1p51 + 0.5), "2251799813685248.5");
  EXPECT_EQ(Plain("%.1f", 0x1p53), "9007199254740992.0");
  EXPECT_EQ(Plain("%.0f", 0x1p63), "9223372036854775808");
  EXPECT_EQ(Plain("%.17f", std::nextafter(0x1p64, 0)), "18446744073709549568.00000000000000000");
  EXPECT_EQ(Plain("%f", 0x1p64), std::nullopt);
  EXPECT_EQ(Plain("%f", -0x1p64), std::nullopt);
}

TEST(PlainFormat, TakesNumbersDownToTheSmallest) {
  EXPECT_EQ(Plain("%.3f %.4f", 0x1p-11, 0x1p-11), "0.000 0.0005");
  EXPECT_EQ(Plain("%.17f", 0x1p-12), "0.00024414062500000");
  EXPECT_EQ(Plain("%.17f", 0x1p-57), "0.00000000000000001");  // 6.9e-18
  EXPECT_EQ(Plain("%.17f", 0x1p-58), "0.00000000000000000");  // 3.5e-18
  EXPECT_EQ(Plain("%f %.17f", 0x1p-75, 0x1p-76), "0.000000 0.00000000000000000");
  EXPECT_EQ(Plain("%f %.17f", smallest, -smallest), "0.000000 -0.00000000000000000");
}

TEST(PlainFormat, FillsNumbersWithAPointUpToAWidth) {
  EXPECT_EQ(Plain("%8.2f|%-8.2f|%08.2f", -3.14159, -3.14159, -3.14159),
            "   -3.14|-3.14   |-0003.14");
  EXPECT_EQ(Plain("%3.2f|%-03.0f|%04.0f", 3.14159, 3.14159, 3.14159), "3.14|3  |0003");
  EXPECT_EQ(Plain("%*.*f", 6, 1, 2.71828), "   2.7");
}

// ---- What is left to the C library ---------------------------------------------

TEST(PlainFormat, LeavesOtherConversionsToTheCLibrary) {
  const char* const formats[] = {
      "%",     "%5",   "a%",      "%5%",      "%-%",   "%e",    "%g",      "%a",  "%G",    "%E",
      "%A",    "%n",   "%m",      "%C",       "%S",    "%b",    "%+d",     "% d", "%#x",   "%'d",
      "%Id",   "%1$d", "%*1$d",   "%Ld",      "%qd",   "%hhhd", "%llld",   "%lc", "%hc",   "%05c",
      "%.1c",  "%lp",  "%05p",    "%.3p",     "%hf",   "%llf",  "%Lf",     "%+f", "%#.0f", "%'f",
      "%.18f", "%y",   "%10000d", "%.10000d", "%.-1d", "%5-d",  "%5.5.5d", "%ld%"};
  for (const char* const format : formats) EXPECT_EQ(Plain(format, 1L, 1L), std::nullopt) << format;
  EXPECT_EQ(Plain("%ls", L"a"), std::nullopt);
  EXPECT_EQ(Plain("%hs", "a"), std::nullopt);
  EXPECT_EQ(Plain("%05s", "a"), std::nullopt);
}

TEST(PlainFormat, LeavesOddValuesToTheCLibrary) {
  const char* const noText = nullptr;
  EXPECT_EQ(Plain("%s", noText), std::nullopt);
  EXPECT_EQ(Plain("%.2s", noText), std::nullopt);
  EXPECT_EQ(Plain("%p", noText), std::nullopt);
  EXPECT_EQ(Plain("%f", infinity), std::nullopt);
  EXPECT_EQ(Plain("%f", -infinity), std::nullopt);
  EXPECT_EQ(Plain("%f", std::numeric_limits<double>::quiet_NaN()), std::nullopt);
  EXPECT_EQ(Plain("%.*f", 18, 1.0), std::nullopt);
  for (const int number : {10000, -10000, INT_MAX, INT_MIN}) {
    EXPECT_EQ(Plain("%*d", number, 1), std::nullopt) << number;
  }
  EXPECT_EQ(Plain("%.*d", 10000, 1), std::nullopt);
}

TEST(PlainFormat, LeavesNumbersThatRoundOtherwiseToTheCLibrary) {
  for (const int mode : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(std::fesetround(mode), 0);
    EXPECT_EQ(Plain("%.1f", 0.25), std::nullopt);
    EXPECT_EQ(Plain("%d", 25), "25");
  }
  ASSERT_EQ(std::fesetround(FE_TONEAREST), 0);
  EXPECT_EQ(Plain("%.1f", 0.25), "0.2");
}

TEST(PlainFormat, LeavesTextThatDoesNotFitToTheCLibrary) {
  char text[8];
  EXPECT_EQ(FormatUnchecked(text, 3, "abc"), 3);
  EXPECT_EQ(FormatUnchecked(text, 2, "abc"), notPlain);
  EXPECT_EQ(FormatUnchecked(text, 0, ""), 0);
  EXPECT_EQ(FormatUnchecked(text, 0, "%%"), notPlain);
  EXPECT_EQ(FormatUnchecked(text, 1, "%%"), 1);
  EXPECT_EQ(FormatUnchecked(text, 3, "%s", "abc"), 3);
  EXPECT_EQ(FormatUnchecked(text, 2, "%s", "abc"), notPlain);
  EXPECT_EQ(FormatUnchecked(text, 2, "%3s", "a"), notPlain);
  EXPECT_EQ(FormatUnchecked(text, 0, "%c", 'a'), notPlain);
  EXPECT_EQ(FormatUnchecked(text, 3, "%d", 123), 3);
  EXPECT_EQ(FormatUnchecked(text, 3, "%d", -123), notPlain);
  EXPECT_EQ(FormatUnchecked(text, 3, "%.4d", 1), notPlain);
  EXPECT_EQ(FormatUnchecked(text, 4, "%.2f", 1.5), 4);
  EXPECT_EQ(FormatUnchecked(text, 3, "%.2f", 1.5), notPlain);
}

TEST(PlainFormat, LeavesErrnoAlone) {
  errno = EIO;
  EXPECT_EQ(Plain("%d %s %.3f %p", 1, "a", 1.5, "a").has_value(), true);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(Plain("%d%m", 1), std::nullopt);
  EXPECT_EQ(errno, EIO);
}

// ---- The same as the C library -------------------------------------------------

const CallBounds ampleBounds{12000, 11999, EIO};

// Every flag, width and precision before a conversion, of every length.
template <typename Visit>
void ForEachConversion(const std::string& lengthAndKind, const Visit& visit) {
  for (const char* const flags : {"", "-", "0", "-0", "+", "#", " "}) {
    for (const char* const width :
         {"", "1", "2", "5", "19", "20", "21", "24", "100", "9999", "10000"}) {
      for (const char* const precision : {"", ".", ".0", ".1", ".5", ".17", ".18", ".20", ".30"}) {
        visit(std::string("<%") + flags + width + precision + lengthAndKind + ">");
      }
    }
  }
}

template <typename Integer>
void CompareIntegers(const std::string& length) {
  constexpr Integer least = std::numeric_limits<Integer>::min();
  constexpr Integer most = std::numeric_limits<Integer>::max();
  FormatComparison comparison;
  for (const char kind : std::string("diuxXo")) {
    ForEachConversion(length + kind, [&](const std::string& format) {
      for (const Integer value :
           {least, static_cast<Integer>(least + 1), Integer{-1}, Integer{0}, Integer{1}, Integer{9},
            Integer{10}, static_cast<Integer>(most - 1), most}) {
        ASSERT_TRUE(comparison.Agrees(ampleBounds, format.c_str(), value))
            << format << comparison.Describe();
      }
    });
  }
}

TEST(PlainFormat, WritesIntegersAsTheCLibraryDoes) {
  CompareIntegers<signed char>("hh");
  CompareIntegers<short>("h");
  CompareIntegers<int>("");
  CompareIntegers<int>("hh");
  CompareIntegers<int>("h");
  CompareIntegers<long>("l");
  CompareIntegers<long long>("ll");
  CompareIntegers<std::intmax_t>("j");
  CompareIntegers<std::ptrdiff_t>("z");
  CompareIntegers<std::ptrdiff_t>("t");
}

TEST(PlainFormat, WritesNumbersWithAPointAsTheCLibraryDoes) {
  FormatComparison comparison;
  for (const int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(std::fesetround(mode), 0);
    ForEachConversion("f", [&](const std::string& format) {
      for (const double value :
           {0.0,         smallest,     0x1p-1022,   0x1p-127,
            0x1p-75,     0.05,         0.1,         0.5,
            2.5,         9.5,          0.999999951, 3.14159,
            1234567.891, 0x1p51 + 0.5, 0x1p53,      0x1p64,
            1e22,        1e308,        infinity,    std::numeric_limits<double>::quiet_NaN()}) {
        ASSERT_TRUE(comparison.Agrees(ampleBounds, format.c_str(), value))
            << format << comparison.Describe();
        ASSERT_TRUE(comparison.Agrees(ampleBounds, format.c_str(), -value))
            << format << comparison.Describe();
      }
    });
  }
  ASSERT_EQ(std::fesetround(FE_TONEAREST), 0);
}

TEST(PlainFormat, WritesStringsAndCharactersAsTheCLibraryDoes) {
  FormatComparison comparison;
  const char* const noText = nullptr;
  ForEachConversion("s", [&](const std::string& format) {
    for (const char* const text :
         {"", "a", "alpha", "a text of more than twenty characters", noText}) {
      ASSERT_TRUE(comparison.Agrees(ampleBounds, format.c_str(), text))
          << format << comparison.Describe();
    }
  });
  ForEachConversion("p", [&](const std::string& format) {
    for (const char* const pointer : {"a", noText}) {
      ASSERT_TRUE(comparison.Agrees(ampleBounds, format.c_str(), pointer))
          << format << comparison.Describe();
    }
  });
  ForEachConversion("c", [&](const std::string& format) {
    for (const int character : {0, int{'a'}, 255, 256, -1}) {
      ASSERT_TRUE(comparison.Agrees(ampleBounds, format.c_str(), character))
          << format << comparison.Describe();
    }
  });
}

TEST(PlainFormat, CutsAsTheCLibraryDoes) {
  FormatComparison comparison;
  for (std::size_t destMax = 0; destMax < 80; ++destMax) {
    for (std::size_t count = 0; count < 80; ++count) {
      ASSERT_TRUE(comparison.Agrees({destMax, count, EIO}, "a %s of%% %5d%-4c|%08.3f %p %x%c",
                                    "text", -42, 'c', -3.14159, "pointer", 0xbeef, '\0'))
          << destMax << " " << count << comparison.Describe();
    }
  }
}

// What comes behind the cut may be what makes the call fail.
TEST(PlainFormat, FailsAsTheCLibraryDoes) {
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  FormatComparison comparison;
  const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7fffffff), L'\0'};
  for (std::size_t destMax = 1; destMax < 12; ++destMax) {
    EXPECT_TRUE(comparison.Agrees({destMax, destMax, 0}, "ab%d%ls", 345, noCharacter))
        << comparison.Describe();
    EXPECT_EQ(comparison.ours.result, -1);
    EXPECT_EQ(comparison.ours.error, EILSEQ);
    EXPECT_TRUE(comparison.Agrees({destMax, destMax, 0}, "ab%d%", 345)) << comparison.Describe();
    EXPECT_TRUE(comparison.Agrees({destMax, destMax, 0}, "ab%d%2147483648d", 345, 1))
        << comparison.Describe();
    EXPECT_EQ(comparison.ours.error, EOVERFLOW);
  }
}

// ---- Locales -------------------------------------------------------------------

// A locale whose numbers look like 1.234,5, or null where there are no means to make it.
locale_t LocaleWithComma() {
  const ScratchDir directory;
  directory.Write(
      "source",
      "LC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\n"
      "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3;3\nEND LC_NUMERIC\n");
  (void)RunProgram(
      {"localedef", "-c", "--no-archive", "-i", directory / "source", directory / "comma"});
  setenv("LOCPATH", directory.Path().c_str(), 1);
  // Not newlocale: that forgets the memory of the path.
  if (std::setlocale(LC_ALL, "comma") == nullptr) return nullptr;
  const locale_t comma = duplocale(LC_GLOBAL_LOCALE);
  (void)std::setlocale(LC_ALL, "C");
  return comma;
}

TEST(PlainFormat, LeavesTheCommaOfALocaleToTheCLibrary) {
  const locale_t comma = LocaleWithComma();
  if (comma == nullptr) GTEST_SKIP() << "localedef is needed";
  FormatComparison comparison;
  const locale_t before = uselocale(comma);
  EXPECT_EQ(Plain("%.1f", 2.75), std::nullopt);
  EXPECT_EQ(Plain("%d %s", 1234567, "alpha"), "1234567 alpha");
  EXPECT_TRUE(comparison.Agrees(ampleBounds, "%.1f %'d %d", 2.75, 1234567, 1234567))
      << comparison.Describe();
  EXPECT_EQ(comparison.ours.bytes.substr(0, 21), "2,8 1.234.567 1234567");
  uselocale(before);
  EXPECT_EQ(Plain("%.1f", 2.75), "2.8");
  freelocale(comma);
}

}  // namespace
