#include "ZinLoggerPrivate.h"

#include "PlainField.h"
#include "StandardError.h"

ZinLoggerPrivate::ZinLoggerPrivate() = default;

ZinLoggerPrivate::~ZinLoggerPrivate() {
  PushExitMarkers();
}

void ZinLoggerPrivate::forcedLog(const char* subDirKey, const char* line) {
  if (logQueue.IsRunning()) {
    logQueue.Push(subDirKey, line);
  } else {
    WriteToStandardError(line);
  }
}

void ZinLoggerPrivate::forcedLogForMetrics(const char* text) {
  if (metricsQueue.IsRunning()) {
    metricsQueue.Push({}, text);
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
  metricsBufferMutex.lock();
}

void ZinLoggerPrivate::UnlockInParent() {
  metricsBufferMutex.unlock();
  metricsQueue.UnlockInParent();
  logQueue.UnlockInParent();
}

void ZinLoggerPrivate::ResetInChild() {
  metricsBufferMutex.unlock();
  metricsQueue.ResetInChild();
  logQueue.ResetInChild();
  StorePlain(logRunning, false);
  StorePlain(metricsRunning, false);
}
