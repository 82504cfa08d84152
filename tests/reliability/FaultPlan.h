#ifndef ZIN_RELIABILITY_FAULT_PLAN_H
#define ZIN_RELIABILITY_FAULT_PLAN_H

#include <atomic>
#include <optional>
#include <string>

// Which call fails, and what was seen: the memory of fault_injector.
class FaultPlan {
 public:
  static constexpr unsigned lineCount = 256;

  // One for the process, never destroyed: library threads outlive main.
  static FaultPlan& Instance();

  // Counts a call that the plan concerns. The errno to fail with, or nothing.
  // `path` may be null; one of a sentinel is left alone.
  std::optional<int> Decide(const char* call, const char* path);

  // A file is about to lose its contents: keeps a copy.
  void KeepCopy(const char* path, const char* why);

  std::atomic<bool> isActive{false};    // calls are counted and fail
  std::atomic<bool> isWatching{false};  // from the beginning on, to the end of the process
  std::atomic<unsigned> line{0};
  std::atomic<unsigned> injected{0};
  std::atomic<unsigned> copies{0};
  std::atomic<unsigned> unexcused{0};
  std::atomic<std::uint64_t> sentinels{0};
  std::atomic<bool> writeFailed[lineCount]{};
  std::atomic<bool> openFailed[lineCount]{};
  std::atomic<bool> emptyingExcused[lineCount]{};

  [[nodiscard]] unsigned Line() const { return line.load() % lineCount; }
  std::string CountsJson();

 private:
  FaultPlan();
  bool Counts(const char* call) const;

  std::string failingCall;
  unsigned long firstCall = 0;
  unsigned long callCount = 0;
  int error = 0;
  std::string keepFolder;
};

bool IsSentinel(const char* path);

#endif  // ZIN_RELIABILITY_FAULT_PLAN_H
