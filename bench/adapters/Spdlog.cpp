// The caller formats the message, the worker formats the header around it.
#include <memory>

#define SPDLOG_ACTIVE_LEVEL SPDLOG_LEVEL_DEBUG
#include <spdlog/async.h>
#include <spdlog/sinks/ringbuffer_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include "Logger.h"

namespace {

std::shared_ptr<spdlog::async_logger> instance;

constexpr const char* orderFormat =
    "order {} of customer {} is paid, packed and handed over to the carrier after {} us in all";

constexpr const char* doubleFormat =
    "order {} of customer {} is paid, packed and handed over to the carrier after {:.3f} ms in all";

}  // namespace

const char* const logger::name = "spdlog";
const logger::Delivery logger::delivery = Delivery::Background;

// enable_backtrace would keep the recent lines, too, but in the caller, and it
// formats lines below the threshold; a sink of the worker is cheaper.
void logger::Start(const Setup& setup) {
  spdlog::init_thread_pool(setup.queueLines, 1);
  const spdlog::sinks_init_list sinks = {
      std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
          setup.directory + "/bench.log", std::size_t{rotationMiB} << 20, rotatedFilesKept),
      std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(recentLines)};
  instance = std::make_shared<spdlog::async_logger>("bench_spdlog", sinks, spdlog::thread_pool(),
                                                    spdlog::async_overflow_policy::block);
  instance->set_level(spdlog::level::info);
  if (setup.flushesEachLine) instance->flush_on(spdlog::level::trace);
  instance->set_pattern("[%n] [%Y-%m-%d %H:%M:%S.%e] [%t] [%l] [%s:%#] [%!]: %v");
}

void logger::Stop() {
  instance.reset();
  spdlog::shutdown();
}

void logger::Log(const Order& order) {
  SPDLOG_LOGGER_INFO(instance, orderFormat, ORDER_ARGUMENTS(order));
}

void logger::LogDouble(const Order& order) {
  SPDLOG_LOGGER_INFO(instance, doubleFormat, DOUBLE_ARGUMENTS(order));
}

void logger::LogFiltered(const Order& order) {
  SPDLOG_LOGGER_DEBUG(instance, orderFormat, ORDER_ARGUMENTS(order));
}

void logger::LogFilteredByMacro(const Order& order) {
  LogFiltered(order);  // which is one
}
