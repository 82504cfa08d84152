#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <type_traits>

#include "FakeClock.h"
#include "FakeIds.h"
#include "LineFormat.h"
#include "RecordedReads.h"

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::StrEq;

namespace {

static_assert(std::is_same_v<std::underlying_type_t<LogLevel>, std::int32_t>);

std::string Header(LogLevel level, const char* file, int line, const char* function,
                   const char* tag) {
  std::array<char, 2048> buffer{};
  const std::int64_t length =
      FormatLogHeader(buffer.data(), buffer.size(), 2046, level, file, line, function, tag);
  EXPECT_EQ(length, static_cast<std::int64_t>(std::string(buffer.data()).size()));
  return buffer.data();
}

std::string Header() {
  return Header(INFO, "src/queue_unit", 110, "StopQueue", " ");
}

std::string Stamp(int sequence) {
  std::array<char, 32> buffer{};
  const int length = FormatFileStamp(buffer.data(), buffer.size(), 31, sequence);
  EXPECT_EQ(length, static_cast<int>(std::string(buffer.data()).size()));
  return buffer.data();
}

// ---- Header ------------------------------------------------------------------

TEST(FormatLogHeader, HoldsProcessTimeThreadLevelTagSourceAndFunction) {
  EXPECT_EQ(Header(INFO, "src/queue_unit", 110, "StopQueue", " "),
            "[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [queue_unit:110] [StopQueue]: ");
}

TEST(FormatLogHeader, NamesEveryLevelWithoutPadding) {
  EXPECT_THAT(Header(FATAL, "a", 1, "f", " "), HasSubstr("] [FATAL] [a:1]"));
  EXPECT_THAT(Header(ERROR, "a", 1, "f", " "), HasSubstr("] [ERROR] [a:1]"));
  EXPECT_THAT(Header(WARN, "a", 1, "f", " "), HasSubstr("] [WARN] [a:1]"));
  EXPECT_THAT(Header(INFO, "a", 1, "f", " "), HasSubstr("] [INFO] [a:1]"));
  EXPECT_THAT(Header(DEBUG, "a", 1, "f", " "), HasSubstr("] [DEBUG] [a:1]"));
}

TEST(FormatLogHeader, IsOneCharacterShorterForWarnAndInfo) {
  const std::size_t longer = Header(FATAL, "a", 1, "f", " ").size();
  EXPECT_EQ(Header(ERROR, "a", 1, "f", " ").size(), longer);
  EXPECT_EQ(Header(DEBUG, "a", 1, "f", " ").size(), longer);
  EXPECT_EQ(Header(WARN, "a", 1, "f", " ").size(), longer - 1);
  EXPECT_EQ(Header(INFO, "a", 1, "f", " ").size(), longer - 1);
}

TEST(FormatLogHeader, CallsALevelOutsideTheTableUnknown) {
  for (const int level : {-1, 5, INT_MIN, INT_MAX}) {
    EXPECT_THAT(Header(static_cast<LogLevel>(level), "a", 1, "f", " "),
                HasSubstr("] [UNKNOWN] [a:1]"))
        << level;
  }
}

TEST(FormatLogHeader, PutsTheSourceRightAfterTheLevelWhenTheTagIsEmpty) {
  EXPECT_THAT(Header(INFO, "src/queue_unit", 110, "StopQueue", ""),
              HasSubstr("[INFO][queue_unit:110]"));
}

TEST(FormatLogHeader, PrintsTheTagAsItIs) {
  EXPECT_THAT(Header(INFO, "src/queue_unit", 110, "StopQueue", " <net> %s "),
              HasSubstr("[INFO] <net> %s [queue_unit:110]"));
}

TEST(FormatLogHeader, CutsTheSourcePathAtSlashAndBackslash) {
  EXPECT_THAT(Header(INFO, "C:\\src\\alpha_unit", 1, "f", " "), HasSubstr("[alpha_unit:1]"));
  EXPECT_THAT(Header(INFO, "src/alpha_unit", 1, "f", " "), HasSubstr("[alpha_unit:1]"));
  EXPECT_THAT(Header(INFO, "alpha_unit", 1, "f", " "), HasSubstr("[alpha_unit:1]"));
  EXPECT_THAT(Header(INFO, "/alpha_unit", 1, "f", " "), HasSubstr("[/alpha_unit:1]"));
  EXPECT_THAT(Header(INFO, "dir/", 1, "f", " "), HasSubstr("[:1]"));
}

TEST(FormatLogHeader, PrintsNullStringsAsTheCLibraryDoes) {
  EXPECT_THAT(Header(INFO, nullptr, 1, nullptr, nullptr),
              EndsWith("[INFO](null)[(null):1] [(null)]: "));
}

TEST(FormatLogHeader, PrintsASingleNullStringAsTheCLibraryDoes) {
  EXPECT_THAT(Header(INFO, "a", 1, "f", nullptr), EndsWith("[INFO](null)[a:1] [f]: "));
  EXPECT_THAT(Header(INFO, nullptr, 1, "f", " "), EndsWith("[INFO] [(null):1] [f]: "));
  EXPECT_THAT(Header(INFO, "a", 1, nullptr, " "), EndsWith("[INFO] [a:1] [(null)]: "));
}

TEST(FormatLogHeader, PrintsNegativeNumbersAsTheyAre) {
  FakeIds::SetThreadId(-5);
  EXPECT_THAT(Header(INFO, "a", -2, "f", " "), EndsWith("] [-5] [INFO] [a:-2] [f]: "));
}

TEST(FormatLogHeader, PrintsTheLongestNumbersWhole) {
  FakeIds::SetThreadId(INT_MIN);
  EXPECT_THAT(Header(INFO, "a", INT_MIN, "f", " "),
              EndsWith("] [-2147483648] [INFO] [a:-2147483648] [f]: "));
  FakeIds::SetThreadId(INT_MAX);
  EXPECT_THAT(Header(INFO, "a", INT_MAX, "f", " "),
              EndsWith("] [2147483647] [INFO] [a:2147483647] [f]: "));
}

TEST(FormatLogHeader, PrintsTheProcessNameWhateverItIs) {
  FakeIds::SetProcessName("an agent");
  EXPECT_THAT(Header(), StartsWith("[an agent] [2026-"));
  FakeIds::SetProcessName("");
  EXPECT_THAT(Header(), StartsWith("[] [2026-"));
}

TEST(FormatLogHeader, PrintsTheDateFieldsWithoutAdjustment) {
  FakeClock::SetDateTime(987, 1, 2, 3, 4, 60);
  EXPECT_THAT(Header(), HasSubstr("[0987-01-02 03:04:60.042]"));
  FakeClock::SetDateTime(12026, 11, 30, 23, 59, 58);
  EXPECT_THAT(Header(), HasSubstr("[12026-11-30 23:59:58.042]"));
}

TEST(FormatLogHeader, FollowsTheClockForwardsAndBackwards) {
  FakeClock::SetDateTime(2026, 1, 5, 9, 3, 8);
  EXPECT_THAT(Header(), StartsWith("[demo] [2026-01-05 09:03:08.042] "));
  FakeClock::SetDateTime(2026, 1, 5, 9, 3, 7);
  EXPECT_THAT(Header(), StartsWith("[demo] [2026-01-05 09:03:07.042] "));
  FakeClock::SetDateTime(2027, 2, 6, 10, 4, 7);
  EXPECT_THAT(Header(), StartsWith("[demo] [2027-02-06 10:04:07.042] "));
}

TEST(FormatLogHeader, FollowsEachFieldOfTheDateAlone) {
  EXPECT_THAT(Header(), StartsWith("[demo] [2026-01-05 09:03:07.042] "));
  FakeClock::SetDateTime(2027, 1, 5, 9, 3, 7);
  EXPECT_THAT(Header(), StartsWith("[demo] [2027-01-05 09:03:07.042] "));
  FakeClock::SetDateTime(2027, 2, 5, 9, 3, 7);
  EXPECT_THAT(Header(), StartsWith("[demo] [2027-02-05 09:03:07.042] "));
  FakeClock::SetDateTime(2027, 2, 6, 9, 3, 7);
  EXPECT_THAT(Header(), StartsWith("[demo] [2027-02-06 09:03:07.042] "));
  FakeClock::SetDateTime(2027, 2, 6, 10, 3, 7);
  EXPECT_THAT(Header(), StartsWith("[demo] [2027-02-06 10:03:07.042] "));
  FakeClock::SetDateTime(2027, 2, 6, 10, 4, 7);
  EXPECT_THAT(Header(), StartsWith("[demo] [2027-02-06 10:04:07.042] "));
}

TEST(FormatLogHeader, ReadsTheSameWhetherItFillsItsBufferOrNot) {
  const std::string whole = Header();
  for (std::size_t room = whole.size(); room < 4 * whole.size(); ++room) {
    std::string buffer(room + 1, 'x');
    EXPECT_EQ(FormatLogHeader(buffer.data(), buffer.size(), room, INFO, "src/queue_unit", 110,
                              "StopQueue", " "),
              static_cast<std::int64_t>(whole.size()));
    EXPECT_STREQ(buffer.c_str(), whole.c_str());
  }
}

TEST(FormatLogHeader, TakesThreeDigitMillisecondsFromTheTickAlone) {
  const std::array<std::pair<std::uint64_t, const char*>, 5> cases = {
      {{0, ".000]"}, {7, ".007]"}, {1999, ".999]"}, {2000, ".000]"}, {UINT64_MAX, ".615]"}}};
  for (const auto& [tick, printed] : cases) {
    FakeClock::SetTick(tick);
    EXPECT_THAT(Header(), HasSubstr(std::string("[2026-01-05 09:03:07") + printed));
  }
}

TEST(FormatLogHeader, PrintsEachOfTheThousandMillisecondsAsItsThreeDigits) {
  const std::string digits = "0123456789";
  std::uint64_t tick = 0;
  for (const char hundreds : digits) {
    for (const char tens : digits) {
      for (const char ones : digits) {
        FakeClock::SetTick(tick++);
        EXPECT_THAT(Header(), HasSubstr(std::string("09:03:07.") + hundreds + tens + ones + "]"));
      }
    }
  }
}

// The second first: on the edge of one, a line then shows the old second with
// a low fraction, never the new one with a high fraction.
TEST(FormatLogHeader, ReadsTheSecondBeforeTheTickAndThenWhoIsRunning) {
  const RecordedReads reads;
  (void)Header();
  EXPECT_THAT(reads.Names(), ElementsAre("date and time", "tick", "process name", "thread id"));
}

TEST(FormatLogHeader, TellsThatItWasCutAtTheCount) {
  std::array<char, 32> buffer;
  buffer.fill('#');
  EXPECT_EQ(FormatLogHeader(buffer.data(), buffer.size(), 10, INFO, "a", 1, "f", " "), -1);
  EXPECT_THAT(buffer.data(), StrEq("[demo] [20"));
  EXPECT_EQ(buffer[11], '#');
}

TEST(FormatLogHeader, NeverWritesBeyondTheBuffer) {
  std::array<char, 32> buffer;
  buffer.fill('#');
  EXPECT_EQ(FormatLogHeader(buffer.data(), 5, 2046, INFO, "a", 1, "f", " "), -1);
  EXPECT_THAT(buffer.data(), StrEq("[dem"));
  EXPECT_EQ(buffer[5], '#');
}

TEST(FormatLogHeader, IsNotWrittenWithoutABuffer) {
  EXPECT_EQ(FormatLogHeader(nullptr, 0, 2046, INFO, "a", 1, "f", " "), -1);
}

TEST(FormatLogHeader, FitsWhenTheCountIsItsLength) {
  const std::string whole = Header();
  std::array<char, 128> buffer{};
  const auto length = static_cast<std::int64_t>(whole.size());
  EXPECT_EQ(FormatLogHeader(buffer.data(), buffer.size(), whole.size(), INFO, "src/queue_unit", 110,
                            "StopQueue", " "),
            length);
  EXPECT_EQ(buffer.data(), whole);
  EXPECT_EQ(FormatLogHeader(buffer.data(), buffer.size(), whole.size() - 1, INFO, "src/queue_unit",
                            110, "StopQueue", " "),
            -1);
}

// With every length about the bound, and the longest numbers: what does not fit is
// cut there, and what lies behind the buffer stays as it is.
TEST(FormatLogHeader, IsCutAtItsBoundWhateverIsLongInIt) {
  constexpr std::size_t bufferSize = 2048;
  constexpr std::size_t longest = 2046;
  FakeIds::SetThreadId(INT_MIN);
  const std::string before = "[demo] [2026-01-05 09:03:07.042] [-2147483648] [UNKNOWN]";
  const std::string behind = "[a:-2147483648] [f]: ";
  const std::size_t fixed = before.size() + behind.size();
  for (std::size_t length = longest - 40; length <= longest + 40; ++length) {
    const std::string tag(length - fixed, 't');
    const std::string whole = before + tag + behind;
    std::array<char, bufferSize + 100> buffer;
    buffer.fill('#');

    const std::int64_t result =
        FormatLogHeader(buffer.data(), bufferSize, longest, static_cast<LogLevel>(5), "a", INT_MIN,
                        "f", tag.c_str());

    EXPECT_EQ(result, length <= longest ? static_cast<std::int64_t>(length) : -1) << length;
    EXPECT_EQ(buffer.data(), whole.substr(0, longest)) << length;
    EXPECT_EQ(std::count(buffer.begin() + bufferSize, buffer.end(), '#'), 100) << length;
  }
}

TEST(LevelNames, AreIndexedByLevel) {
  EXPECT_THAT(LevelNames, ElementsAre(StrEq("FATAL"), StrEq("ERROR"), StrEq("WARN"), StrEq("INFO"),
                                      StrEq("DEBUG")));
}

// ---- Stamp -------------------------------------------------------------------

TEST(FormatFileStamp, HoldsTimeSequenceAndProcessId) {
  EXPECT_EQ(Stamp(7), "20260105090307042-007-4711");
}

TEST(FormatFileStamp, PrintsTheSequenceWithAtLeastThreeDigits) {
  EXPECT_EQ(Stamp(0), "20260105090307042-000-4711");
  EXPECT_EQ(Stamp(42), "20260105090307042-042-4711");
  EXPECT_EQ(Stamp(999), "20260105090307042-999-4711");
  EXPECT_EQ(Stamp(1000), "20260105090307042-1000-4711");
}

TEST(FormatFileStamp, TakesThreeDigitMillisecondsFromTheTick) {
  FakeClock::SetTick(5000);
  EXPECT_EQ(Stamp(7), "20260105090307000-007-4711");
  FakeClock::SetTick(5999);
  EXPECT_EQ(Stamp(7), "20260105090307999-007-4711");
}

TEST(FormatFileStamp, ReadsTheSecondBeforeTheTickAndThenTheProcessId) {
  const RecordedReads reads;
  (void)Stamp(7);
  EXPECT_THAT(reads.Names(), ElementsAre("date and time", "tick", "process id"));
}

TEST(FormatFileStamp, PadsEveryPartOfTheDate) {
  FakeClock::SetDateTime(26, 1, 2, 3, 4, 5);
  EXPECT_EQ(Stamp(7), "00260102030405042-007-4711");
}

TEST(FormatFileStamp, TakesTheProcessIdAtEachCall) {
  FakeIds::SetProcessId(99);
  EXPECT_EQ(Stamp(7), "20260105090307042-007-99");
}

TEST(FormatFileStamp, FillsThirtyOneCharactersWithANineDigitProcessId) {
  FakeIds::SetProcessId(123456789);
  EXPECT_EQ(Stamp(7), "20260105090307042-007-123456789");
}

TEST(FormatFileStamp, IsCutWhenItDoesNotFit) {
  FakeIds::SetProcessId(1234567890);
  std::array<char, 32> buffer{};
  EXPECT_EQ(FormatFileStamp(buffer.data(), buffer.size(), 31, 7), -1);
  EXPECT_THAT(buffer.data(), StrEq("20260105090307042-007-123456789"));
}

// ---- Base file name ----------------------------------------------------------

TEST(BaseFileName, IsWhatFollowsTheLastSeparator) {
  EXPECT_STREQ(BaseFileName("C:\\src\\alpha_unit", "\\/"), "alpha_unit");
  EXPECT_STREQ(BaseFileName("src/alpha_unit", "\\/"), "alpha_unit");
  EXPECT_STREQ(BaseFileName("a\\b/c", "\\/"), "c");
  EXPECT_STREQ(BaseFileName("a/b\\c", "\\/"), "c");
}

TEST(BaseFileName, PointsIntoThePath) {
  const char* const path = "src/alpha_unit";
  EXPECT_EQ(BaseFileName(path, "/"), path + 4);
  EXPECT_EQ(BaseFileName(path, "\\"), path);
}

TEST(BaseFileName, KeepsAPathWithoutSeparator) {
  EXPECT_STREQ(BaseFileName("alpha_unit", "\\/"), "alpha_unit");
}

TEST(BaseFileName, LooksOnlyForTheGivenSeparators) {
  EXPECT_STREQ(BaseFileName("src/alpha\\unit", "\\"), "unit");
  EXPECT_STREQ(BaseFileName("src/alpha_unit", ":"), "src/alpha_unit");
  EXPECT_STREQ(BaseFileName("src/alpha_unit", ""), "src/alpha_unit");
}

TEST(BaseFileName, KeepsALeadingSeparator) {
  EXPECT_STREQ(BaseFileName("/x_unit", "\\/"), "/x_unit");
  EXPECT_STREQ(BaseFileName("\\x_unit", "\\/"), "\\x_unit");
}

TEST(BaseFileName, ExaminesTheSecondCharacter) {
  EXPECT_STREQ(BaseFileName("//x", "\\/"), "x");
  EXPECT_STREQ(BaseFileName("a/x", "\\/"), "x");
}

TEST(BaseFileName, IsEmptyForAPathThatEndsInASeparator) {
  EXPECT_STREQ(BaseFileName("dir/", "\\/"), "");
  EXPECT_STREQ(BaseFileName("a/", "\\/"), "");
}

TEST(BaseFileName, KeepsAPathOfOneCharacter) {
  EXPECT_STREQ(BaseFileName("/", "\\/"), "/");
  EXPECT_STREQ(BaseFileName("x", "\\/"), "x");
}

TEST(BaseFileName, ReturnsAnEmptyPathAsItIs) {
  const char* const path = "";
  EXPECT_EQ(BaseFileName(path, "\\/"), path);
}

TEST(BaseFileName, IsNullWhenEitherArgumentIs) {
  EXPECT_EQ(BaseFileName(nullptr, "\\/"), nullptr);
  EXPECT_EQ(BaseFileName("src/alpha_unit", nullptr), nullptr);
  EXPECT_EQ(BaseFileName(nullptr, nullptr), nullptr);
}

}  // namespace
