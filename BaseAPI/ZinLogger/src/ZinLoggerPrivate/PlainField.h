// Race-free access to fields that several threads share without a lock.
//
// The fields stay plain (a record of settings reads as one), and every access
// that can overlap goes through here. The order between different fields is
// not promised: a reader may see the old or the new value of each. The machine
// code is that of a plain load or store.
#ifndef ZIN_PLAIN_FIELD_H
#define ZIN_PLAIN_FIELD_H

#include <type_traits>

// A processor loads and stores what fits a word at once, wherever Linux runs. That
// is all that is needed, and less than what lock-free means to the C++ library, which
// wants to exchange such a field, too: riscv64 has no instruction for a byte. And not
// every C++ library has std::atomic_ref, while both compilers have these functions.
template <typename Field>
constexpr bool fitsOneAccess = std::is_trivially_copyable_v<Field> &&
                               sizeof(Field) <= sizeof(void*);

template <typename Field>
Field LoadPlain(const Field& field) noexcept {
  static_assert(fitsOneAccess<Field>);
  Field value{};
  __atomic_load(&field, &value, __ATOMIC_RELAXED);
  return value;
}

template <typename Field>
void StorePlain(Field& field, std::type_identity_t<Field> value) noexcept {
  static_assert(fitsOneAccess<Field>);
  __atomic_store(&field, &value, __ATOMIC_RELAXED);
}

#endif  // ZIN_PLAIN_FIELD_H
