#ifndef ZIN_MAKE_DIRS_H
#define ZIN_MAKE_DIRS_H

#include <string>

// Creates every component of `path` with mode 0750 (less the umask) and hands
// the last one to the service account. Always returns true: a component that
// could not be made is found out by whoever opens a file there. Thread-safe.
bool ZinMakeDirs(const std::string& path);

#endif  // ZIN_MAKE_DIRS_H
