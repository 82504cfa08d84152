// The single steps of a line's road, one thread, through the internal headers.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "BlockingQueue.h"
#include "LineFormat.h"
#include "LogFileWriter.h"
#include "RecentLogCache.h"
#include "ZinLogger.h"

namespace {

const std::string line(159, 'x');
const std::string lineWithEnd = line + '\n';

void Header(benchmark::State& state) {
  char text[2048];
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        FormatLogHeader(text, sizeof text, sizeof text - 2, INFO, __FILE__, __LINE__, "Log", " "));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Header);

void PushAndPop(benchmark::State& state) {
  BlockingQueue queue(1000);
  const BlockingQueue::Generation worker = queue.Start();
  LogRecord record;
  for (auto _ : state) {
    queue.Push("", lineWithEnd);
    queue.WaitPop(worker, record);
    benchmark::DoNotOptimize(record);
  }
}
BENCHMARK(PushAndPop);

void CacheAppend(benchmark::State& state) {
  for (auto _ : state) RecentLogCache::Instance().Append(lineWithEnd);
}
BENCHMARK(CacheAppend);

void WriteLine(benchmark::State& state) {
  const std::filesystem::path directory =
      std::filesystem::temp_directory_path() / ("bench-logs-" + std::to_string(getpid()));
  {
    LogFileWriter writer("bench.log", directory, /*keepCount=*/0, /*sizeLimit=*/10 << 20);
    for (auto _ : state) writer.WriteLine("", lineWithEnd);
  }
  std::filesystem::remove_all(directory);
}
BENCHMARK(WriteLine);

void FilteredCall(benchmark::State& state) {
  ZinLogger* const logger = ZinLogger::GetInstance();
  for (auto _ : state) {
    logger->Log(__FILE__, __LINE__, __func__, " ", "", DEBUG, "%s %d", line.c_str(), 1);
  }
}
BENCHMARK(FilteredCall);

}  // namespace

BENCHMARK_MAIN();
