#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <vector>

#include "FifoSteps.h"
#include "RecordFifo.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr std::size_t moreThanABlock = 100000;  // bytes

std::vector<LogRecord> TakeAll(RecordFifo& fifo) {
  std::vector<LogRecord> records;
  for (LogRecord record; Take(fifo, record);) records.push_back(record);
  return records;
}

std::vector<std::string> TakeLines(RecordFifo& fifo) {
  std::vector<std::string> lines;
  for (const LogRecord& record : TakeAll(fifo)) lines.push_back(record.second);
  return lines;
}

void AppendLines(RecordFifo& fifo, const std::vector<std::string>& lines) {
  for (const std::string& line : lines) Append(fifo, "", line);
}

TEST(RecordFifo, HasNothingAtFirst) {
  RecordFifo fifo;
  LogRecord record("left", "alone");

  EXPECT_FALSE(Take(fifo, record));

  EXPECT_EQ(record, LogRecord("left", "alone"));
}

TEST(RecordFifo, GivesBackRecordsInTheirOrder) {
  RecordFifo fifo;
  Append(fifo, "", "first\n");
  Append(fifo, "net", "second\n");
  Append(fifo, "", "third\n");

  EXPECT_THAT(TakeAll(fifo), ElementsAre(LogRecord("", "first\n"), LogRecord("net", "second\n"),
                                         LogRecord("", "third\n")));
}

TEST(RecordFifo, GivesBackLinesHoweverMuchTheyShareWithTheLineBefore) {
  const std::vector<std::string> lines = {
      "abcdefgh-abcdefgh",  // nothing before it
      "abcdefgh-abcdefgh",  // all of it
      "abcdefgh-abcdefgX",  // all but the last character
      "abcdefgX",           // less than it, and shorter
      "abcdefgXY",          // more
      "",                   // nothing to share
      "Xbcdefgh",           // nothing again
      "X",                  // the beginning alone
  };
  RecordFifo fifo;

  AppendLines(fifo, lines);

  EXPECT_EQ(TakeLines(fifo), lines);
}

TEST(RecordFifo, GivesBackEveryByteOfKeysAndLines) {
  const std::string bytes("\0\x01\x7f\x80\xff\0", 6);
  RecordFifo fifo;
  Append(fifo, bytes, bytes + bytes);
  Append(fifo, bytes, bytes + "x" + bytes);

  EXPECT_THAT(TakeAll(fifo),
              ElementsAre(LogRecord(bytes, bytes + bytes), LogRecord(bytes, bytes + "x" + bytes)));
}

TEST(RecordFifo, GivesBackRecordsLargerThanItsBlocks) {
  const std::string longText(moreThanABlock, 'x');
  RecordFifo fifo;
  Append(fifo, "", "before");
  Append(fifo, longText, longText + "1");
  Append(fifo, "", longText + "2");
  Append(fifo, "", "after");

  EXPECT_THAT(TakeAll(fifo),
              ElementsAre(LogRecord("", "before"), LogRecord(longText, longText + "1"),
                          LogRecord("", longText + "2"), LogRecord("", "after")));
}

// Lengths below, at and above the lengths whose number takes a byte more, in
// such a number that many blocks fill up, each at another place in a record.
TEST(RecordFifo, GivesBackLinesOfAllLengthsAcrossManyBlocks) {
  std::mt19937 random(1);
  std::uniform_int_distribution<std::size_t> length(0, 300);
  std::uniform_int_distribution<int> letter('a', 'c');
  std::vector<std::string> lines;
  for (int i = 0; i < 20000; ++i) {
    std::string line = lines.empty() ? "" : lines.back().substr(0, length(random));
    for (std::size_t left = length(random) / 2; left > 0; --left) {
      line += static_cast<char>(letter(random));
    }
    lines.push_back(line);
  }
  RecordFifo fifo;

  AppendLines(fifo, lines);

  EXPECT_EQ(TakeLines(fifo), lines);
}

