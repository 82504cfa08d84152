// One call of each variadic function and kind of macro; the macro that is defined
// makes one wrong.
#include "ZinLogger.h"
#include "ZinLoggerMacros.h"

void Use() {
  ZinLogger* const logger = ZinLogger::GetInstance();
#ifdef WRONG_LOG_TYPE
  logger->Log(__FILE__, __LINE__, __func__, " ", "", INFO, "%d", "text");
#endif
#ifdef MISSING_LOG_ARGUMENT
  logger->Log(__FILE__, __LINE__, __func__, " ", "", INFO, "%d of %d", 1);
#endif
#ifdef WRONG_METRICS_TYPE
  logger->Metrics("%s", 1);
#endif
#ifdef MISSING_METRICS_ARGUMENT
  logger->Metrics("%d of %d", 1);
#endif
#ifdef WRONG_MACRO
  ZIN_INFO("%d", "text");
#endif
#ifdef WRONG_MACRO_TO
  ZIN_WARN_TO("net", "%d", "text");
#endif
#ifdef WRONG_MACRO_TAG
  ZIN_ERROR_TAG("tag", "%d", "text");
#endif
#ifdef WRONG_MACRO_IF
  ZIN_DEBUG_IF(logger != nullptr, "%d", "text");
#endif
#ifdef WRONG_MACRO_EVERY_N
  ZIN_FATAL_EVERY_N(2, "%d", "text");
#endif
#ifdef WRONG_MACRO_EVERY_MS
  ZIN_INFO_EVERY_MS(2, "%d", "text");
#endif
#ifdef MISSING_MACRO_METRICS
  ZIN_METRICS("%d of %d", 1);
#endif
  ZIN_INFO("%d of %s", 1, "text");
  logger->Log(__FILE__, __LINE__, __func__, " ", "", INFO, "%d of %s", 1, "text");
  logger->Metrics("%d of %s", 1, "text");
}
