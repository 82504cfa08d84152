// zinlogger-split: puts every record of a log on a line of its own.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "RecordSplitter.h"

namespace {

constexpr const char* kUsage =
    "usage: zinlogger-split [--anywhere] [FILE...]\n"
    "Copies logs to standard output, with a newline where the logger cut a record.\n"
    "Without a file, or for the file -, reads standard input.\n"
    "  --anywhere  also where a header stands within a line for another reason\n"
    "  --help      this text\n"
    "  --version   the version\n";

void Complain(const std::string& what) {
  std::cerr << "zinlogger-split: " << what << '\n';
}

// Returns false, with errno set, when the bytes cannot be written.
bool WriteAll(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

// Ends the program when standard output does not take the bytes: whatever would
// follow could not be written either.
void WriteOrExit(const std::string& bytes) {
  if (WriteAll(bytes)) return;
  Complain(std::string("cannot write: ") + std::strerror(errno));
  ::_exit(1);
}

// What has come is written before more is waited for, so that a log can be
// followed. Returns false, with errno set, when it cannot be read.
bool Split(int descriptor, RecordSplitter& splitter) {
  std::vector<char> buffer(std::size_t{64} * 1024);
  for (;;) {
    const ssize_t length = ::read(descriptor, buffer.data(), buffer.size());
    if (length < 0 && errno == EINTR) continue;
    const int error = errno;
    std::string out;
    if (length > 0) {
      splitter.Take({buffer.data(), static_cast<std::size_t>(length)}, out);
    } else {
      splitter.End(out);
    }
    WriteOrExit(out);
    errno = error;
    if (length <= 0) return length == 0;
  }
}

bool SplitFile(const std::string& name, RecordSplitter& splitter) {
  const bool isInput = name == "-";
  const int descriptor = isInput ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  const bool done = descriptor >= 0 && Split(descriptor, splitter);
  if (!done) Complain(name + ": " + std::strerror(errno));
  if (!isInput && descriptor >= 0) (void)::close(descriptor);  // was only read
  return done;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> files;
  auto places = RecordSplitter::Places::Cut;
  bool optionsEnded = false;
  for (const std::string& argument : std::vector<std::string>(argv + 1, argv + argc)) {
    if (optionsEnded || argument == "-" || argument.rfind('-', 0) != 0) {
      files.push_back(argument);
    } else if (argument == "--") {
      optionsEnded = true;
    } else if (argument == "--anywhere") {
      places = RecordSplitter::Places::Anywhere;
    } else if (argument == "--help") {
      std::cout << kUsage;
      return 0;
    } else if (argument == "--version") {
      std::cout << "zinlogger-split " ZIN_LOGGER_VERSION "\n";
      return 0;
    } else {
      Complain("unknown option " + argument + " (see --help)");
      return 2;
    }
  }
  if (files.empty()) files.emplace_back("-");

  RecordSplitter splitter(places);
  bool allDone = true;
  for (const std::string& file : files) allDone = SplitFile(file, splitter) && allDone;
  return allDone ? 0 : 1;
}
