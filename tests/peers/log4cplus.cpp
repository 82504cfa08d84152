// log4cplus: its asynchronous appender (a queue of 10,000 lines; a full one
// makes the caller wait) over the rolling file appender.
#include <log4cplus/log4cplus.h>

#include "Peer.h"

namespace {
constexpr unsigned queueLength = 10000;
std::unique_ptr<log4cplus::Initializer>& Initialized() {
  static std::unique_ptr<log4cplus::Initializer> initializer;
  return initializer;
}
}  // namespace

void PeerStart(const std::string& directory) {
  constexpr long mebibyte = 1 << 20;
  constexpr int files = 200;  // each rotation renames them all
  Initialized() = std::make_unique<log4cplus::Initializer>();
  log4cplus::SharedAppenderPtr file(
      new log4cplus::RollingFileAppender(directory + "/app.log", mebibyte, files, true));
  file->setLayout(std::make_unique<log4cplus::PatternLayout>("%m%n"));
  log4cplus::SharedAppenderPtr queue(new log4cplus::AsyncAppender(file, queueLength));
  log4cplus::Logger root = log4cplus::Logger::getRoot();
  root.setLogLevel(log4cplus::INFO_LOG_LEVEL);
  root.addAppender(queue);
}

void PeerLog(const std::string& text) {
  LOG4CPLUS_INFO(log4cplus::Logger::getRoot(), text);
}

void PeerStop() {
  log4cplus::Logger::shutdown();
  Initialized().reset();
}