TEST(RecordFifo, GoesOnAfterItHasRunEmptyAtAnyPlaceOfABlock) {
  RecordFifo fifo;
  LogRecord record;
  for (int i = 0; i < 10000; ++i) {
    const std::string line = std::string(static_cast<std::size_t>(i % 50), '-') + std::to_string(i);
    Append(fifo, "", line);
    ASSERT_TRUE(Take(fifo, record));
    ASSERT_EQ(record.second, line);
    ASSERT_FALSE(Take(fifo, record));
  }
}

TEST(RecordFifo, CountsWhatWasAppendedAndTaken) {
  RecordFifo fifo;
  AppendLines(fifo, {"1", "2", "3"});
  LogRecord record;
  Take(fifo, record);

  EXPECT_EQ(fifo.AppendedCount(), 3u);
  EXPECT_EQ(fifo.TakenCount(), 1u);
}

TEST(RecordFifo, DropsExitMarkersAndKeepsTheLinesInOrder) {
  RecordFifo fifo;
  AppendLines(fifo, {"gone", "", "one", "", "", "one more", ""});
  LogRecord record;
  Take(fifo, record);
  Append(fifo, "net", "");

  fifo.DropExitMarkers();

  EXPECT_EQ(fifo.AppendedCount() - fifo.TakenCount(), 2u);
  Append(fifo, "", "one more again");
  EXPECT_THAT(TakeLines(fifo), ElementsAre("one", "one more", "one more again"));
  EXPECT_EQ(fifo.AppendedCount(), fifo.TakenCount());
}

// The taking side had not looked for more since it found the FIFO empty.
TEST(RecordFifo, IsEmptyWhenAllThatCameSinceTheLastTakeWasDropped) {
  RecordFifo fifo;
  AppendLines(fifo, {"taken", "taken, too"});
  EXPECT_THAT(TakeLines(fifo), SizeIs(2));
  AppendLines(fifo, {"", "", ""});

  fifo.DropExitMarkers();

  EXPECT_THAT(TakeLines(fifo), IsEmpty());
  AppendLines(fifo, {"after"});
  EXPECT_THAT(TakeLines(fifo), ElementsAre("after"));
}

TEST(RecordFifo, IsEmptyWhenAllThatCameSinceTheLastTakeWasCleared) {
  RecordFifo fifo;
  AppendLines(fifo, {"taken", "taken, too"});
  EXPECT_THAT(TakeLines(fifo), SizeIs(2));
  AppendLines(fifo, {"not", "taken"});

  Clear(fifo);

  EXPECT_THAT(TakeLines(fifo), IsEmpty());
  AppendLines(fifo, {"after"});
  EXPECT_THAT(TakeLines(fifo), ElementsAre("after"));
}

TEST(RecordFifo, IsEmptyAndAsGoodAsNewAfterClear) {
  RecordFifo fifo;
  AppendLines(fifo, {"taken", "not taken", std::string(moreThanABlock, 'x'), "nor this"});
  LogRecord record;
  Take(fifo, record);

  Clear(fifo);

  EXPECT_FALSE(Take(fifo, record));
  EXPECT_EQ(fifo.AppendedCount(), fifo.TakenCount());
  AppendLines(fifo, {"not taken before", std::string(moreThanABlock, 'y')});
  EXPECT_THAT(TakeLines(fifo), ElementsAre("not taken before", std::string(moreThanABlock, 'y')));
}

TEST(RecordFifo, LetsOneThreadAppendWhileAnotherTakes) {
  constexpr int lineCount = 50000;
  RecordFifo fifo;
  std::thread appending([&] {
    for (int i = 0; i < lineCount; ++i) {
      Append(fifo, std::to_string(i % 7), "line " + std::to_string(i));
    }
  });

  LogRecord record;
  for (int i = 0; i < lineCount; ++i) {
    while (!Take(fifo, record)) std::this_thread::yield();
    ASSERT_EQ(record, LogRecord(std::to_string(i % 7), "line " + std::to_string(i)));
  }
  appending.join();
  EXPECT_THAT(TakeAll(fifo), IsEmpty());
}

}  // namespace
