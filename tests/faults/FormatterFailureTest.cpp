#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <string>

#include "FacadeState.h"
#include "OpenQueue.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"

// A formatter that fails, as that of the C library does for a text of two GiB. It is
// asked for what the library does not format by itself: a number with a plus sign.

namespace {
bool formatterFails = false;
}  // namespace

extern "C" {

int __real_vsnprintf(char* text, std::size_t size, const char* format, std::va_list values);

int __wrap_vsnprintf(char* text, std::size_t size, const char* format, std::va_list values) {
  if (!formatterFails) return __real_vsnprintf(text, size, format, values);
  errno = EOVERFLOW;
  return -1;
}
}

namespace {

// An empty line would tell the worker to leave.
TEST(FailingFormatter, MakesNoLineOfAHeaderThatItCannotFormat) {
  const std::string tag(3000, 't');  // longer than any line: left to the formatter
  OpenQueue queue(FacadeState().logQueue);
  formatterFails = true;

  ZinLogger::GetInstance()->Log("src/alpha_unit", 12, "Work", tag.c_str(), "", INFO, "hello");

  EXPECT_EQ(queue.Size(), 0u);
  EXPECT_EQ(ZinGetCacheLog(10), "");
}

TEST(FailingFormatter, LeavesTheHeaderOfAMessageThatItCannotFormat) {
  OpenQueue queue(FacadeState().logQueue);
  ZinLogger* const logger = ZinLogger::GetInstance();
  logger->Log("src/alpha_unit", 12, "Work", " ", "", INFO, "formats the second");
  (void)queue.Take();
  formatterFails = true;

  logger->Log("src/alpha_unit", 12, "Work", " ", "", INFO, "hello %+d", 1);

  EXPECT_EQ(queue.Take().second,
            "[demo] [2026-01-05 09:03:07.042] [1234] [INFO] [alpha_unit:12] [Work]: ");
}

}  // namespace
