#include <gtest/gtest.h>

#include <string>

#include "LineHeader.h"
#include "RecordSplitter.h"

namespace {

using Places = RecordSplitter::Places;

const std::string kHeader = "[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [main.cpp:6] [main]: ";
constexpr std::size_t kLongest = 2046;

// A record as the logger leaves it when it cut it: full, without a newline.
std::string CutRecord() {
  return kHeader + std::string(kLongest - kHeader.size(), 'x');
}

// What comes out when the log is taken in pieces of this size.
std::string Split(const std::string& log, Places places = Places::Cut, std::size_t piece = 65536) {
  RecordSplitter splitter(places);
  std::string out;
  for (std::size_t at = 0; at < log.size(); at += piece) {
    splitter.Take(std::string_view(log).substr(at, piece), out);
  }
  splitter.End(out);
  return out;
}

TEST(RecordSplitter, LeavesALogWithoutCutRecordsAsItIs) {
  const std::string log = kHeader + "one\n" + kHeader + "two\nlines\n\n" + kHeader + "three\n";

  EXPECT_EQ(Split(log), log);
}

TEST(RecordSplitter, SplitsWhereTheLoggerCut) {
  EXPECT_EQ(Split(CutRecord() + kHeader + "next\n"), CutRecord() + "\n" + kHeader + "next\n");
}

TEST(RecordSplitter, SplitsSeveralCutRecordsInARow) {
  const std::string cut = CutRecord();

  EXPECT_EQ(Split("\n" + cut + cut + cut + kHeader + "next\n"),
            "\n" + cut + "\n" + cut + "\n" + cut + "\n" + kHeader + "next\n");
}

TEST(RecordSplitter, CountsTheNewlinesOfAMessage) {
  std::string cut = CutRecord();
  cut[100] = cut[200] = cut[kLongest - 2] = '\n';

  EXPECT_EQ(Split(cut + kHeader + "next\n"), cut + "\n" + kHeader + "next\n");
}

TEST(RecordSplitter, AddsNothingWhereACutRecordHappensToEndInANewline) {
  std::string cut = CutRecord();
  cut.back() = '\n';

  EXPECT_EQ(Split(cut + kHeader + "next\n"), cut + kHeader + "next\n");
}

TEST(RecordSplitter, LeavesAQuotedLineAlone) {
  const std::string log = kHeader + "it said: " + kHeader + "quoted\n";

  EXPECT_EQ(Split(log), log);
}

TEST(RecordSplitter, IsNotMisledByAQuotedLineInAMessageOfSeveralLines) {
  std::string cut = CutRecord();
  cut.replace(300, kHeader.size() + 1, "\n" + kHeader);

  EXPECT_EQ(Split(cut + kHeader + "next\n"), cut + "\n" + kHeader + "next\n");
}

TEST(RecordSplitter, NeedsAHeaderAtThePlace) {
  const std::string log = kHeader + std::string(3000, '[') + "\n" + kHeader + "next\n";

  EXPECT_EQ(Split(log), log);
}

TEST(RecordSplitter, EndsTheLastLineOfALogAndBeginsTheNextAfresh) {
  RecordSplitter splitter(Places::Cut);
  std::string out;

  splitter.Take(CutRecord(), out);
  splitter.End(out);
  splitter.Take(kHeader + "another log\n", out);
  splitter.End(out);

  EXPECT_EQ(out, CutRecord() + "\n" + kHeader + "another log\n");
}

TEST(RecordSplitter, MakesNothingOfNothing) {
  EXPECT_EQ(Split(""), "");
}

TEST(RecordSplitter, DoesNotDependOnHowTheBytesArrive) {
  const std::string log = kHeader + "one\n" + CutRecord() + CutRecord() + kHeader + "half a hea";
  const std::string whole = Split(log + log.substr(0, 40));

  for (const std::size_t piece : {1u, 2u, 7u, 39u, 2046u, 2047u}) {
    EXPECT_EQ(Split(log + log.substr(0, 40), Places::Cut, piece), whole) << piece;
  }
}

TEST(RecordSplitter, HoldsBackNothingOfALineThatIsNoHeader) {
  RecordSplitter splitter(Places::Cut);
  std::string out;

  splitter.Take("a line wi", out);

  EXPECT_EQ(out, "a line wi");
}

TEST(RecordSplitterAnywhere, SplitsAfterAWriteThatBrokeOff) {
  const std::string torn = kHeader + "the disk is fu";

  EXPECT_EQ(Split(torn + kHeader + "next [1]\n", Places::Anywhere),
            torn + "\n" + kHeader + "next [1]\n");
  EXPECT_EQ(Split(torn + kHeader + "next [1]\n", Places::Anywhere, 1),
            torn + "\n" + kHeader + "next [1]\n");
}

TEST(RecordSplitterAnywhere, SplitsWithinAHeaderThatBrokeOff) {
  EXPECT_EQ(Split("[demo] [2026-01-" + kHeader + "next\n", Places::Anywhere),
            "[demo] [2026-01-\n" + kHeader + "next\n");
}

TEST(MatchLineHeader, TakesEveryLevel) {
  for (const std::string level : {"FATAL", "ERROR", "WARN", "INFO", "DEBUG", "UNKNOWN"}) {
    EXPECT_EQ(MatchLineHeader("[demo] [2026-01-05 09:03:07.042] [1] [" + level + "]"),
              HeaderMatch::Yes)
        << level;
  }
  EXPECT_EQ(MatchLineHeader("[demo] [2026-01-05 09:03:07.042] [1] [OTHER]"), HeaderMatch::No);
  EXPECT_EQ(MatchLineHeader("[demo] [2026-01-05 09:03:07.042] [1] [WARNING]"), HeaderMatch::No);
}

TEST(MatchLineHeader, AsksForMoreAsLongAsItMayBecomeOne) {
  const std::string header = "[demo] [2026-01-05 09:03:07.042] [1234] [DEBUG]";
  for (std::size_t length = 0; length < header.size(); ++length) {
    EXPECT_EQ(MatchLineHeader(header.substr(0, length)), HeaderMatch::TooShort) << length;
  }
}

TEST(MatchLineHeader, RefusesWhatDiffers) {
  EXPECT_EQ(MatchLineHeader("demo"), HeaderMatch::No);
  EXPECT_EQ(MatchLineHeader("[demo] [2026-01-05T"), HeaderMatch::No);
  EXPECT_EQ(MatchLineHeader("[demo] [2026-01-05 09:03:07.04]"), HeaderMatch::No);
  EXPECT_EQ(MatchLineHeader("[demo\n"), HeaderMatch::No);
  EXPECT_EQ(MatchLineHeader("[" + std::string(256, 'a')), HeaderMatch::No);
  EXPECT_EQ(MatchLineHeader("[demo] [2026-01-05 09:03:07.042] [x"), HeaderMatch::No);
}

}  // namespace
