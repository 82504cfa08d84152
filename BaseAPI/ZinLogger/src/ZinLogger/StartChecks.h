#ifndef ZIN_START_CHECKS_H
#define ZIN_START_CHECKS_H

#include <string>

// Whether a channel may be started on this file name and directory. The name
// must end in ".log", its only ".log", and hold no "/"; the directory must
// hold "log" in any letter case, when checkDirectory says so and it is longer
// than one character. Thread-safe.
bool IsLogPathValid(const std::string& fileName, const std::string& directory, bool checkDirectory);

#endif  // ZIN_START_CHECKS_H
