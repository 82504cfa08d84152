// spdlog: its asynchronous logger with its default queue (8,192 lines; a full
// one makes the caller wait) over the rotating file sink.
#include <spdlog/async.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include "Peer.h"

namespace {
std::shared_ptr<spdlog::logger>& Current() {
  static std::shared_ptr<spdlog::logger> logger;
  return logger;
}
}  // namespace

void PeerStart(const std::string& directory) {
  constexpr std::size_t mebibyte = 1 << 20;
  constexpr std::size_t files = 200;  // each rotation renames them all
  Current() = spdlog::rotating_logger_mt<spdlog::async_factory>("app", directory + "/app.log",
                                                                mebibyte, files);
  Current()->set_pattern("%v");
}

void PeerLog(const std::string& text) {
  if (const auto logger = Current()) logger->info(text);
}

void PeerStop() {
  Current().reset();
  spdlog::shutdown();
}
