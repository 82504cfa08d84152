#include "Report.h"

#include <cstdio>

#include "Histogram.h"

void Report::Add(const std::string& name, std::int64_t value) {
  AddJson(name, std::to_string(value));
}

void Report::Add(const std::string& name, double value) {
  char text[64];
  (void)std::snprintf(text, sizeof text, "%.9g", value);
  AddJson(name, text);
}

void Report::Add(const std::string& name, const std::string& value) {
  AddJson(name, '"' + value + '"');
}

void Report::Add(const std::string& name, const Histogram& durations) {
  Add(name + ".p50", durations.Quantile(0.50));
  Add(name + ".p90", durations.Quantile(0.90));
  Add(name + ".p99", durations.Quantile(0.99));
  Add(name + ".p999", durations.Quantile(0.999));
  AddJson(name + ".histogram", durations.ToJson());
}

void Report::Print() const {
  std::printf("{%s}\n", members.c_str());
}

void Report::AddJson(const std::string& name, const std::string& json) {
  if (!members.empty()) members += ", ";
  members += '"' + name + "\": " + json;
}
