// Included before every source of a build in which all mutants are compiled in.
#ifndef ZIN_MUTANTS_H
#define ZIN_MUTANTS_H

#include <optional>

extern "C" int zinMutantOn;                            // number of the mutant that is on, or -1
extern "C" volatile unsigned char* zinMutantsReached;  // a byte for each mutant, or null

namespace zinMutants {

// Whether mutant `number` is on. Where the compiler evaluates a constant, none is.
constexpr bool Is(int number) noexcept {
  if (__builtin_is_constant_evaluated()) return false;
  if (zinMutantsReached != nullptr) zinMutantsReached[number] = 1;
  return zinMutantOn == number;
}

}  // namespace zinMutants

#endif  // ZIN_MUTANTS_H
