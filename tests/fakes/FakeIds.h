#ifndef ZIN_FAKE_IDS_H
#define ZIN_FAKE_IDS_H

#include <string>

#include "ZinSysInfo.h"

// The process "demo" with id 4711, whose every thread has id 1234. Set another
// before the test starts a thread.
namespace FakeIds {

void SetProcessName(const std::string& name);
void SetProcessId(int id);
void SetThreadId(int id);

}  // namespace FakeIds

#endif  // ZIN_FAKE_IDS_H
