#include <ZinLogger.h>

#include <string>

// A plugin that logs: all that plugin_fork_driver knows of the library.
#define ZIN_PLUGIN_FUNCTION extern "C" __attribute__((visibility("default")))

namespace {
constexpr unsigned noLimit = 1000000;
constexpr int keepAll = 1000000;
constexpr unsigned long plenty = 4000000;  // a queue that is never full
}  // namespace

ZIN_PLUGIN_FUNCTION bool PluginStart(const char* directory, int fileSizeMiB) {
  ZinLogger& logger = *ZinLogger::GetInstance();
  logger.LimitLogPathSize(noLimit, noLimit);
  logger.LimitMetricsPathSize(noLimit, noLimit);
  return logger.StartSystem("app.log", directory, keepAll, fileSizeMiB, INFO, plenty, true) &&
         logger.StartSystemForMetrics("metrics.log", (std::string(directory) + "/metrics").c_str(),
                                      keepAll, fileSizeMiB, plenty, false);
}

ZIN_PLUGIN_FUNCTION void PluginLog(const char* text) {
  ZinLogger::GetInstance()->Log("Driver.cpp", 1, "Emit", " ", "", INFO, "%s", text);
}

ZIN_PLUGIN_FUNCTION void PluginMetrics(const char* text) {
  ZinLogger::GetInstance()->Metrics("%s", text);
}

ZIN_PLUGIN_FUNCTION void PluginStop() {
  ZinLogger::GetInstance()->StopMetricSystem();
  ZinLogger::GetInstance()->StopSystem();
}
