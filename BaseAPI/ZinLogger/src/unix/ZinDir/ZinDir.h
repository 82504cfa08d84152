// Stateless directory utilities.
//
// None of them logs, throws (but for exhausted memory) or keeps state; failure
// shows in the result alone and in errno. Paths are used as given: nothing is
// normalised, and a directory that ends in "/" gives a doubled separator.
// Thread-safe. `stat` follows symbolic links throughout.
#ifndef ZIN_DIR_H
#define ZIN_DIR_H

#include <cstdint>
#include <string>
#include <vector>

// Removes an empty directory; true when it is gone.
bool ZinRemoveDir(const std::string& path);

// Removes a file or an empty directory; 0 or -1.
int ZinRemoveFile(const std::string& path);

// Deletes a tree, depth first. Entries that cannot be examined (a dangling
// link) stay, and with them the directories above.
void ZinRemoveDirRecursive(const std::string& path);

// Bytes; 0 when the file cannot be examined.
std::uint64_t ZinGetFileSize(const std::string& path);

// Seconds since the epoch; 0 when the file cannot be examined.
std::uint64_t ZinGetFileModifyTime(const std::string& path);

// Full paths of the entries directly in `directory` that are not directories
// and whose name ends in ".log" or has exactly three bytes; in no order.
// Empty when the directory cannot be opened.
std::vector<std::string> ZinListLogFiles(const std::string& directory);

// The same, and the sum of their sizes in bytes.
std::vector<std::string> ZinListLogFiles(const std::string& directory, std::uint64_t& totalBytes);

// Bare names of the rotated siblings of `baseFileName` in `directory`, sorted
// by bytes, which for rotated names is oldest first: names that begin with the
// base name less its last four bytes and whose first ".log" is their end.
std::vector<std::string> ZinListRotatedFiles(const std::string& baseFileName,
                                             const std::string& directory);

// Whether `path` (of `length` bytes) resolves, or would if it existed. False
// for more than 4096 bytes.
bool ZinIsPathResolvable(const char* path, int length);

// Resolves `path` into `resolved`. A path that does not exist is taken as it
// is. False, and `resolved` untouched, on any other failure.
bool ZinGetRealPath(const std::string& path, std::string& resolved);

#endif  // ZIN_DIR_H
