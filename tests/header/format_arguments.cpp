// One call of each variadic function; the macro that is defined makes one wrong.
#include "ZinLogger.h"

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
  logger->Log(__FILE__, __LINE__, __func__, " ", "", INFO, "%d of %s", 1, "text");
  logger->Metrics("%d of %s", 1, "text");
}
