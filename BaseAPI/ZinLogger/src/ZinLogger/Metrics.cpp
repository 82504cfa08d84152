#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <mutex>

#include "FileModes.h"
#include "MetricsNames.h"
#include "PlainField.h"
#include "SelfLog.h"
#include "StartChecks.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"
#include "ZinSafeString.h"

namespace {

constexpr const char* thisUnit = "BaseAPI/ZinLogger/src/ZinLogger";
constexpr int noPrivateState = -10000;
constexpr int recordBufferSize = 8192;
constexpr int longestRecord = 8190;
static_assert(longestRecord + 2 == recordBufferSize, "room for a newline and a NUL");

// Formats one record, with its newline, into `buffer`. Returns its length, or 0
// when it is empty, too long, or could not be formatted.
[[gnu::format(printf, 2, 0)]] std::size_t FormatRecord(char (&buffer)[recordBufferSize],
                                                       const char* format, std::va_list values) {
  const int result = vsnprintf_s(buffer, recordBufferSize, longestRecord, format, values);
  // A text that begins with NUL would reach the worker as an exit marker.
  if (result <= 0 || buffer[0] == '\0') return 0;
  auto length = static_cast<std::size_t>(result);
  if (buffer[length - 1] != '\n') {
    buffer[length++] = '\n';
    buffer[length] = '\0';
  }
  return length;
}

}  // namespace

bool ZinLogger::StartSystemForMetrics(const char* fileName, const char* dir, int keepFiles,
                                      int fileSizeMiB, unsigned long queueCapacity,
                                      bool requireLogInDir) {
  ZinLoggerPrivate* const state = LoadPlain(d);
  if (state == nullptr) return false;
  // Deliberate: before any check, and not undone by a refusal.
  StorePlain(state->metricsRunning, true);
  // Deliberate: the log channel is stopped by a null name, this one is not.
  if (fileName == nullptr) return false;
  const std::string name = fileName;
  const std::string directory = dir == nullptr ? "." : dir;
  if (!IsLogPathValid(name, directory, requireLogInDir)) return false;
  // Deliberate: one level. Below a parent that is missing the worker makes the
  // directory with the first record, and with the mode of all others.
  (void)mkdir(directory.c_str(), metricsDirectoryMode);
  state->LoopWorkingForMetrics(keepFiles, fileSizeMiB, queueCapacity, name, directory);
  return true;
}

void ZinLogger::StopMetricSystem() {
  if (ZinLoggerPrivate* const state = LoadPlain(d)) state->StopMetricsQueue();
}

void ZinLogger::LimitMetricsPathSize(unsigned int maxFiles, unsigned int maxMegabytes) {
  ZinLoggerPrivate* const state = LoadPlain(d);
  if (state == nullptr) return;
  StorePlain(state->metricsLimits.maxFileCount, maxFiles);
  StorePlain(state->metricsLimits.maxTotalSizeMiB, maxMegabytes);
}

void ZinLogger::Metrics(const char* fmt, ...) noexcept {
  ZinLoggerPrivate* const state = LoadPlain(d);
  if (state == nullptr || LoadPlain(state->metricsPrivSwitch) != 0) return;
  if (fmt == nullptr || *fmt == '\0') return;

  const int callersErrno = errno;
  char record[recordBufferSize];
  std::size_t length = 0;
  {
    const std::lock_guard lock(state->metricsBufferMutex);
    errno = callersErrno;  // for %m
    std::va_list values;
    va_start(values, fmt);
    length = FormatRecord(metricsBuffer, fmt, values);
    va_end(values);
    std::memcpy(record, metricsBuffer, length + 1);
  }
  if (length == 0) {
    // Deliberate: an empty result is reported in the same words.
    ZIN_SELF_LOG(thisUnit, "Metrics", ERROR, "Maybe metrics data len > %d !!!", recordBufferSize);
  } else {
    // Deliberate: counted before the hand-over, so dropped records count, too.
    state->metricsCount.fetch_add(1);
    state->forcedLogForMetrics(record);
  }
  errno = callersErrno;
}

// Deliberate: it sets, despite its name.
void ZinLogger::MetricsGetPrivSwitch(int value) {
  if (ZinLoggerPrivate* const state = LoadPlain(d)) StorePlain(state->metricsPrivSwitch, value);
}

int ZinLogger::GetMetricsCount() const {
  const ZinLoggerPrivate* const state = LoadPlain(d);
  return state == nullptr ? noPrivateState : state->metricsCount.load();
}

int ZinLogger::ResetMetricsCount() {
  ZinLoggerPrivate* const state = LoadPlain(d);
  if (state == nullptr) return noPrivateState;
  state->metricsCount.store(0);
  return 0;
}

const char* ZinLogger::GetMetricsLogName(bool perProcess) {
  return perProcess ? MetricsLogNameWithPid.c_str() : MetricsLogName.c_str();
}
