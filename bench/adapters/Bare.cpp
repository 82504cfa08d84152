// No library: one write(2) per line formatted beforehand. No logger that gives
// each line to the kernel on its own can be faster in one thread.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "Logger.h"

namespace {

int file = -1;
std::vector<std::string> lines;

// A run writes more lines than this, so they repeat; the files' lines are only
// counted.
constexpr int linesMade = 4096;

}  // namespace

const char* const logger::name = "bare write";
const logger::Delivery logger::delivery = Delivery::Caller;

void logger::Start(const Setup& setup) {
  for (int i = 0; i < linesMade; ++i) {
    char line[512];
    const int length = std::snprintf(
        line, sizeof line,
        "[bench_bare] [2026-01-05 09:03:07.%03d] [%d] [INFO] [Bare.cpp:%d] [Log]: " ORDER_FORMAT
        "\n",
        i % 1000, gettid(), __LINE__, ORDER_ARGUMENTS(MakeOrder(0, i)));
    lines.emplace_back(line, static_cast<std::size_t>(length));
  }
  file = open((setup.directory + "/bench.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC,
              0640);
  if (file < 0) throw std::runtime_error("cannot open a file in " + setup.directory);
}

void logger::Stop() {
  (void)close(file);
}

void logger::Log(const Order& order) {
  const std::string& line = lines[static_cast<unsigned>(order.number) % linesMade];
  if (write(file, line.data(), line.size()) < 0) throw std::runtime_error("a write failed");
}

void logger::LogDouble(const Order& order) {
  Log(order);
}

void logger::LogFiltered(const Order& /*order*/) {}

void logger::LogFilteredByMacro(const Order& order) {
  LogFiltered(order);
}
