#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <clocale>
#include <cstdarg>
#include <cstdint>
#include <string>

#include "ZinSafeString.h"

using ::testing::Each;

namespace {

// A buffer of 16 bytes that shows which of them were written.
class Buffer {
 public:
  Buffer() { bytes.fill('#'); }
  char* Start() { return bytes.data(); }

  // "ab\0" as "ab0", and whatever was not written as '#'.
  std::string Bytes() const {
    std::string seen(bytes.begin(), bytes.end());
    for (char& byte : seen) byte = byte == '\0' ? '0' : byte;
    return seen;
  }

 private:
  std::array<char, 16> bytes{};
};

// A format that the compiler would reject in a call of its own.
int FormatUnchecked(char* destination, std::size_t destMax, std::size_t count, const char* format,
                    ...) {
  using Formatter = int (*)(char*, std::size_t, std::size_t, const char*, std::va_list);
  const Formatter formatter = vsnprintf_s;
  std::va_list values;
  va_start(values, format);
  const int result = formatter(destination, destMax, count, format, values);
  va_end(values);
  return result;
}

TEST(SafeString, ReturnsTheNumberOfCharactersWithoutTheNul) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 16, 15, "%d-%s", 42, "ab"), 5);
  EXPECT_EQ(buffer.Bytes(), "42-ab0##########");
}

TEST(SafeString, WritesAnEmptyText) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 16, 15, "%s", ""), 0);
  EXPECT_EQ(buffer.Bytes(), "0###############");
}

TEST(SafeString, TakesATextThatJustFitsTheCount) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 16, 5, "%s", "abcde"), 5);
  EXPECT_EQ(buffer.Bytes(), "abcde0##########");
}

TEST(SafeString, CutsATextOneLongerThanTheCount) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 16, 5, "%s", "abcdef"), -1);
  EXPECT_EQ(buffer.Bytes(), "abcde0##########");
}

TEST(SafeString, TakesATextThatJustFitsTheBuffer) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 6, 5, "%s", "abcde"), 5);
  EXPECT_EQ(buffer.Bytes(), "abcde0##########");
}

TEST(SafeString, NeverWritesBeyondABufferSmallerThanTheCount) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 5, 15, "%s", "abcde"), -1);
  EXPECT_EQ(buffer.Bytes(), "abcd0###########");
  EXPECT_EQ(snprintf_s(buffer.Start(), 5, 5, "%s", "abcde"), -1);
  EXPECT_EQ(buffer.Bytes(), "abcd0###########");
  EXPECT_EQ(snprintf_s(buffer.Start(), 5, SIZE_MAX, "%s", "abcd"), 4);
  EXPECT_EQ(buffer.Bytes(), "abcd0###########");
}

TEST(SafeString, WritesNothingButTheNulForACountOfZero) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 16, 0, "%s", "a"), -1);
  EXPECT_EQ(buffer.Bytes(), "0###############");
  EXPECT_EQ(snprintf_s(buffer.Start(), 16, 0, "%s", ""), 0);
}

TEST(SafeString, WritesNothingButTheNulIntoABufferOfOneByte) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 1, 15, "%s", "a"), -1);
  EXPECT_EQ(buffer.Bytes(), "0###############");
}

TEST(SafeString, WritesNothingAtAllIntoABufferOfNoBytes) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 0, 15, "%s", "a"), -1);
  EXPECT_EQ(snprintf_s(buffer.Start(), 0, 0, "%s", ""), -1);
  EXPECT_THAT(buffer.Bytes(), Each('#'));
}

TEST(SafeString, FailsForANullBuffer) {
  EXPECT_EQ(snprintf_s(nullptr, 16, 15, "%s", "a"), -1);
}

TEST(SafeString, FailsForANullFormatAndLeavesAnEmptyText) {
  Buffer buffer;
  EXPECT_EQ(FormatUnchecked(buffer.Start(), 16, 15, nullptr), -1);
  EXPECT_EQ(buffer.Bytes(), "0###############");
}

TEST(SafeString, FailsForAConversionThatIsImpossibleAndLeavesAnEmptyText) {
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7fffffff), L'\0'};
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 16, 15, "ab%ls", noCharacter), -1);
  EXPECT_EQ(buffer.Bytes().front(), '0');
}

TEST(SafeString, CountsCharactersBehindANulInTheText) {
  Buffer buffer;
  EXPECT_EQ(snprintf_s(buffer.Start(), 16, 15, "a%cb", '\0'), 3);
  EXPECT_EQ(buffer.Bytes(), "a0b0############");
}

TEST(SafeString, TakesAnArgumentListAsItTakesArguments) {
  Buffer buffer;
  EXPECT_EQ(FormatUnchecked(buffer.Start(), 16, 5, "%s=%d", "ab", 12), 5);
  EXPECT_EQ(buffer.Bytes(), "ab=120##########");
  EXPECT_EQ(FormatUnchecked(buffer.Start(), 16, 4, "%s=%d", "ab", 12), -1);
  EXPECT_EQ(buffer.Bytes(), "ab=100##########");
}

TEST(SafeString, ShowsErrno) {
  Buffer buffer;
  errno = EIO;
  EXPECT_EQ(FormatUnchecked(buffer.Start(), 16, 11, "%m"), -1);  // Input/output error
  EXPECT_EQ(buffer.Bytes(), "Input/outpu0####");
}

}  // namespace
