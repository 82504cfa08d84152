#ifndef ZIN_TEST_PROBE_H
#define ZIN_TEST_PROBE_H

#include <functional>
#include <string>
#include <vector>

#include "ZinLogger.h"

// The sub-commands of channel_probe: what ends its process, forks, mounts or
// meddles with descriptors, and so cannot happen inside a test.

constexpr unsigned long plenty = 1000000;  // a queue that is never full

// What follows the sub-command: the scratch directory and more.
using Arguments = std::vector<std::string>;

// The exit status, when it comes to that.
using Command = std::function<int(const Arguments&)>;

Command FindExitCommand(const std::string& name);
Command FindForkCommand(const std::string& name);
Command FindDescriptorCommand(const std::string& name);
Command FindDiskCommand(const std::string& name);
Command FindStandardErrorCommand(const std::string& name);
Command FindTracerCommand(const std::string& name);

ZinLogger& Logger();

// Both end the process with status 1 and a line on standard output when the
// channel cannot be started.
void StartLog(const std::string& directory, const char* fileName = "app.log");
void StartMetrics(const std::string& directory);

void LogLine(const std::string& message, const char* subDirKey = "");

// Ends the process with status 1, and says why on standard output.
[[noreturn]] void Fail(const std::string& reason);
void Require(bool condition, const std::string& reason);

// Waits for something that another thread or process brings about; fails after
// most of a minute, which only a hang explains.
void WaitUntil(const std::function<bool()>& condition, const std::string& reason);

// Waits until the file exists and is not empty.
void WaitForFile(const std::string& path);

#endif  // ZIN_TEST_PROBE_H
