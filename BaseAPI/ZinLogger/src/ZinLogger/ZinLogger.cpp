#include "ZinLogger.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "AtFork.h"
#include "PlainField.h"
#include "StartChecks.h"
#include "ZinLoggerMacros.h"
#include "ZinLoggerPrivate.h"

namespace {

// Of the facade, also when that has given it up.
ZinLoggerPrivate* stateForThreshold = nullptr;

}  // namespace

const LogLevel* ZinLogThreshold() noexcept {
  (void)ZinLogger::GetInstance();
  return &stateForThreshold->logLevel;
}

ZinLogger* ZinLogger::GetInstance() noexcept {
  static ZinLogger instance;
  return &instance;
}

ZinLogger::ZinLogger() : d(nullptr) {
  std::memset(metricsBuffer, 0, sizeof metricsBuffer);
  // Not from operator new: that may be the program's own, and log, which would
  // wait for this object to be built.
  alignas(ZinLoggerPrivate) static std::byte memory[sizeof(ZinLoggerPrivate)];
  d = new (memory) ZinLoggerPrivate;
  stateForThreshold = d;
  SetStateForFork(d);
}

// Process exit. Application threads may be inside a log call, workers may be
// writing and retention threads asleep: all of them hold the record, so it is
// given up, not destroyed. The workers are asked to leave; nobody waits.
ZinLogger::~ZinLogger() {
  ZinLoggerPrivate* const state = LoadPlain(d);
  StorePlain(d, nullptr);  // a later call finds no record and does nothing
  if (state != nullptr) state->PushExitMarkers();
}

bool ZinLogger::StartSystem(const char* fileName, const char* dir, int keepFiles, int fileSizeMiB,
                            LogLevel level, unsigned long queueCapacity, bool) {
  ZinLoggerPrivate* const state = LoadPlain(d);
  if (state == nullptr) return false;
  // Deliberate: before any check, so a refused start leaves both behind.
  StorePlain(state->logLevel, level);
  StorePlain(state->logRunning, true);
  // Deliberate: a null name shuts both channels down, and that succeeds.
  if (fileName == nullptr) {
    StopSystem();
    return true;
  }
  const std::string name = fileName;
  const std::string directory = dir == nullptr ? "." : dir;
  // Deliberate: the unnamed argument is ignored, the directory always checked;
  // the metrics start passes its own argument on.
  if (!IsLogPathValid(name, directory, true)) return false;
  state->logName = name;
  state->LoopWorking(keepFiles, fileSizeMiB, queueCapacity, name, directory);
  return true;
}

void ZinLogger::StopSystem() {
  if (ZinLoggerPrivate* const state = LoadPlain(d)) state->StopQueue();
}

void ZinLogger::SetLogLevel(LogLevel level) {
  if (ZinLoggerPrivate* const state = LoadPlain(d)) StorePlain(state->logLevel, level);
}

void ZinLogger::LimitLogPathSize(unsigned int maxFiles, unsigned int maxMegabytes) {
  ZinLoggerPrivate* const state = LoadPlain(d);
  if (state == nullptr) return;
  StorePlain(state->logLimits.maxFileCount, maxFiles);
  StorePlain(state->logLimits.maxTotalSizeMiB, maxMegabytes);
}

void ZinLogger::ZinTraceSetSessionId(int sessionId) {
  if (ZinLoggerPrivate* const state = LoadPlain(d)) StorePlain(state->traceSessionId, sessionId);
}

std::string ZinLogger::GetLogName() {
  const ZinLoggerPrivate* const state = LoadPlain(d);
  return state == nullptr ? std::string() : state->logName;
}
