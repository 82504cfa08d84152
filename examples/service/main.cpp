// A small file server that shows the logger at work: every request leaves one
// line in the log, and a metrics record is written five times a second.
#include <ZinLogger.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "MetricsReporter.h"
#include "Options.h"
#include "ServedFolder.h"
#include "Server.h"
#include "Statistics.h"

namespace {

constexpr int couldNotStart = 1;
constexpr int wrongArguments = 2;

constexpr const char* logFileName = "app.log";
constexpr int metricsKeepFiles = 2;
constexpr int metricsFileSizeMiB = 1;
constexpr unsigned long metricsQueueCapacity = 1000;

// Must run before any thread is started, so that all threads block the signals
// and only WaitForStop sees them.
sigset_t BlockStopSignals() {
  // A client that hangs up must not end the service; the write reports it.
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

void WaitForStop(const sigset_t& signals) {
  int received = 0;
  while (sigwait(&signals, &received) != 0) {
  }
}

// The logger creates the directory, too, but would say nothing if it could not.
void CreateLogDirectory(const std::string& directory) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) {
    throw std::runtime_error("cannot create the log directory '" + directory +
                             "': " + error.message());
  }
}

// Throws std::runtime_error when the log directory cannot be used.
void StartLogger(const Options& options) {
  ZinLogger* const logger = ZinLogger::GetInstance();
  // Before the start: the first look at the directory follows it at once.
  logger->LimitLogPathSize(static_cast<unsigned>(options.maxFiles),
                           static_cast<unsigned>(options.maxMiB));
  if (!logger->StartSystem(logFileName, options.logDirectory.c_str(), options.keepFiles,
                           options.fileSizeMiB, INFO,
                           static_cast<unsigned long>(options.queueCapacity), true)) {
    throw std::runtime_error("the path of the log directory '" + options.logDirectory +
                             "' must hold \"log\"");
  }
  CreateLogDirectory(options.logDirectory);
  logger->SetClientMetricsLogDir(options.logDirectory);
  if (!logger->StartSystemForMetrics(logger->GetMetricsLogName(false),
                                     logger->GetClientMetricsLogDir().c_str(), metricsKeepFiles,
                                     metricsFileSizeMiB, metricsQueueCapacity, true)) {
    throw std::runtime_error("the metrics channel did not start");
  }
}

void StopLogger() {
  // First the metrics, while the log can still take their exit line.
  ZinLogger::GetInstance()->StopMetricSystem();
  ZinLogger::GetInstance()->StopSystem();
}

void Serve(const Options& options) {
  const sigset_t stopSignals = BlockStopSignals();
  const ServedFolder folder(options.root);
  Statistics statistics;
  Server server(options.port, folder, statistics);
  StartLogger(options);
  ZinLogger* const logger = ZinLogger::GetInstance();
  logger->Log(__FILE__, __LINE__, __func__, " ", "", INFO,
              "serving %s on 127.0.0.1:%d with %d threads", folder.Root().c_str(), server.Port(),
              options.threads);
  {
    const MetricsReporter reporter(statistics);
    server.Start(options.threads);
    std::printf("http://127.0.0.1:%d/\n", server.Port());
    std::fflush(stdout);
    WaitForStop(stopSignals);
    server.Stop();
  }
  const Statistics::Totals totals = statistics.Sum();
  logger->Log(__FILE__, __LINE__, __func__, " ", "", INFO, "stopped after %llu requests",
              static_cast<unsigned long long>(totals.Requests()));
  StopLogger();
  std::printf("requests=%llu answered=%llu refused=%llu failed=%llu bytes=%llu\n",
              static_cast<unsigned long long>(totals.Requests()),
              static_cast<unsigned long long>(totals.answered),
              static_cast<unsigned long long>(totals.refused),
              static_cast<unsigned long long>(totals.failed),
              static_cast<unsigned long long>(totals.bodyBytes));
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const Options options = ParseOptions(argc, argv);
    if (options.helpWanted) {
      std::fputs(HelpText().c_str(), stdout);
    } else {
      Serve(options);
    }
    return 0;
  } catch (const UsageError& error) {
    std::fprintf(stderr, "fileserver: %s\n", error.what());
    return wrongArguments;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "fileserver: %s\n", error.what());
    return couldNotStart;
  }
}
