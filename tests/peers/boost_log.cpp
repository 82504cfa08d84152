// Boost.Log: its asynchronous sink with an unbounded queue over the text file
// backend, whose stream is flushed after each line, as ours are.
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/async_frontend.hpp>
#include <boost/log/sinks/text_file_backend.hpp>
#include <boost/log/sources/logger.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/utility/setup/common_attributes.hpp>
#include <boost/make_shared.hpp>

#include "Peer.h"

namespace {

namespace log = boost::log;
using Sink = log::sinks::asynchronous_sink<log::sinks::text_file_backend>;

boost::shared_ptr<Sink>& Current() {
  static boost::shared_ptr<Sink> sink;
  return sink;
}

}  // namespace

void PeerStart(const std::string& directory) {
  constexpr unsigned mebibyte = 1 << 20;
  const auto backend = boost::make_shared<log::sinks::text_file_backend>(
      log::keywords::file_name = directory + "/app.log",
      log::keywords::target_file_name = directory + "/app_%Y%m%d%H%M%S_%5N.log",
      log::keywords::open_mode = std::ios_base::out | std::ios_base::app,
      log::keywords::rotation_size = mebibyte, log::keywords::auto_flush = true,
      log::keywords::enable_final_rotation = false);
  Current() = boost::make_shared<Sink>(backend);
  Current()->set_formatter(log::expressions::stream << log::expressions::smessage);
  log::core::get()->add_sink(Current());
}

void PeerLog(const std::string& text) {
  static log::sources::logger_mt& logger = *new log::sources::logger_mt;
  BOOST_LOG(logger) << text;
}

void PeerStop() {
  if (!Current()) return;
  log::core::get()->remove_sink(Current());
  Current()->stop();
  Current()->flush();
  Current().reset();
}
