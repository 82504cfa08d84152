#include "Options.h"

#include <getopt.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>

namespace {

constexpr std::uint64_t bytesPerMiB = 1048576;
constexpr std::uint64_t largestCount = 1000000;
// The logger uses the low 12 bits of a file's size in MiB.
constexpr std::uint64_t largestFileMiB = 4095;
constexpr std::uint64_t largestDirectoryMiB = 1048576;
// Leaves most of a stamped line to the message.
constexpr std::size_t longestTag = 200;

constexpr std::array<std::string_view, 5> levelNames = {"FATAL", "ERROR", "WARN", "INFO", "DEBUG"};

constexpr std::string_view logSuffix = ".log";
constexpr std::size_t longestName = 255 - longestStamp;

// Numbers for getopt, beyond those of characters.
enum OptionNumber : int {
  optDir = 256,
  optName,
  optSize,
  optKeep,
  optMaxFiles,
  optMaxBytes,
  optQueue,
  optStamp,
  optLevel,
  optTag,
  optSubDir,
  optEcho,
  optFollow,
  optRetry,
  optDrain,
  optHelp,
  optVersion
};

const std::array<option, 18> longOptions = {{
    {"dir", required_argument, nullptr, optDir},
    {"name", required_argument, nullptr, optName},
    {"size", required_argument, nullptr, optSize},
    {"keep", required_argument, nullptr, optKeep},
    {"max-files", required_argument, nullptr, optMaxFiles},
    {"max-bytes", required_argument, nullptr, optMaxBytes},
    {"queue", required_argument, nullptr, optQueue},
    {"stamp", no_argument, nullptr, optStamp},
    {"level", required_argument, nullptr, optLevel},
    {"tag", required_argument, nullptr, optTag},
    {"subdir", required_argument, nullptr, optSubDir},
    {"echo", no_argument, nullptr, optEcho},
    {"follow", no_argument, nullptr, optFollow},
    {"retry", no_argument, nullptr, optRetry},
    {"drain", required_argument, nullptr, optDrain},
    {"help", no_argument, nullptr, optHelp},
    {"version", no_argument, nullptr, optVersion},
    {nullptr, 0, nullptr, 0},
}};

std::string Quoted(std::string_view text) {
  return "'" + std::string(text) + "'";
}

std::uint64_t ParseCount(const std::string& option, std::string_view text, std::uint64_t smallest) {
  std::uint64_t number = 0;
  const auto [parsedTo, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || parsedTo != text.data() + text.size() || number < smallest ||
      number > largestCount) {
    throw UsageError(option + " takes a number from " + std::to_string(smallest) + " to " +
                     std::to_string(largestCount) + ", not " + Quoted(text));
  }
  return number;
}

// Bytes, or with a letter K, M or G; the logger counts in MiB.
std::uint64_t ParseMiB(const std::string& option, std::string_view text, std::uint64_t largest) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [unit, error] = std::from_chars(text.data(), end, number);
  int shift = -1;
  if (error == std::errc() && unit == end) shift = 0;
  if (error == std::errc() && unit + 1 == end) {
    if (*unit == 'K') shift = 10;
    if (*unit == 'M') shift = 20;
    if (*unit == 'G') shift = 30;
  }
  const bool fits = shift >= 0 && number <= (UINT64_MAX >> shift);
  const std::uint64_t bytes = fits ? number << shift : 0;
  if (bytes == 0 || bytes % bytesPerMiB != 0 || bytes / bytesPerMiB > largest) {
    throw UsageError(option + " takes whole MiB from 1M to " + std::to_string(largest) + "M, not " +
                     Quoted(text));
  }
  return bytes / bytesPerMiB;
}

LogLevel ParseLevel(std::string_view text) {
  for (std::size_t i = 0; i < levelNames.size(); ++i) {
    if (text == levelNames[i]) return static_cast<LogLevel>(i);
  }
  throw UsageError("--level takes FATAL, ERROR, WARN, INFO or DEBUG, not " + Quoted(text));
}

std::string ParseName(const std::string& name) {
  // A bare ".log" would take every log file of the directory for a rotated one
  // of its own.
  if (name.size() <= logSuffix.size() || name.find(logSuffix) != name.size() - logSuffix.size() ||
      name.find('/') != std::string::npos) {
    throw UsageError(
        "--name takes a file name that ends in '.log', its only one, without '/', not " +
        Quoted(name));
  }
  if (name.size() > longestName) {
    throw UsageError("--name takes at most " + std::to_string(longestName) +
                     " bytes: a finished file has its time in its name, too");
  }
  return name;
}

std::string ParseTag(const std::string& tag) {
  if (tag.size() > longestTag || tag.find('\n') != std::string::npos) {
    throw UsageError("--tag takes at most " + std::to_string(longestTag) +
                     " bytes without a newline");
  }
  return tag;
}

std::string ParseSubDirectory(const std::string& name) {
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
    throw UsageError("--subdir takes the bare name of a directory, not " + Quoted(name));
  }
  return name;
}

bool HoldsLog(const std::string& directory) {
  std::string lower = directory;
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return directory.size() < 2 || lower.find("log") != std::string::npos;
}

