// zinpipe: any program's output into rotating files.
//
//   service 2>&1 | zinpipe --dir /var/log/service --name service.log
//
// Input -> LineSplitter -> Delivery -> the logger; OutputFiles reads back what
// the logger wrote, so that nothing is handed over that its queue would drop.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "Delivery.h"
#include "Echo.h"
#include "Input.h"
#include "Options.h"
#include "Pump.h"
#include "Signals.h"
#include "StandardError.h"

namespace {

constexpr int allWritten = 0;
constexpr int somethingFailed = 1;
constexpr int wrongArguments = 2;

// Of those that the tool was given.
struct OpenStreams {
  bool input;
  bool output;
};

// A file that this program opens must not become one of its standard streams.
void OccupyClosedStandardStreams() {
  int opened = open("/dev/null", O_RDWR);
  while (opened >= 0 && opened <= STDERR_FILENO) opened = open("/dev/null", O_RDWR);
  if (opened > STDERR_FILENO) (void)close(opened);
}

// What was asked for and cannot be shown is an error.
void Print(const std::string& text, bool outputIsOpen) {
  if (!outputIsOpen) throw std::runtime_error("standard output is closed");
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw std::runtime_error(std::string("cannot write to standard output: ") +
                             std::strerror(errno));
  }
}

std::vector<Input> OpenInputs(const Options& options, bool standardInputIsOpen) {
  std::vector<Input> inputs;
  if (options.files.empty()) {
    if (!standardInputIsOpen) throw std::runtime_error("standard input is closed");
    inputs.emplace_back();
  } else {
    for (const std::string& file : options.files)
      inputs.emplace_back(file, options.follow, options.retry);
  }
  return inputs;
}

// A file that is waited for has no identity yet.
std::filesystem::path Canonical(const std::string& path) {
  std::error_code ignored;
  const auto absolute = std::filesystem::absolute(path, ignored);
  return std::filesystem::weakly_canonical(absolute, ignored);
}

void RefuseOwnOutput(const std::vector<Input>& inputs, const Options& options) {
  const std::string output = options.directory + "/" + options.fileName;
  struct stat status {};
  const bool exists = stat(output.c_str(), &status) == 0;
  const FileIdentity own(status);
  const std::filesystem::path place = Canonical(output);
  if (std::any_of(inputs.begin(), inputs.end(), [&](const Input& input) {
        return exists ? input.Identity() == own : Canonical(input.Path()) == place;
      })) {
    throw std::runtime_error("'" + output + "' cannot be both input and output");
  }
}

std::string CountsOf(const std::string& path, const DeliveryTotals& delivered) {
  std::string text = Counted(delivered.handedOver, "line") + " for '" + path +
                     "': " + std::to_string(delivered.found) + " found in the files, " +
                     std::to_string(delivered.Missing()) + " missing";
  if (delivered.waiting > 0) text += ", " + std::to_string(delivered.waiting) + " waiting";
  if (delivered.removed > 0) {
    text += "; " + std::to_string(delivered.removed) + " removed since with their files";
  }
  return text;
}

void Report(const std::string& path, const DeliveryTotals& delivered, const PumpTotals& pumped) {
  std::string text = CountsOf(path, delivered);
  if (pumped.cutLines > 0) {
    text += "; " + Counted(pumped.cutLines, "long line") + " cut " +
            (pumped.cuts == 1 ? "once" : std::to_string(pumped.cuts) + " times");
  }
  if (pumped.nulBytes > 0) text += "; " + Counted(pumped.nulBytes, "NUL byte") + " written as \\0";
  Say(text);
}

int Run(const Options& options, const OpenStreams& open) {
  if (options.echo && !open.output) {
    throw std::runtime_error("standard output is closed, and --echo copies to it");
  }
  Signals signals;
  std::vector<Input> inputs = OpenInputs(options, open.input);
  RefuseOwnOutput(inputs, options);
  for (const Input& input : inputs) {
    if (!input.IsThere()) Say("'" + input.Path() + "' is not there yet; waiting for it");
  }
  Echo echo(options.echo, signals);
  Delivery delivery(options, signals);
  signals.WhenCountsAreWanted([&] {
    delivery.Look();
    Say(CountsOf(delivery.FilePath(), delivery.Totals()));
  });
  PumpTotals pumped;
  {
    Pump pump(options, std::move(inputs), signals, echo, delivery);
    pump.Run();
    pumped = pump.Totals();
  }
  const DeliveryTotals delivered = delivery.Finish();
  Report(delivery.FilePath(), delivered, pumped);
  const bool failed = delivered.Missing() > 0 || pumped.inputFailed || echo.HasFailed();
  return failed ? somethingFailed : allWritten;
}

}  // namespace

int main(int argc, char** argv) {
  const OpenStreams open{fcntl(STDIN_FILENO, F_GETFD) >= 0, fcntl(STDOUT_FILENO, F_GETFD) >= 0};
  OccupyClosedStandardStreams();
  try {
    const Options options = ParseOptions(argc, argv);
    if (options.helpWanted || options.versionWanted) {
      Print(options.helpWanted ? HelpText() : "zinpipe " ZINPIPE_VERSION "\n", open.output);
      return allWritten;
    }
    return Run(options, open);
  } catch (const UsageError& error) {
    Say(error.what());
    return wrongArguments;
  } catch (const std::exception& error) {
    Say(error.what());
    return somethingFailed;
  }
}
