// The one doorway by which the library logs about itself.
//
// It fixes the tag to one blank, the sub-directory to none, and the line to
// that of the caller; `file` is the name of the folder that speaks, so that a
// line reads the same wherever the library was built.
//
// The worker may come through here from its own thread. That ends: a log call
// only pushes a record or writes to standard error, and never waits for the
// worker. Hold no lock when you call it.
#ifndef ZIN_SELF_LOG_H
#define ZIN_SELF_LOG_H

#include "ZinLogger.h"

// A macro, because only that keeps both the caller's line number and the
// compiler's check of the format.
#define ZIN_SELF_LOG(file, function, level, ...) \
  ZinLogger::GetInstance()->Log(file, __LINE__, function, " ", "", level, __VA_ARGS__)

#endif  // ZIN_SELF_LOG_H
