// Without macros in the way: the five levels by name.
// Twice on purpose: the second time it must do nothing.
// clang-format off
#include "ZinLogger.h"
#include "ZinLogger.h"
// clang-format on

#include <type_traits>

static_assert(FATAL == 0, "");
static_assert(ERROR == 1, "");
static_assert(WARN == 2, "");
static_assert(INFO == 3, "");
static_assert(DEBUG == 4, "");
static_assert(std::is_same<std::underlying_type<LogLevel>::type, int>::value, "");

#if defined(FATAL) || defined(ERROR) || defined(WARN) || defined(INFO) || defined(DEBUG)
#error "the header leaves a macro behind"
#endif

void Use() {
  ZinLogger::GetInstance()->Log(__FILE__, __LINE__, __func__, " ", "", DEBUG, "%d", 4);
  ZinLogger::GetInstance()->Log(__FILE__, __LINE__, __func__, " ", "", static_cast<LogLevel>(4),
                                "%d", 4);
}
