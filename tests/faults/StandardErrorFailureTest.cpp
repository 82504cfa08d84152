#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <deque>
#include <iostream>
#include <streambuf>
#include <string>
#include <utility>

#include "CapturedStandardError.h"
#include "StandardError.h"

// A descriptor 2 that takes a line in parts, or not at all. It is written to past
// the stream when the stream's buffer logs.

namespace {

struct Answer {
  std::size_t most;  // bytes taken
  int error;         // if not 0, none is taken
};
std::deque<Answer> answers;  // to the next writes; those after them take everything
int writes = 0;

}  // namespace

extern "C" {

ssize_t __real_write(int descriptor, const void* bytes, std::size_t size);

ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t size) {
  if (descriptor != STDERR_FILENO) return __real_write(descriptor, bytes, size);
  ++writes;
  if (answers.empty()) return __real_write(descriptor, bytes, size);
  const Answer answer = answers.front();
  answers.pop_front();
  if (answer.error != 0) {
    errno = answer.error;
    return -1;
  }
  return answer.most == 0 ? 0 : __real_write(descriptor, bytes, std::min(size, answer.most));
}
}

namespace {

class LoggingBuffer : public std::streambuf {
 public:
  int errnoBefore = 0;

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    errno = errnoBefore;
    WriteToStandardError(text);
    return size;
  }
};

// What descriptor 2 got.
std::string WrittenPastTheStream(const char* line, std::deque<Answer> next, int errnoBefore = 0) {
  const CapturedStandardError standardError;
  LoggingBuffer buffer;
  buffer.errnoBefore = errnoBefore;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  answers = std::move(next);
  writes = 0;
  WriteToStandardError(line);
  answers.clear();
  std::cerr.rdbuf(former);
  return standardError.Text();
}

TEST(LinePastTheStream, IsWrittenWholeWhenItIsTakenInParts) {
  EXPECT_EQ(WrittenPastTheStream("line\n", {{1, 0}, {3, 0}}), "line\n");
  EXPECT_EQ(writes, 3);
}

TEST(LinePastTheStream, IsWrittenAgainAfterASignal) {
  EXPECT_EQ(WrittenPastTheStream("line\n", {{0, EINTR}, {2, 0}, {0, EINTR}}), "line\n");
  EXPECT_EQ(writes, 4);
}

TEST(LinePastTheStream, IsWrittenOnceWhateverErrnoWas) {
  EXPECT_EQ(WrittenPastTheStream("line\n", {{5, 0}, {0, EIO}}, EINTR), "line\n");
  EXPECT_EQ(writes, 1);
}

// Trying again might go on for ever.
TEST(LinePastTheStream, IsGivenUpWhenNothingIsTaken) {
  EXPECT_EQ(WrittenPastTheStream("line\n", {{0, 0}}, EINTR), "");
  EXPECT_EQ(writes, 1);
}

TEST(LinePastTheStream, IsGivenUpWhenTheDescriptorFails) {
  EXPECT_EQ(WrittenPastTheStream("line\n", {{2, 0}, {0, EIO}}), "li");
  EXPECT_EQ(writes, 2);
}

}  // namespace
