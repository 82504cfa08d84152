#ifndef ZIN_TEST_SURROUNDINGS_H
#define ZIN_TEST_SURROUNDINGS_H

#include <sys/types.h>

#include <string>

// What a container, a chroot or a user without rights may not have. Each tells
// why it is not to be had, and nothing when it is.

// Ends a test, or a fixture's SetUp, as skipped when there is a reason.
#define SKIP_IF(reason) \
  if (const std::string why = (reason); !why.empty()) GTEST_SKIP() << why

std::string WhyNoProc();

// A file system in memory, in a mount namespace of its own.
std::string WhyNoSmallFileSystem();

// Files that belong to others.
std::string WhyNoFilesOf(uid_t user, gid_t group);

// A program that runs as RunProgram.h's Unprivileged says, and files of its own.
std::string WhyNoUnprivilegedProgram();

#endif  // ZIN_TEST_SURROUNDINGS_H
