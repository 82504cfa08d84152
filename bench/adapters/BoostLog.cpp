// The caller streams the message into a record, the worker formats the header
// around it. It keeps no recent lines.
#include <unistd.h>

#include <boost/log/attributes/clock.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/async_frontend.hpp>
#include <boost/log/sinks/block_on_overflow.hpp>
#include <boost/log/sinks/bounded_fifo_queue.hpp>
#include <boost/log/sinks/text_file_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/make_shared.hpp>
#include <iomanip>
#include <stdexcept>
#include <utility>

#include "Logger.h"

namespace {

namespace attributes = boost::log::attributes;
namespace expressions = boost::log::expressions;
namespace keywords = boost::log::keywords;
namespace sinks = boost::log::sinks;

enum Severity { Debug, Info };

// The queue's bound is a constant of the type; nothing of it is allocated
// before it is used.
constexpr std::size_t queueBound = 1 << 20;
using Queue = sinks::bounded_fifo_queue<queueBound, sinks::block_on_overflow>;
using Sink = sinks::asynchronous_sink<sinks::text_file_backend, Queue>;

boost::shared_ptr<Sink> sink;

// One per thread: a severity_logger is not safe to share, and its _mt kin
// locks.
boost::log::sources::severity_logger<Severity>& Source() {
  thread_local boost::log::sources::severity_logger<Severity> source;
  return source;
}

void PrintPlace(boost::log::record_ostream& message, int line, const char* function) {
  static thread_local const pid_t thread = gettid();
  message << '[' << thread << "] [INFO] [BoostLog.cpp:" << line << "] [" << function << "]: ";
}

void Print(boost::log::record_ostream& message, const Order& order) {
  message << "order " << order.number << " of customer " << order.customer
          << " is paid, packed and handed over to the carrier after " << order.microseconds
          << " us in all";
}

void PrintDouble(boost::log::record_ostream& message, const Order& order) {
  message << "order " << order.number << " of customer " << order.customer
          << " is paid, packed and handed over to the carrier after " << std::fixed
          << std::setprecision(3) << order.Milliseconds() << " ms in all";
}

template <typename PrintMessage>
void LogAt(Severity severity, const Order& order, int line, const char* function,
           PrintMessage print) {
  auto& source = Source();
  boost::log::record record = source.open_record(keywords::severity = severity);
  if (!record) return;
  boost::log::record_ostream message(record);
  PrintPlace(message, line, function);
  print(message, order);
  message.flush();
  source.push_record(std::move(record));
}

}  // namespace

const char* const logger::name = "Boost.Log";
const logger::Delivery logger::delivery = Delivery::Background;

void logger::Start(const Setup& setup) {
  if (setup.queueLines > queueBound) throw std::runtime_error("Boost.Log: the queue is too small");
  const auto core = boost::log::core::get();
  core->add_global_attribute("TimeStamp", attributes::local_clock());
  core->set_filter(expressions::attr<Severity>("Severity") >= Info);
  const auto backend = boost::make_shared<sinks::text_file_backend>(
      keywords::file_name = setup.directory + "/bench_%5N.log",
      keywords::rotation_size = std::size_t{rotationMiB} << 20,
      keywords::auto_flush = setup.flushesEachLine);
  sink = boost::make_shared<Sink>(backend);
  sink->set_formatter(expressions::stream
                      << "[bench_boostlog] ["
                      << expressions::format_date_time<boost::posix_time::ptime>(
                             "TimeStamp", "%Y-%m-%d %H:%M:%S.%f")
                      << "] " << expressions::smessage);
  core->add_sink(sink);
}

void logger::Stop() {
  boost::log::core::get()->remove_sink(sink);
  sink->stop();
  sink->flush();
  sink.reset();
}

void logger::Log(const Order& order) {
  LogAt(Info, order, __LINE__, __func__, Print);
}

void logger::LogDouble(const Order& order) {
  LogAt(Info, order, __LINE__, __func__, PrintDouble);
}

void logger::LogFiltered(const Order& order) {
  LogAt(Debug, order, __LINE__, __func__, Print);
}

void logger::LogFilteredByMacro(const Order& order) {
  LogFiltered(order);  // there is none
}
