// The permission bits and the account of everything the library creates.
#ifndef ZIN_FILE_MODES_H
#define ZIN_FILE_MODES_H

#include <sys/stat.h>

inline constexpr mode_t logDirectoryMode = 0750;
inline constexpr mode_t metricsDirectoryMode = 0770;  // made at the metrics start
inline constexpr mode_t logFileMode = 0640;
inline constexpr mode_t metricsFileMode = 0660;
inline constexpr mode_t unrenamedFileMode = 0440;  // the name a failed rename asked for

// Directories and files are handed to this account.
inline constexpr const char* serviceAccount = "qorsrvr";

#endif  // ZIN_FILE_MODES_H
