#include "ZinLoggerPrivate.h"

#include <stdexcept>
#include <string_view>

#include "PlainField.h"
#include "StandardError.h"

namespace {

// Throws as the making of a string would.
std::string_view NotNull(const char* text) {
  if (text == nullptr) throw std::logic_error("libZinLogger: null text for a running channel");
  return text;
}

}  // namespace

ZinLoggerPrivate::ZinLoggerPrivate() = default;

ZinLoggerPrivate::~ZinLoggerPrivate() {
  PushExitMarkers();
}

void ZinLoggerPrivate::forcedLog(const char* subDirKey, const char* line) {
  if (logQueue.IsRunning()) {
    logQueue.Push(NotNull(subDirKey), NotNull(line));
  } else {
    WriteToStandardError(line);
  }
}

void ZinLoggerPrivate::forcedLogForMetrics(const char* text) {
  if (metricsQueue.IsRunning()) {
    metricsQueue.Push({}, NotNull(text));
  } else {
    WriteToStandardError(text);
  }
}

void ZinLoggerPrivate::PushExitMarkers() noexcept {
  if (logQueue.IsRunning()) logQueue.PushExitMarker();
  if (metricsQueue.IsRunning()) metricsQueue.PushExitMarker();
}

void ZinLoggerPrivate::SetClientMetricsLogDir(const std::string& dir) {
  clientMetricsLogDir = dir;
}

void ZinLoggerPrivate::LockForFork() {
  logQueue.LockForFork();
  metricsQueue.LockForFork();
  metricsBufferMutex.LockForFork();
}

void ZinLoggerPrivate::UnlockInParent() {
  metricsBufferMutex.UnlockAfterFork();
  metricsQueue.UnlockInParent();
  logQueue.UnlockInParent();
}

void ZinLoggerPrivate::ResetInChild() {
  metricsBufferMutex.UnlockAfterFork();
  metricsQueue.ResetInChild();
  logQueue.ResetInChild();
  StorePlain(logRunning, false);
  StorePlain(metricsRunning, false);
}
