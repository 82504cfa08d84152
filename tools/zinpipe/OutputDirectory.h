// What can be known about the output directory before and while it is used.
#ifndef ZINPIPE_OUTPUT_DIRECTORY_H
#define ZINPIPE_OUTPUT_DIRECTORY_H

#include <string>

// Creates the directory, with its parents, and sees to it that a file of that
// name can be written there. The logger would not tell. Throws
// std::runtime_error with the reason.
void PrepareOutputDirectory(const std::string& directory, const std::string& fileName);

// Best guess at the reason when nothing arrives in the file.
std::string WhyNothingIsWritten(const std::string& directory, const std::string& fileName);

// Why no file can be made or renamed in the directory at the moment; empty:
// nothing is known that forbids it.
std::string WhyNoNewFile(const std::string& directory);

#endif  // ZINPIPE_OUTPUT_DIRECTORY_H
