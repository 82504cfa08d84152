#include <ZinLogger.h>

// A plugin that logs: what a host without the library knows of it.
extern "C" {

__attribute__((visibility("default"))) bool PluginStart(const char* directory) {
  return ZinLogger::GetInstance()->StartSystem("app.log", directory, 1000, 100, INFO, 100000, true);
}

__attribute__((visibility("default"))) void PluginLog(int number) {
  ZinLogger::GetInstance()->Log("Plugin.cpp", 1, "Scenario", " ", "", INFO, "line %d", number);
}

__attribute__((visibility("default"))) void PluginStop() {
  ZinLogger::GetInstance()->StopSystem();
}
}
