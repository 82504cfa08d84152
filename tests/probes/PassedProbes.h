// The probes that the library's code has passed, in their order.
#ifndef ZIN_TEST_PASSED_PROBES_H
#define ZIN_TEST_PASSED_PROBES_H

#include <cstddef>
#include <string>
#include <vector>

// The name of each, its provider before it, and its arguments: a path or a channel
// as it reads to the NUL, a text by the length beside it, and that length.
std::vector<std::string> PassedProbes();

// For the header that stands in for <sys/sdt.h>: one for each list of arguments
// that a probe may have. From any thread.
void NotePassedProbe(const char* name, const char* text);
void NotePassedProbe(const char* name, const char* path, int number);
void NotePassedProbe(const char* name, const char* path, const char* newPath);
void NotePassedProbe(const char* name, const char* path, const char* newPath, int number);
void NotePassedProbe(const char* name, const char* channel, const char* text, std::size_t size);
void NotePassedProbe(const char* name, int descriptor, std::size_t size, int number);

#endif  // ZIN_TEST_PASSED_PROBES_H
