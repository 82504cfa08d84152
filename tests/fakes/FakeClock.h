#ifndef ZIN_FAKE_CLOCK_H
#define ZIN_FAKE_CLOCK_H

#include <cstdint>

#include "ZinDateTime.h"

// A clock that stands still until the test sets it. At first it shows
// 2026-01-05 09:03:07 and a tick that ends in 042 milliseconds. Thread-safe.
namespace FakeClock {

void SetDateTime(int year, int month, int day, int hour, int minute, int second);
void SetTick(std::uint64_t milliseconds);

// The tick grows by this after every read; 0 at first.
void SetTickStep(std::uint64_t milliseconds);

// Every read leaves this in errno, as a call that fails on the way may; 0, as at
// first: it leaves errno alone.
void SetErrorOfReads(int error);

}  // namespace FakeClock

#endif  // ZIN_FAKE_CLOCK_H
