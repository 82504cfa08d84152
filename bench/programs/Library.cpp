// Does one measure of the one library that is linked to it, and prints the
// result as JSON:
//
//   bench_spdlog sustained --dir /tmp/bench-logs --threads 4 --queue 500000
#include <map>
#include <stdexcept>

#include "Logger.h"
#include "Measures.h"
#include "Options.h"
#include "Process.h"
#include "Report.h"

namespace {

const std::map<std::string, void (*)(const Options&, Report&)> measures = {
    {"sustained", MeasureSustained}, {"bursts", MeasureBursts}, {"steady", MeasureSteady},
    {"lateness", MeasureLateness},   {"memory", MeasureMemory}, {"filtered", MeasureFiltered},
    {"startstop", MeasureStartStop}, {"idle", MeasureIdle},
};

void Run(const Options& options) {
  const auto measure = measures.find(options.measure);
  if (measure == measures.end()) throw std::runtime_error("unknown measure " + options.measure);
  Report report;
  report.Add("library", std::string(logger::name));
  measure->second(options, report);
  if (logger::delivery != logger::Delivery::None) {
    const FileContents contents = ReadFiles(options.directory);
    report.Add("countedLines", contents.lines);
    report.Add("bytes", contents.bytes);
  }
  report.Print();
}

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(argc, argv, Run);
}
