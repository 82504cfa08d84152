// What the library does not report by itself, a tracer can be told: static
// probes (USDT) of the provider "zinlogger".
//
// A probe that nobody listens to is one nop, at a place that has already failed
// or is slow. Without <sys/sdt.h> at build time there are none. Names and
// arguments are a contract with operators' scripts; docs/PROBES.md lists them.
#ifndef ZIN_PROBES_H
#define ZIN_PROBES_H

#include <cerrno>
#include <string>
#include <string_view>

#ifdef ZIN_HAS_PROBES
#include <sys/sdt.h>
#define ZIN_PROBE1(name, a) DTRACE_PROBE1(zinlogger, name, a)
#define ZIN_PROBE2(name, a, b) DTRACE_PROBE2(zinlogger, name, a, b)
#define ZIN_PROBE3(name, a, b, c) DTRACE_PROBE3(zinlogger, name, a, b, c)
#else
#define ZIN_PROBE1(name, a) (void)(a)
#define ZIN_PROBE2(name, a, b) (void)(a), (void)(b)
#define ZIN_PROBE3(name, a, b, c) (void)(a), (void)(b), (void)(c)
#endif

namespace probes {

// One record of the channel "log" or "metrics" was dropped. `text` may not end
// in a NUL.
inline void QueueDrop(const char* channel, std::string_view text) {
  ZIN_PROBE3(queue_drop, channel, text.data(), text.size());
}

// A file could not be opened, for the reason in errno.
inline void OpenFail(const std::string& path) {
  const int error = errno;
  ZIN_PROBE2(open_fail, path.c_str(), error);
}

// The last `bytesLost` bytes of a record were not written, for the reason in
// `error`; 0: the kernel took nothing and gave no reason.
inline void WriteFail(int descriptor, std::size_t bytesLost, int error) {
  ZIN_PROBE3(write_fail, descriptor, bytesLost, error);
}

// A file could not be moved aside. What it holds is about to be lost, unless
// the error is ENOENT.
inline void RenameFail(const std::string& from, const std::string& to, int error) {
  ZIN_PROBE3(rename_fail, from.c_str(), to.c_str(), error);
}

// A file was moved aside.
inline void Rotate(const std::string& from, const std::string& to) {
  ZIN_PROBE2(rotate, from.c_str(), to.c_str());
}

// A file was removed because a limit was exceeded, or could not be: `error` is 0
// or the reason.
inline void RetentionRemove(const std::string& path, int error) {
  ZIN_PROBE2(retention_remove, path.c_str(), error);
}

// A stop of the channel "log" or "metrics" gave up waiting for the worker.
inline void StopTimeout(const char* channel) {
  ZIN_PROBE1(stop_timeout, channel);
}

}  // namespace probes

#undef ZIN_PROBE1
#undef ZIN_PROBE2
#undef ZIN_PROBE3

#endif  // ZIN_PROBES_H
