// glog has no queue and no background thread: the caller formats the line and
// writes it, under a mutex. It keeps no recent lines.
#include <glog/logging.h>

#include <iomanip>
#include <ostream>

#include "Logger.h"

namespace {

void WriteHeader(std::ostream& line, const google::LogMessageInfo& info, void* /*unused*/) {
  using std::setw;
  line << "[bench_glog] [" << std::setfill('0') << setw(4) << 1900 + info.time.year() << '-'
       << setw(2) << 1 + info.time.month() << '-' << setw(2) << info.time.day() << ' ' << setw(2)
       << info.time.hour() << ':' << setw(2) << info.time.min() << ':' << setw(2) << info.time.sec()
       << '.' << setw(3) << info.time.usec() / 1000 << "] [" << info.thread_id << "] ["
       << info.severity << "] [" << info.filename << ':' << info.line_number << "] [Log]:";
}

void Print(std::ostream& line, const Order& order) {
  line << "order " << order.number << " of customer " << order.customer
       << " is paid, packed and handed over to the carrier after " << order.microseconds
       << " us in all";
}

void PrintDouble(std::ostream& line, const Order& order) {
  line << "order " << order.number << " of customer " << order.customer
       << " is paid, packed and handed over to the carrier after " << std::fixed
       << std::setprecision(3) << order.Milliseconds() << " ms in all";
}

}  // namespace

const char* const logger::name = "glog";
const logger::Delivery logger::delivery = Delivery::Caller;

void logger::Start(const Setup& setup) {
  FLAGS_log_dir = setup.directory;
  FLAGS_logtostderr = false;
  FLAGS_stderrthreshold = google::NUM_SEVERITIES;
  if (setup.flushesEachLine) FLAGS_logbufsecs = 0;
  // Else the file is dropped from the page cache as it grows, which costs time
  // that no other library spends. The flag has no variable in glog's header.
  gflags::SetCommandLineOption("drop_log_memory", "false");
  // A rotated file is named by the second, and a second rotation within it
  // fails: no run here may reach the limit.
  FLAGS_max_log_size = 1024;
  google::InitGoogleLogging("bench_glog", &WriteHeader);
}

void logger::Stop() {
  google::FlushLogFiles(google::INFO);
  google::ShutdownGoogleLogging();
}

void logger::Log(const Order& order) {
  Print(LOG(INFO), order);
}

void logger::LogDouble(const Order& order) {
  PrintDouble(LOG(INFO), order);
}

// glog has no level below INFO; a verbose line is its way to say so.
void logger::LogFiltered(const Order& order) {
  if (VLOG_IS_ON(1)) Print(LOG(INFO), order);
}

void logger::LogFilteredByMacro(const Order& order) {
  LogFiltered(order);  // which is one
}