// What was said beyond the options themselves, until all of them are known.
struct Said {
  std::string subDirectory;
  bool level = false;
  bool tag = false;
};

void SetOption(Options& options, Said& said, int number) {
  const std::string value = optarg == nullptr ? "" : optarg;
  switch (number) {
    case optDir:
      options.directory = value;
      break;
    case optName:
      options.fileName = ParseName(value);
      break;
    case optSize:
      options.fileSizeMiB = static_cast<int>(ParseMiB("--size", value, largestFileMiB));
      break;
    case optKeep:
      options.keepFiles = static_cast<int>(ParseCount("--keep", value, 0));
      break;
    case optMaxFiles:
      options.maxFiles = static_cast<unsigned>(ParseCount("--max-files", value, 1));
      break;
    case optMaxBytes:
      options.maxMiB = static_cast<unsigned>(ParseMiB("--max-bytes", value, largestDirectoryMiB));
      break;
    case optQueue:
      options.queueCapacity = static_cast<unsigned long>(ParseCount("--queue", value, 1));
      break;
    case optStamp:
      options.stamp = true;
      break;
    case optLevel:
      options.level = ParseLevel(value);
      said.level = true;
      break;
    case optTag:
      options.tag = ParseTag(value);
      said.tag = true;
      break;
    case optSubDir:
      said.subDirectory = ParseSubDirectory(value);
      break;
    case optEcho:
      options.echo = true;
      break;
    case optFollow:
      options.follow = true;
      break;
    case optRetry:
      options.retry = true;
      break;
    case optDrain:
      options.drainSeconds = static_cast<int>(ParseCount("--drain", value, 0));
      break;
    case 'h':
    case optHelp:
      options.helpWanted = true;
      break;
    case optVersion:
      options.versionWanted = true;
      break;
    default:
      break;
  }
}

void CheckTogether(Options& options, const Said& said) {
  if (options.directory.empty()) throw UsageError("--dir is missing (--help lists all options)");
  if (options.fileName.empty()) throw UsageError("--name is missing (--help lists all options)");
  if (said.level && !options.stamp) throw UsageError("--level needs --stamp");
  if (said.tag && !options.stamp) throw UsageError("--tag needs --stamp");
  if (options.follow && options.files.empty()) throw UsageError("--follow needs a FILE");
  if (options.retry && !options.follow) throw UsageError("--retry needs --follow");
  if (!said.subDirectory.empty()) options.directory += "/" + said.subDirectory;
  if (options.stamp && !HoldsLog(options.directory)) {
    throw UsageError("with --stamp the directory must hold 'log' in its path, unlike " +
                     Quoted(options.directory));
  }
}

}  // namespace

Options ParseOptions(int argc, char** argv) {
  Options options;
  Said said;
  opterr = 0;  // the messages are ours
  for (;;) {
    const int number = getopt_long(argc, argv, ":h", longOptions.data(), nullptr);
    if (number == -1) break;
    const std::string given = argv[optind - 1];
    if (number == ':') throw UsageError(given + " needs a value");
    if (number == '?') {
      throw UsageError("unknown or misused option " + Quoted(given) + " (--help lists them)");
    }
    SetOption(options, said, number);
    if (options.helpWanted || options.versionWanted) return options;
  }
  options.files.assign(argv + optind, argv + argc);
  CheckTogether(options, said);
  return options;
}

std::string HelpText() {
  return "Usage: PROGRAM 2>&1 | zinpipe --dir DIR --name NAME.log [OPTION]...\n"
         "       zinpipe --dir DIR --name NAME.log [OPTION]... FILE...\n"
         "\n"
         "Writes the lines of standard input, or of files, to a rotating file.\n"
         "\n"
         "  --dir DIR         directory, created when it is missing\n"
         "  --name NAME       file in it; ends in '.log'\n"
         "  --size SIZE       size at which the file is rotated (default 10M)\n"
         "  --keep N          rotated files kept (default 10)\n"
         "  --max-files N     log files in the directory as a whole (default: no limit)\n"
         "  --max-bytes SIZE  their sizes together (default: no limit)\n"
         "  --queue N         records that may wait for the disk (default 10000)\n"
         "  --subdir NAME     write to this directory below DIR\n"
         "  --stamp           put a header with time, level and source before each line\n"
         "  --level LEVEL     FATAL, ERROR, WARN, INFO or DEBUG (default INFO)\n"
         "  --tag TEXT        printed between level and source (default: a blank)\n"
         "  --echo            copy the input to standard output, too\n"
         "  --follow          stay at the end of each FILE and wait for more\n"
         "  --retry           with --follow: wait for a FILE that is not there yet\n"
         "  --drain SECONDS   how long a writer may go on after SIGTERM (default 5)\n"
         "  -h, --help        this text\n"
         "  --version         the version\n"
         "\n"
         "SIZE is a number of bytes, or one with K, M or G; whole MiB only.\n"
         "At the end of the input it writes what was read, and stops. SIGTERM or SIGINT\n"
         "gives the writer of a pipe the time of --drain to close it; the second one stops\n"
         "at once. SIGALRM finishes the file, SIGUSR1 prints the counts.\n"
         "\n"
         "Exit codes: 0 every line was written, 1 a line is missing or something failed,\n"
         "2 wrong arguments.\n";
}
