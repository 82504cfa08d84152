#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "FailingCalls.h"
#include "JoiningThread.h"
#include "ScratchDir.h"
#include "ZinLoggerPrivate.h"

namespace {

using testing::ElementsAre;

constexpr int keepAll = 1000;

// The clock stands at 2026-01-05 09:03:07.042 in process 4711.
std::string Rotated(std::size_t sequence) {
  const std::string digits = std::to_string(1000 + sequence).substr(1);
  return "app_20260105090307042-" + digits + "-4711.log";
}

// A worker that finds all lines in its queue.
class WrittenTogether : public testing::Test {
 protected:
  WrittenTogether() {
    calls.UseNoAccount();
    state.logQueue.SetCapacity(100'000);
    worker = state.logQueue.Start();
  }

  void Push(const std::vector<std::string>& lines, const std::string& key = "") {
    for (const std::string& line : lines) state.logQueue.Push(key, line);
  }

  void Work(int fileSizeMiB = 1) {
    state.logQueue.PushExitMarker();
    state.LogWorkTask("app.log", dir.Path(), keepAll, fileSizeMiB, true, worker);
  }

  const ScratchDir dir;
  FailingCalls calls;
  ZinLoggerPrivate state;
  BlockingQueue::Generation worker = 0;
};

TEST_F(WrittenTogether, AreTheLinesThatWaitForAFile) {
  Push({"one\n", "two\n", "three\n"});

  Work();

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 14"));
  EXPECT_EQ(dir.Read("app.log"), "one\ntwo\nthree\n");
}

TEST_F(WrittenTogether, AreNotTheLinesOfTwoFiles) {
  Push({"one\n", "two\n"});
  Push({"three\n"}, "net");
  Push({"four\n"});

  Work();

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 8", "write 6", "write 5"));
  EXPECT_EQ(dir.Read("app.log"), "one\ntwo\nfour\n");
  EXPECT_EQ(dir.Read("net/app.log"), "three\n");
}

TEST_F(WrittenTogether, AreNoneWhenEveryLineGetsAFile) {
  Push({"one\n", "two\n"});

  Work(/*fileSizeMiB=*/0);

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 4", "write 4"));
  EXPECT_EQ(dir.Read(Rotated(0)), "one\n");
  EXPECT_EQ(dir.Read(Rotated(1)), "two\n");
}

TEST_F(WrittenTogether, AreNoneAfterTheLineThatTakesTheFilePastItsSize) {
  const std::string line(MiB(1) / 16, 'x');  // as long as a run may be
  Push(std::vector<std::string>(15, line));
  Push({std::string(MiB(1) / 16 - 3, 'y'), "1\n", "2\n", "3\n", "4\n"});

  Work();

  const auto writes = calls.Of({"write"});
  EXPECT_EQ(dir.Read("app.log"), "3\n4\n");
  EXPECT_EQ(dir.Read(Rotated(0)).size(), MiB(1) + 1);
  EXPECT_EQ(dir.Read(Rotated(0)).substr(MiB(1) - 4), "y1\n2\n");
  ASSERT_GE(writes.size(), 2u);
  EXPECT_EQ(writes.back(), "write 4");
}

TEST_F(WrittenTogether, AreNoneInAPipeWhoseReaderMayStop) {
  ASSERT_EQ(mkfifo((dir / "app.log").c_str(), 0600), 0);
  const int reader = open((dir / "app.log").c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  calls.FailFrom("renameat2", EROFS);
  Push({"one\n", "two\n", "three\n"});

  Work();

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 4", "write 4", "write 6"));
  close(reader);
}

TEST_F(WrittenTogether, GoOnWhereTheKernelTookAPart) {
  calls.ShortenWrite(6, 1);
  Push({"one\n", "two\n", "three\n"});

  Work();

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 14", "write 8"));
  EXPECT_EQ(dir.Read("app.log"), "one\ntwo\nthree\n");
}

TEST_F(WrittenTogether, LoseTheFirstLineWhenTheKernelTakesNothing) {
  calls.Fail("write", ENOSPC, 1);
  Push({"one\n", "two\n", "three\n"});

  Work();

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 14", "write 4", "write 6"));
  EXPECT_EQ(dir.Read("app.log"), "two\nthree\n");
}

TEST_F(WrittenTogether, LoseTheRestOfTheLineThatBroke) {
  calls.ShortenWrite(6, 1);
  calls.Fail("write", ENOSPC, 2);
  Push({"one\n", "two\n", "three\n"});

  Work();

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 14", "write 8", "write 6"));
  EXPECT_EQ(dir.Read("app.log"), "one\ntwthree\n");
}

TEST_F(WrittenTogether, LoseTheLineThatFoundTheDiskFullAfterAWholeOne) {
  calls.ShortenWrite(4, 1);
  calls.Fail("write", ENOSPC, 2);
  Push({"one\n", "two\n", "three\n"});

  Work();

  EXPECT_EQ(dir.Read("app.log"), "one\nthree\n");
}

TEST_F(WrittenTogether, LoseEveryLineOfADiskThatStaysFullEachWithOneTry) {
  calls.FailFrom("write", ENOSPC);
  Push({"one\n", "two\n", "three\n"});

  Work();

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 14", "write 4", "write 6"));
  EXPECT_EQ(dir.Read("app.log"), "");
}

TEST_F(WrittenTogether, CountLostLinesTowardsTheSizeOfTheFile) {
  calls.FailFrom("write", ENOSPC);
  Push(std::vector<std::string>(17, std::string(MiB(1) / 16, 'x')));

  Work();

  EXPECT_THAT(dir.Names(), ElementsAre("app.log", Rotated(0)));
}

TEST_F(WrittenTogether, GoToTheNewFileWhenTheOldOneIsGone) {
  calls.Fail("write", ESTALE, 1);
  Push({"one\n", "two\n", "three\n"});

  Work();

  EXPECT_EQ(dir.Read("app.log"), "one\ntwo\nthree\n");
  EXPECT_EQ(dir.Read(Rotated(0)), "");
}

TEST_F(WrittenTogether, AreLostWhenNoNewFileCanBeOpened) {
  calls.Fail("write", ESTALE, 1);
  calls.FailFrom("open", EMFILE, 3);  // the first two are those of the file that is gone
  Push({"one\n", "two\n", "three\n"});

  Work();

  EXPECT_THAT(calls.Of({"write"}), ElementsAre("write 14"));
  EXPECT_EQ(state.logQueue.Size(), 0u);
}

// What the first failure of a line does to the count of failures, a whole line
// undoes: of lines that fail in turns, no file is opened for EIO.
TEST_F(WrittenTogether, ForgetEarlierFailuresWithAWholeLine) {
  for (int which = 1; which <= 40; which += 2) calls.Fail("write", EIO, which);
  Push(std::vector<std::string>(40, "line\n"));

  Work();

  EXPECT_EQ(dir.Names().size(), 1u);
}

TEST_F(WrittenTogether, CountAsWaitingUntilTheKernelHasThem) {
  Push({"one\n", "two\n", "three\n"});
  std::vector<std::uint64_t> sizes;
  calls.Before(
      "write", [&] { sizes.push_back(state.logQueue.Size()); }, 1);
  calls.Before(
      "write", [&] { sizes.push_back(state.logQueue.Size()); }, 2);
  calls.FillDisk(0, 1);

  Work();

  // With the exit marker. First "one" is begun, then "two".
  EXPECT_THAT(sizes, ElementsAre(3u, 2u));
}

TEST_F(WrittenTogether, DoNotCountAsWaitingWhileTheFileIsRotated) {
  Push({std::string(MiB(1) / 2, 'x')});
  Push(std::vector<std::string>(9, std::string(60'000, 'y')));
  std::optional<std::uint64_t> size;
  calls.Before("renameat2", [&] { size = state.logQueue.Size(); });

  Work();

  EXPECT_EQ(size, 1u) << "the exit marker";
}

// ---- Against the plain algorithm ----------------------------------------

struct Disk {
  std::size_t room = 0;  // bytes that it takes
  int failures = 0;      // of writes when it is full; then it has room again
};

// One line at a time, as simple as can be.
class PlainFiles {
 public:
  explicit PlainFiles(Disk theDisk) : disk(theDisk) {}

  void Write(const std::string& key, const std::string& line) {
    live[key] += Taken(line);
    bytesWritten[key] += line.size();
    if (bytesWritten[key] <= MiB(1)) return;
    files[key + "/" + Rotated(rotations++)] = live[key];
    live[key].clear();
    bytesWritten[key] = 0;
  }

  std::map<std::string, std::string> All() const {
    auto all = files;
    for (const auto& [key, text] : live) all[key + "/app.log"] = text;
    return all;
  }

 private:
  std::string Taken(const std::string& line) {
    if (disk.failures == 0) return line;
    const std::size_t taken = std::min(disk.room, line.size());
    disk.room -= taken;
    if (taken < line.size()) --disk.failures;
    return line.substr(0, taken);
  }

  Disk disk;
  std::map<std::string, std::string> live;
  std::map<std::string, std::size_t> bytesWritten;
  std::map<std::string, std::string> files;  // rotated
  std::size_t rotations = 0;
};

class RandomRuns : public testing::TestWithParam<int> {
 protected:
  std::size_t Below(std::size_t limit) { return random() % limit; }

  std::string RandomLine() {
    const std::size_t longest[] = {3, 300, 3'000, 30'000, 90'000};
    const std::size_t length = 1 + Below(longest[Below(std::size(longest))]);
    std::string line = previous.substr(0, Below(length));
    if (line.size() + 1 < length) line.resize(length - 1, static_cast<char>('a' + Below(26)));
    line += Below(20) == 0 ? '.' : '\n';
    return previous = line;
  }

  std::mt19937 random{static_cast<std::mt19937::result_type>(GetParam())};
  std::string previous;
};

std::map<std::string, std::string> FilesIn(const ScratchDir& dir,
                                           const std::vector<std::string>& keys) {
  std::map<std::string, std::string> files;
  for (const std::string& key : keys) {
    if (!std::filesystem::is_directory(dir / key)) continue;
    for (const std::string& name : dir.Names(key)) {
      if (name.ends_with(".log")) files[key + "/" + name] = dir.Read(key + "/" + name);
    }
  }
  return files;
}

// The files are too large to be printed.
std::string Difference(const std::map<std::string, std::string>& found,
                       const std::map<std::string, std::string>& expected) {
  std::string difference;
  for (const auto& [name, text] : found) {
    const auto same = expected.find(name);
    if (same == expected.end()) {
      difference += name + " is too many\n";
    } else if (same->second != text) {
      difference += name + " has " + std::to_string(text.size()) + " bytes, and they differ from " +
                    std::to_string(same->second.size()) + " expected\n";
    }
  }
  for (const auto& [name, text] : expected) {
    if (found.count(name) == 0) difference += name + " is missing\n";
  }
  return difference;
}

TEST_P(RandomRuns, LeaveTheFilesThatOneLineAtATimeWouldLeave) {
  const std::vector<std::string> keys = {"", "net", "disk"};
  for (int round = 0; round < 10; ++round) {
    const ScratchDir dir;
    FailingCalls calls;
    calls.UseNoAccount();
    Disk disk;
    if (Below(2) == 0) {
      disk = {Below(1'000'000), static_cast<int>(1 + Below(6))};
      calls.FillDisk(disk.room, disk.failures);
    }
    PlainFiles plain(disk);
    ZinLoggerPrivate state;
    const std::size_t capacity = Below(3) == 0 ? 1 + Below(100) : 1'000'000;
    state.logQueue.SetCapacity(capacity);
    const auto worker = state.logQueue.Start();
    const auto work = [&] { state.LogWorkTask("app.log", dir.Path(), keepAll, 1, true, worker); };

    // Half of the rounds fill the queue first, so that the capacity decides what
    // is kept; in the others the worker is at it meanwhile.
    const bool fillsFirst = capacity < 1'000'000 || Below(2) == 0;
    std::optional<JoiningThread> meanwhile;
    if (!fillsFirst) meanwhile.emplace(work);
    const std::size_t lines = 20 + Below(200);
    const std::size_t keyChange = 1 + Below(30);
    std::string key;
    for (std::size_t i = 0; i < lines; ++i) {
      if (Below(keyChange) == 0) key = keys[Below(keys.size())];
      const std::string line = RandomLine();
      state.logQueue.Push(key, line);
      if (!fillsFirst && Below(10) == 0) {
        std::this_thread::sleep_for(std::chrono::microseconds(Below(200)));
      }
      if (i < capacity) plain.Write(key, line);
    }
    state.logQueue.PushExitMarker();
    if (fillsFirst) work();
    meanwhile.reset();

    ASSERT_EQ(Difference(FilesIn(dir, keys), plain.All()), "") << "round " << round;
    ASSERT_EQ(state.logQueue.Size(), 0u);
  }
}

INSTANTIATE_TEST_SUITE_P(Seed, RandomRuns, testing::Range(1, 31));

}  // namespace
