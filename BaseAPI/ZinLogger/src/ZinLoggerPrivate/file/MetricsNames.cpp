#include "MetricsNames.h"

#include "ZinSysInfo.h"

const std::string MetricsLogNameWithPid = "metrics_" + std::to_string(ZinGetProcessId()) + ".log";
const std::string MetricsLogName = "metrics.log";
