// A library of its own: it is loaded before all code that asks it, a process has
// it once, and its system calls are not those that the tests make fail.
#include "ZinMutants.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

int zinMutantOn = -1;
volatile unsigned char* zinMutantsReached = nullptr;

namespace {

constexpr std::size_t mostMutants = std::size_t{1} << 16;

// A shared file: what a process has reached stays known however it ends.
[[gnu::constructor(101)]] void ReadEnvironment() {
  if (const char* const number = std::getenv("ZIN_MUTANT")) zinMutantOn = std::atoi(number);
  const char* const path = std::getenv("ZIN_MUTANTS_REACHED");
  if (path == nullptr) return;
  const int descriptor = open(path, O_RDWR | O_CLOEXEC);
  if (descriptor < 0) return;
  void* const map = mmap(nullptr, mostMutants, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  (void)close(descriptor);
  if (map != MAP_FAILED) zinMutantsReached = static_cast<volatile unsigned char*>(map);
}

}  // namespace
