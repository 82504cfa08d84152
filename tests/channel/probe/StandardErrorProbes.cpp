#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <map>
#include <streambuf>
#include <string>

#include "Probe.h"

namespace {

// What programs put into std::cerr so that texts of other libraries are logged.
class LoggingBuffer : public std::streambuf {
 protected:
  int_type overflow(int_type character) override {
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
      Take(traits_type::to_char_type(character));
    }
    return traits_type::not_eof(character);
  }
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    for (std::streamsize i = 0; i < size; ++i) Take(text[i]);
    return size;
  }

 private:
  void Take(char character) {
    if (character != '\n') {
      line += character;
      return;
    }
    const std::string whole = std::move(line);
    line.clear();
    LogLine(whole);
  }

  std::string line;
};

// redirected-error <directory>: also after a stop, when the line that the buffer
// logs comes back to the buffer.
int LogWhatStandardErrorGets(const Arguments& arguments) {
  LoggingBuffer buffer;
  std::streambuf* const former = std::cerr.rdbuf(&buffer);
  StartLog(arguments.at(0));
  StartMetrics(arguments.at(0) + "/metrics");
  std::cerr << "while the channel runs\n";
  Logger().Metrics("record");
  Logger().StopSystem();
  std::cerr << "after the stop\n";
  std::cerr.rdbuf(former);
  return 0;
}

// Makes descriptor 2 a pipe that takes no more bytes. The end that nobody reads
// stays open.
void FillStandardError() {
  std::array<int, 2> ends{};
  Require(pipe2(ends.data(), O_CLOEXEC) == 0, "no pipe");
  Require(fcntl(ends[1], F_SETFL, O_NONBLOCK) == 0, "no pipe that does not block");
  const std::array<char, 4096> bytes{};
  while (write(ends[1], bytes.data(), bytes.size()) > 0) continue;
  Require(fcntl(ends[1], F_SETFL, 0) == 0, "no pipe that blocks");
  Require(dup2(ends[1], STDERR_FILENO) == STDERR_FILENO, "no standard error");
}

// full-error-both <directory>, full-error-metrics <directory>
int StopWithBothChannels(const Arguments& arguments) {
  FillStandardError();
  StartLog(arguments.at(0));
  StartMetrics(arguments.at(0) + "/metrics");
  LogLine("line");
  Logger().Metrics("record");
  Logger().StopSystem();
  return 0;
}

int StopWithMetricsAlone(const Arguments& arguments) {
  FillStandardError();
  StartMetrics(arguments.at(0));
  Logger().Metrics("record");
  // The worker has more to say than it can get rid of when it opens the file.
  WaitForFile(arguments.at(0) + "/metrics.log");
  Logger().StopMetricSystem();
  return 0;
}

}  // namespace

Command FindStandardErrorCommand(const std::string& name) {
  static const std::map<std::string, Command> commands = {
      {"redirected-error", LogWhatStandardErrorGets},
      {"full-error-both", StopWithBothChannels},
      {"full-error-metrics", StopWithMetricsAlone}};
  const auto found = commands.find(name);
  return found == commands.end() ? nullptr : found->second;
}
