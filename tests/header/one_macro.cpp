// Built with -DDEBUG: the macro stays what it is, the other levels have names.
// Twice on purpose: the second time it must do nothing.
// clang-format off
#include "ZinLogger.h"
#include "ZinLogger.h"
// clang-format on

#ifndef DEBUG
#error "the header takes the program's DEBUG away"
#endif
static_assert(DEBUG == 1, "");
static_assert(FATAL == 0 && ERROR == 1 && WARN == 2 && INFO == 3, "");

void Use() {
  ZinLogger::GetInstance()->Log(__FILE__, __LINE__, __func__, " ", "", static_cast<LogLevel>(4),
                                "%d", DEBUG);
}
