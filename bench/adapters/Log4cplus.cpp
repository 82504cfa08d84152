// The caller formats the message, the worker formats the layout around it. It
// keeps no recent lines.
#include <log4cplus/asyncappender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <atomic>
#include <memory>

#include "Logger.h"

// The bare name, as all others print it, instead of the whole signature.
#undef LOG4CPLUS_MACRO_FUNCTION
#define LOG4CPLUS_MACRO_FUNCTION() __func__

namespace {

std::atomic<bool> lastLineIsWritten = false;

// An AsyncAppender that is closed throws away what still waits in its queue.
// So a stop logs one more line, the only fatal one, and waits until it has come
// through.
class Files : public log4cplus::RollingFileAppender {
 public:
  using RollingFileAppender::RollingFileAppender;

 protected:
  void append(const log4cplus::spi::InternalLoggingEvent& event) override {
    RollingFileAppender::append(event);
    if (event.getLogLevel() != log4cplus::FATAL_LOG_LEVEL) return;
    lastLineIsWritten = true;
    lastLineIsWritten.notify_all();
  }
};

std::unique_ptr<log4cplus::Initializer> library;
log4cplus::Logger instance;

}  // namespace

const char* const logger::name = "log4cplus";
const logger::Delivery logger::delivery = Delivery::Background;

void logger::Start(const Setup& setup) {
  library = std::make_unique<log4cplus::Initializer>();
  const log4cplus::SharedAppenderPtr files(new Files(setup.directory + "/bench.log",
                                                     long{rotationMiB} << 20, rotatedFilesKept,
                                                     setup.flushesEachLine));
  files->setLayout(std::make_unique<log4cplus::PatternLayout>(
      "[bench_log4cplus] [%D{%Y-%m-%d %H:%M:%S.%q}] [%T] [%p] [%b:%L] [%M]: %m%n"));
  instance = log4cplus::Logger::getInstance("bench");
  instance.setLogLevel(log4cplus::INFO_LOG_LEVEL);
  instance.addAppender(log4cplus::SharedAppenderPtr(
      new log4cplus::AsyncAppender(files, static_cast<unsigned>(setup.queueLines))));
}

void logger::Stop() {
  LOG4CPLUS_FATAL(instance, "the last line");
  lastLineIsWritten.wait(false);
  instance.removeAllAppenders();
  instance = log4cplus::Logger();
  library.reset();
}

void logger::Log(const Order& order) {
  LOG4CPLUS_INFO_FMT(instance, ORDER_FORMAT, ORDER_ARGUMENTS(order));
}

void logger::LogDouble(const Order& order) {
  LOG4CPLUS_INFO_FMT(instance, DOUBLE_FORMAT, DOUBLE_ARGUMENTS(order));
}

void logger::LogFiltered(const Order& order) {
  LOG4CPLUS_DEBUG_FMT(instance, ORDER_FORMAT, ORDER_ARGUMENTS(order));
}

void logger::LogFilteredByMacro(const Order& order) {
  LogFiltered(order);  // which is one
}
