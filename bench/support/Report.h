// The result of one run: a JSON object on one line.
#ifndef ZIN_BENCH_REPORT_H
#define ZIN_BENCH_REPORT_H

#include <cstdint>
#include <string>

class Histogram;

class Report {
 public:
  void Add(const std::string& name, std::int64_t value);
  void Add(const std::string& name, double value);
  void Add(const std::string& name, const std::string& value);

  // Quantiles p50, p90, p99, p999 and the histogram itself, in ns.
  void Add(const std::string& name, const Histogram& durations);

  void Print() const;

 private:
  void AddJson(const std::string& name, const std::string& json);

  std::string members;
};

#endif  // ZIN_BENCH_REPORT_H
