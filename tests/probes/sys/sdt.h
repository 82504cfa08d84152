// Stands before the system's header of this name: a probe tells the test, where it
// would be a nop for a tracer.
#ifndef ZIN_TEST_SYS_SDT_H
#define ZIN_TEST_SYS_SDT_H

#include "PassedProbes.h"

#define DTRACE_PROBE1(provider, name, a) NotePassedProbe(#provider ":" #name, a)
#define DTRACE_PROBE2(provider, name, a, b) NotePassedProbe(#provider ":" #name, a, b)
#define DTRACE_PROBE3(provider, name, a, b, c) NotePassedProbe(#provider ":" #name, a, b, c)

#endif  // ZIN_TEST_SYS_SDT_H
