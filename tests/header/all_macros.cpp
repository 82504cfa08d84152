// Built with a macro for each level: they keep their values, and a level can
// still be named by its number.
// Twice on purpose: the second time it must do nothing.
// clang-format off
#include "ZinLogger.h"
#include "ZinLogger.h"
// clang-format on

static_assert(DEBUG == 1, "");
static_assert(ERROR == 0, "");
static_assert(INFO == 2, "");
static_assert(FATAL == 3, "");
static_assert(WARN == 4, "");

void Use() {
  ZinLogger::GetInstance()->SetLogLevel(static_cast<LogLevel>(-1));
  ZinLogger::GetInstance()->Log(__FILE__, __LINE__, __func__, " ", "", static_cast<LogLevel>(4),
                                "%d", DEBUG);
}
