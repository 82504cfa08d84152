// Every macro once, also where macros bear the names of levels: pasting takes
// a name as it stands.
// Twice on purpose: the second time it must do nothing.
// clang-format off
#include "ZinLoggerMacros.h"
#include "ZinLoggerMacros.h"
// clang-format on

#define USE_ALL_OF(LEVEL)                            \
  ZIN_##LEVEL("text");                               \
  ZIN_##LEVEL("%d", 1);                              \
  ZIN_##LEVEL##_TO("net", "text");                   \
  ZIN_##LEVEL##_TO("net", "%d", 1);                  \
  ZIN_##LEVEL##_TAG(" tag ", "text");                \
  ZIN_##LEVEL##_TAG(" tag ", "%d", 1);               \
  ZIN_##LEVEL##_IF(condition, "text");               \
  ZIN_##LEVEL##_IF(condition || condition, "%d", 1); \
  ZIN_##LEVEL##_EVERY_N(10, "text");                 \
  ZIN_##LEVEL##_EVERY_N(10, "%d", 1);                \
  ZIN_##LEVEL##_EVERY_MS(1000, "text");              \
  ZIN_##LEVEL##_EVERY_MS(1000, "%d", 1)

void Use(bool condition) {
  const ZinStopAtScopeEnd stop;
  USE_ALL_OF(FATAL);
  USE_ALL_OF(ERROR);
  USE_ALL_OF(WARN);
  USE_ALL_OF(INFO);
  USE_ALL_OF(DEBUG);
  ZIN_METRICS("text");
  ZIN_METRICS("%d", 1);
}

// Each is one statement.
void UseWithoutBraces(bool condition) {
  if (condition)
    ZIN_INFO("yes");
  else
    ZIN_INFO("no");
  if (condition)
    ZIN_INFO_IF(condition, "yes");
  else
    ZIN_INFO_EVERY_N(2, "no");
  if (condition)
    ZIN_INFO_EVERY_MS(2, "yes");
  else
    ZIN_METRICS("no");
}

template <typename Number>
struct InATemplate {
  static void Use(Number n) {
    ZIN_INFO_EVERY_N(n, "text");
    const auto inside = [] { ZIN_INFO_EVERY_MS(5, "text"); };
    inside();
  }
};
template struct InATemplate<unsigned long>;
