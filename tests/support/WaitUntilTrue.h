#ifndef ZIN_TEST_WAIT_UNTIL_TRUE_H
#define ZIN_TEST_WAIT_UNTIL_TRUE_H

#include <functional>

// Waits for something that another thread or process brings about. False when
// it has not come true within a minute, which only a hang explains.
[[nodiscard]] bool WaitUntilTrue(const std::function<bool()>& condition);

#endif  // ZIN_TEST_WAIT_UNTIL_TRUE_H
