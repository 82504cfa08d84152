#include "PlainField.h"
#include "ZinLogger.h"
#include "ZinLoggerPrivate.h"
#include "ZinSysInfo.h"

namespace {
constexpr const char* serverLogRoot = "/var/log/qorlog/serverlog/";
constexpr const char* metricsDirectory = "metrics";
}  // namespace

void ZinLogger::SetClientMetricsLogDir(const std::string& baseDir) {
  ZinLoggerPrivate* const state = LoadPlain(d);
  if (state == nullptr || baseDir.empty()) return;
  // Deliberate: only one trailing separator is looked at, more of them stay.
  const char* const separator = baseDir.back() == '/' ? "" : "/";
  state->SetClientMetricsLogDir(baseDir + separator + metricsDirectory);
}

std::string ZinLogger::GetClientMetricsLogDir() {
  const ZinLoggerPrivate* const state = LoadPlain(d);
  return state == nullptr ? std::string() : state->clientMetricsLogDir;
}

std::string ZinLogger::GetServerMetricsLogDir() {
  return std::string(serverLogRoot) + metricsDirectory + "/" + ZinSysInfo::GetCurrentProcessName();
}
