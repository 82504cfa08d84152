#ifndef ZIN_FUZZ_CAPTURED_ERROR_STREAM_H
#define ZIN_FUZZ_CAPTURED_ERROR_STREAM_H

#include <string>

// What was written to std::cerr since the last call (since the first one, for
// the first). From the first call on nothing of it reaches descriptor 2, which
// stays free for the findings.
std::string TakeErrorStream();

#endif  // ZIN_FUZZ_CAPTURED_ERROR_STREAM_H
