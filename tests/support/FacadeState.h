#ifndef ZIN_TEST_FACADE_STATE_H
#define ZIN_TEST_FACADE_STATE_H

#include <cstring>
#include <type_traits>

#include "ZinLogger.h"

class ZinLoggerPrivate;

// The record of the process's logger: the pointer to it is the facade's first
// field, so no door needs to be built into the facade for tests.
inline ZinLoggerPrivate& FacadeState() {
  static_assert(std::is_standard_layout_v<ZinLogger>);
  ZinLoggerPrivate* state = nullptr;
  std::memcpy(&state, ZinLogger::GetInstance(), sizeof state);
  return *state;
}

#endif  // ZIN_TEST_FACADE_STATE_H
