#ifndef ZIN_TEST_THREADS_H
#define ZIN_TEST_THREADS_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

// The threads of this process as the kernel shows them at this moment.

// Thread ids of the threads of that name (at most 15 characters).
std::vector<pid_t> ThreadsNamed(const std::string& name);

// Whether a thread waits for something, be it for a condition variable or for a
// system call that blocks.
bool IsAsleep(pid_t thread);
bool OtherThreadsSleep();  // all but the calling one

// Whether a thread waits for another to wake it, as on a condition variable or a
// mutex. One that sleeps for a while does not.
bool WaitsToBeWoken(pid_t thread);

// The signals a thread blocks, signal 1 in the lowest bit.
std::uint64_t BlockedSignalsOf(pid_t thread);

#endif  // ZIN_TEST_THREADS_H
