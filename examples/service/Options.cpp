#include "Options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace {

struct TextOption {
  std::string_view name;
  std::string Options::*field;
};

struct NumberOption {
  std::string_view name;
  int Options::*field;
  int smallest;
  int largest;
};

constexpr std::array<TextOption, 2> textOptions = {{
    {"--root", &Options::root},
    {"--log-dir", &Options::logDirectory},
}};

constexpr int manyFiles = 1000000;

constexpr std::array<NumberOption, 7> numberOptions = {{
    {"--port", &Options::port, 0, 65535},
    {"--threads", &Options::threads, 1, 256},
    {"--keep", &Options::keepFiles, 0, manyFiles},
    // The logger uses the low 12 bits of the size; larger numbers would
    // silently mean something else.
    {"--size-mib", &Options::fileSizeMiB, 1, 4095},
    {"--max-files", &Options::maxFiles, 1, manyFiles},
    {"--max-mib", &Options::maxMiB, 1, 1048576},
    {"--queue", &Options::queueCapacity, 1, 100000000},
}};

int ParseNumber(const NumberOption& option, const std::string& text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [parsedTo, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || parsedTo != end || number < option.smallest ||
      number > option.largest) {
    throw UsageError(std::string(option.name) + " takes a number from " +
                     std::to_string(option.smallest) + " to " + std::to_string(option.largest) +
                     ", not '" + text + "'");
  }
  return number;
}

void SetOption(Options& options, const std::string& name, const char* value) {
  const auto hasThisName = [&](const auto& option) { return option.name == name; };
  const auto text = std::find_if(textOptions.begin(), textOptions.end(), hasThisName);
  const auto number = std::find_if(numberOptions.begin(), numberOptions.end(), hasThisName);
  if (text == textOptions.end() && number == numberOptions.end()) {
    throw UsageError("unknown argument '" + name + "' (--help lists them)");
  }
  if (value == nullptr || *value == '\0') throw UsageError(name + " needs a value");
  if (text != textOptions.end()) {
    options.*(text->field) = value;
  } else {
    options.*(number->field) = ParseNumber(*number, value);
  }
}

}  // namespace

Options ParseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; i += 2) {
    const std::string name = argv[i];
    if (name == "--help") {
      options.helpWanted = true;
      return options;
    }
    // argv ends with a null pointer, so a missing value is null.
    SetOption(options, name, argv[i + 1]);
  }
  return options;
}

std::string HelpText() {
  return "Usage: fileserver [--NAME VALUE]...\n"
         "\n"
         "Serves a folder over HTTP on 127.0.0.1 and logs every request, until SIGTERM\n"
         "or SIGINT.\n"
         "\n"
         "  --root DIR       folder to serve (default: the current one)\n"
         "  --port N         port; 0 picks a free one and prints it (default 0)\n"
         "  --threads N      worker threads (default 4)\n"
         "  --log-dir DIR    log directory; its path must hold \"log\" (default ./logs).\n"
         "                   Requests go to app.log, refused and failed ones to\n"
         "                   failed/app.log, metrics to metrics/metrics.log\n"
         "  --keep N         rotated files kept per log file (default 5)\n"
         "  --size-mib N     size at which a log file is rotated (default 1)\n"
         "  --max-files N    log files in the log directory as a whole (default 100)\n"
         "  --max-mib N      MiB in the log directory as a whole (default 10)\n"
         "  --queue N        log lines that may wait for the disk (default 100000)\n"
         "  --help           this text\n"
         "\n"
         "Exit codes: 0 stopped by a signal, 1 could not start, 2 wrong arguments.\n";
}
