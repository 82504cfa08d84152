// Race-free access to fields that several threads share without a lock.
//
// The fields stay plain (a record of settings reads as one), and every access
// that can overlap goes through here. The order between different fields is
// not promised: a reader may see the old or the new value of each. The machine
// code is that of a plain load or store.
#ifndef ZIN_PLAIN_FIELD_H
#define ZIN_PLAIN_FIELD_H

#include <atomic>
#include <type_traits>

template <typename Field>
Field LoadPlain(const Field& field) noexcept {
  static_assert(std::atomic_ref<Field>::is_always_lock_free);
  return std::atomic_ref<Field>(const_cast<Field&>(field)).load(std::memory_order_relaxed);
}

template <typename Field>
void StorePlain(Field& field, std::type_identity_t<Field> value) noexcept {
  std::atomic_ref<Field>(field).store(value, std::memory_order_relaxed);
}

#endif  // ZIN_PLAIN_FIELD_H
