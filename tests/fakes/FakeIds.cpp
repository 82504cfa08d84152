#include "FakeIds.h"

#include <atomic>

#include "RecordedReads.h"

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
  RecordedReads::Note("process name");
  return ProcessName();
}
std::int32_t ZinGetProcessId() {
  RecordedReads::Note("process id");
  return processId;
}
std::int32_t ZinGetThreadId() {
  RecordedReads::Note("thread id");
  return threadId;
}
