// Keeps the child of a fork usable: both channels stopped, every lock free.
//
// The handlers are registered when the library is loaded. A fork waits until
// no thread is inside one of the library's short locked steps; the child
// leaves the parent's queued records and open files alone.
//
// Handlers of the program that are older than the library (it was loaded as, or
// with, a plugin) run between these. They may log; what an older handler logs in
// the child goes into the queue that the child is about to forget.
#ifndef ZIN_AT_FORK_H
#define ZIN_AT_FORK_H

class ZinLoggerPrivate;

// Names the record that the handlers look after: that of the process's facade.
void SetStateForFork(ZinLoggerPrivate* state);

#endif  // ZIN_AT_FORK_H
