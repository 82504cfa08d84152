#include "FakeIds.h"

#include <atomic>

namespace {

// Constants at first: the library asks for the process id while it is loaded.
std::atomic<int> processId{4711};
std::atomic<int> threadId{1234};

std::string& ProcessName() {
  static std::string& name = *new std::string("demo");
  return name;
}

}  // namespace

void FakeIds::SetProcessName(const std::string& name) {
  ProcessName() = name;
}
void FakeIds::SetProcessId(int id) {
  processId = id;
}
void FakeIds::SetThreadId(int id) {
  threadId = id;
}

const std::string& ZinSysInfo::GetCurrentProcessName() {
  return ProcessName();
}
std::int32_t ZinGetProcessId() {
  return processId;
}
std::int32_t ZinGetThreadId() {
  return threadId;
}
