// What can be measured of every library, each in a file of its own. A measure
// starts the library, logs, and stops it; a process does one measure.
#ifndef ZIN_BENCH_MEASURES_H
#define ZIN_BENCH_MEASURES_H

struct Options;
class Report;

// Lines per second, and CPU time per line, from the first call until stop has
// returned: options.lines of options.threads.
void MeasureSustained(const Options& options, Report& report);

// Duration of the call in bursts of 2,000 lines of each of options.threads,
// with 20 ms of rest between them, for options.seconds.
void MeasureBursts(const Options& options, Report& report);

// Duration of the call at options.rate lines per second, between which the
// caller sleeps or (options.spin) computes.
void MeasureSteady(const Options& options, Report& report);

// From the return of the call until the line is in the file, at options.rate.
void MeasureLateness(const Options& options, Report& report);

// Resident memory while options.lines wait, and after they were written.
void MeasureMemory(const Options& options, Report& report);

// Duration of a call below the threshold.
void MeasureFiltered(const Options& options, Report& report);

// From start to the first line in the file, and of a stop with nothing to do.
void MeasureStartStop(const Options& options, Report& report);

// Nothing at all, for options.seconds, between two lines on standard error
// that a tracer of system calls can find.
void MeasureIdle(const Options& options, Report& report);

#endif  // ZIN_BENCH_MEASURES_H
