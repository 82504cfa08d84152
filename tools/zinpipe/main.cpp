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
#include <cstdio>
#include <exception>
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

// A file that this program opens must not become one of its standard streams.
void OccupyClosedStandardStreams() {
  int opened = open("/dev/null", O_RDWR);
  while (opened >= 0 && opened <= STDERR_FILENO) opened = open("/dev/null", O_RDWR);
  if (opened > STDERR_FILENO) (void)close(opened);
}

std::vector<Input> OpenInputs(const Options& options, bool standardInputIsOpen) {
  std::vector<Input> inputs;
  if (options.files.empty()) {
    if (!standardInputIsOpen) throw std::runtime_error("standard input is closed");
    inputs.emplace_back();
  } else {
    for (const std::string& file : options.files) inputs.emplace_back(file, options.follow);
  }
  return inputs;
}

void RefuseOwnOutput(const std::vector<Input>& inputs, const Options& options) {
  struct stat status {};
  const std::string output = options.directory + "/" + options.fileName;
  if (stat(output.c_str(), &status) != 0) return;
  const FileIdentity own(status);
  if (std::any_of(inputs.begin(), inputs.end(),
                  [&](const Input& input) { return input.Identity() == own; })) {
    throw std::runtime_error("'" + output + "' cannot be both input and output");
  }
}

std::string Counted(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void Report(const std::string& path, const DeliveryTotals& delivered, const PumpTotals& pumped) {
  std::string text = Counted(delivered.handedOver, "line") + " for '" + path +
                     "': " + std::to_string(delivered.found) + " found in the files, " +
                     std::to_string(delivered.Missing()) + " missing";
  if (delivered.removed > 0) {
    text += "; " + std::to_string(delivered.removed) + " removed since with their files";
  }
  if (pumped.cutLines > 0) {
    text += "; " + Counted(pumped.cutLines, "long line") + " cut " +
            (pumped.cuts == 1 ? "once" : std::to_string(pumped.cuts) + " times");
  }
  if (pumped.nulBytes > 0) text += "; " + Counted(pumped.nulBytes, "NUL byte") + " written as \\0";
  Say(text);
}

int Run(const Options& options, bool standardInputIsOpen) {
  const StopSignals signals;
  std::vector<Input> inputs = OpenInputs(options, standardInputIsOpen);
  RefuseOwnOutput(inputs, options);
  Echo echo(options.echo, signals.Descriptor());
  Delivery delivery(options);
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
  const bool standardInputIsOpen = fcntl(STDIN_FILENO, F_GETFD) >= 0;
  OccupyClosedStandardStreams();
  try {
    const Options options = ParseOptions(argc, argv);
    if (options.helpWanted) {
      (void)std::fputs(HelpText().c_str(), stdout);
      return allWritten;
    }
    if (options.versionWanted) {
      (void)std::puts("zinpipe " ZINPIPE_VERSION);
      return allWritten;
    }
    return Run(options, standardInputIsOpen);
  } catch (const UsageError& error) {
    Say(error.what());
    return wrongArguments;
  } catch (const std::exception& error) {
    Say(error.what());
    return somethingFailed;
  }
}
