// An application that knows only what is installed: logs two lines and a
// metrics record into the directory that it is given.
#include <ZinLogger.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: consumer LOG-DIRECTORY\n");
    return 2;
  }
  const std::string directory = argv[1];
  ZinLogger* const logger = ZinLogger::GetInstance();
  if (!logger->StartSystem("app.log", directory.c_str(), 5, 10, INFO, 1000, true)) return 1;
  logger->Log("consumer/main.cpp", 7, "main", " ", "", INFO, "the answer is %d", 42);
  logger->Log("consumer/main.cpp", 8, "main", " ", "", DEBUG, "below the threshold");
  logger->Log("consumer/main.cpp", 9, "main", " ", "net", WARN, "in a file of its own");

  logger->SetClientMetricsLogDir(directory);
  const std::string metricsDirectory = logger->GetClientMetricsLogDir();
  if (!logger->StartSystemForMetrics(logger->GetMetricsLogName(false), metricsDirectory.c_str(), 2,
                                     1, 1000, true)) {
    return 1;
  }
  logger->Metrics("answers=%d", 1);
  logger->StopMetricSystem();
  logger->StopSystem();
  std::fputs(ZinGetCacheLog(1500).c_str(), stdout);
  ZinClearLastLog(true);
  return 0;
}
