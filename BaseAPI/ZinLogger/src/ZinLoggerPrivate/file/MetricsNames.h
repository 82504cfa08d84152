// The two file names that the library offers for metrics.
#ifndef ZIN_METRICS_NAMES_H
#define ZIN_METRICS_NAMES_H

#include <string>

// "metrics_<process id>.log". Deliberate: built once, at load time; a process
// that forks keeps its parent's id in this name.
extern const std::string MetricsLogNameWithPid;

// "metrics.log"
extern const std::string MetricsLogName;

#endif  // ZIN_METRICS_NAMES_H
