// What the command line says about the library that is measured.
#ifndef ZIN_BENCH_FROM_OPTIONS_H
#define ZIN_BENCH_FROM_OPTIONS_H

#include "Logger.h"
#include "Options.h"

inline logger::Setup SetupOf(const Options& options) {
  return {.directory = options.directory,
          .queueLines = static_cast<std::size_t>(options.queueLines),
          .flushesEachLine = !options.ownFlushing};
}

using LogCall = void (*)(const Order& order);

inline LogCall LogOf(const Options& options) {
  return options.withDouble ? logger::LogDouble : logger::Log;
}

#endif  // ZIN_BENCH_FROM_OPTIONS_H
