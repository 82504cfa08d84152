#ifndef ZIN_FAKE_SLEEP_H
#define ZIN_FAKE_SLEEP_H

#include <cstdint>

#include "ZinSysInfo.h"

// Parks the thread that calls ZinSleep until the test lets it go on.
namespace FakeSleep {

// Waits until ZinSleep has been entered `count` times in all; false after a
// minute.
[[nodiscard]] bool WaitUntilEntered(int count);

// Lets one parked thread go on: the one that sleeps, or the next that will.
void LetOneReturn();

// How often ZinSleep was entered, and the milliseconds of the latest call.
int EnteredCount();
std::uint32_t LatestMilliseconds();

}  // namespace FakeSleep

#endif  // ZIN_FAKE_SLEEP_H
