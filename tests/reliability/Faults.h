#ifndef ZIN_RELIABILITY_FAULTS_H
#define ZIN_RELIABILITY_FAULTS_H

#include <cstdint>

// What fault_injector, loaded before the C library, offers the program that it
// is loaded into. ZIN_FAULT says what fails: "<call>:<k>:<errno>:<count>", the
// k-th call of that name and the count - 1 that follow. Calls are counted from
// FaultsBegin on, and only those of threads other than the main one (which is
// the driver; every other thread is the library's), except that pthread_create
// counts on the main thread, and start_mkdir is mkdir there. Errno -1 at write:
// half of it is written.
//
// Files whose path holds "/sentinel" never fail and are never counted: a line
// written there shows that the worker has dealt with what came before.
//
// Files that are about to be emptied or removed are copied to the folder
// ZIN_FAULT_KEEP first, so that every line can be accounted for.
extern "C" {

void FaultsBegin();
void FaultsEnd();
// Everything from now on is noted as happening at this line of the driver.
void FaultsAtLine(unsigned line);

// Lines that have reached a sentinel file.
std::uint64_t FaultsSentinels();
// Faults injected so far.
unsigned FaultsInjected();
// What happened at a line: a write failed or fell short; an open for writing
// failed (also by itself); a file was emptied; a fault that excuses that.
bool FaultsWriteFailedAt(unsigned line);
bool FaultsOpenFailedAt(unsigned line);
bool FaultsExcuseEmptyingAt(unsigned line);
// Emptied with nothing to excuse it.
unsigned FaultsUnexcused();
// Calls counted, by name, as a JSON object; valid until the next call.
const char* FaultsCounts();
}

#endif  // ZIN_RELIABILITY_FAULTS_H
