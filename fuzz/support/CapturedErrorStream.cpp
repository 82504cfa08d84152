#include "CapturedErrorStream.h"

#include <iostream>
#include <sstream>

std::string TakeErrorStream() {
  // Never destroyed: std::cerr is used until the process has ended.
  static std::stringbuf& captured = *new std::stringbuf;
  static const bool redirected = std::cerr.rdbuf(&captured) != nullptr;
  (void)redirected;
  std::string text = captured.str();
  captured.str({});
  return text;
}
