#include "Options.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>

namespace {

// The value of option i, which comes next.
std::string ValueOf(int argc, char** argv, int& i) {
  if (i + 1 >= argc) throw std::runtime_error(std::string(argv[i]) + " needs a value");
  return argv[++i];
}

}  // namespace

Options ReadOptions(int argc, char** argv) {
  Options options;
  if (argc < 2) throw std::runtime_error("name a measure");
  options.measure = argv[1];
  for (int i = 2; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "--dir")
      options.directory = ValueOf(argc, argv, i);
    else if (name == "--threads")
      options.threads = std::stoi(ValueOf(argc, argv, i));
    else if (name == "--lines")
      options.lines = std::stoi(ValueOf(argc, argv, i));
    else if (name == "--rate")
      options.rate = std::stoi(ValueOf(argc, argv, i));
    else if (name == "--seconds")
      options.seconds = std::stod(ValueOf(argc, argv, i));
    else if (name == "--queue")
      options.queueLines = std::stoi(ValueOf(argc, argv, i));
    else if (name == "--count")
      options.count = std::stoi(ValueOf(argc, argv, i));
    else if (name == "--spin")
      options.spin = true;
    else if (name == "--double")
      options.withDouble = true;
    else if (name == "--by-macro")
      options.byMacro = true;
    else if (name == "--own-flushing")
      options.ownFlushing = true;
    else
      throw std::runtime_error("unknown option " + name);
  }
  if (options.directory.empty()) throw std::runtime_error("--dir is missing");
  std::filesystem::create_directories(options.directory);
  if (!std::filesystem::is_empty(options.directory)) {
    throw std::runtime_error(options.directory + " is not empty");
  }
  return options;
}

int RunProgram(int argc, char** argv, void (*measure)(const Options&)) {
  try {
    measure(ReadOptions(argc, argv));
    return 0;
  } catch (const std::exception& problem) {
    (void)std::fprintf(stderr, "%s: %s\n", argv[0], problem.what());
    return 1;
  }
}
