// A service as the account runs it: one line in the server log, one in a file of
// its own, and a metrics record in the directory that the library names.
#include <ZinLogger.h>
#include <sys/stat.h>

#include <cstdio>

int main() {
  // As in a unit that lets the group write metrics.
  umask(0007);
  ZinLogger* const logger = ZinLogger::GetInstance();
  const bool logStarted =
      logger->StartSystem("service.log", "/var/log/qorlog/serverlog", 5, 10, INFO, 1000, true);
  const bool metricsStarted = logger->StartSystemForMetrics(
      logger->GetMetricsLogName(false), logger->GetServerMetricsLogDir().c_str(), 2, 1, 1000, true);
  if (!logStarted || !metricsStarted) {
    std::fprintf(stderr, "service: a channel did not start\n");
    return 1;
  }
  logger->Log(__FILE__, __LINE__, __func__, " ", "", INFO, "serving");
  logger->Log(__FILE__, __LINE__, __func__, " ", "net", INFO, "connected");
  logger->Metrics("requests=%d", 1);
  logger->StopMetricSystem();
  logger->StopSystem();
  return 0;
}
