// The file that the logger is writing, and how it is replaced.
#ifndef ZINPIPE_LIVE_FILE_H
#define ZINPIPE_LIVE_FILE_H

#include <string>

#include "FileIdentity.h"

// The descriptor by which this process writes to the file; -1: there is none.
int WriterOf(const FileIdentity& file);

// Lets the logger, which begins a new file by size alone, go on in a new one:
// what stands under the name is renamed as the logger does it, and its own
// descriptor is taken away. It finds that out with its next line, and begins a new
// file for it. It must have nothing to write meanwhile. Throws std::runtime_error
// with the reason; then all is as it was.
void BeginNewFile(const std::string& directory, const std::string& fileName,
                  const FileIdentity& current);

// Lets the logger go on at the end of its file, however long it is now. It must
// have nothing to write meanwhile.
void GoOnAtTheEnd(const FileIdentity& current);

// Removes the oldest finished files but `keepFiles`, by the logger's own rule.
void RemoveExcessFiles(const std::string& directory, const std::string& fileName, int keepFiles);

#endif  // ZINPIPE_LIVE_FILE_H
