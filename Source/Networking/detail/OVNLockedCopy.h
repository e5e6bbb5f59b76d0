#pragma once
// Reading and writing a member under its object's mutex, by copy: closures set from any
// thread are read on the session's delegate queue and called after the lock is released.

#include <mutex>
#include <utility>

namespace ovn::detail {

template <class T>
T lockedCopy(std::mutex& mutex, const T& member) {
  std::lock_guard lock(mutex);
  return member;
}

template <class T>
void lockedStore(std::mutex& mutex, T& member, T value) {
  // The old value dies after the lock is released: a closure's captures may run code.
  {
    std::lock_guard lock(mutex);
    std::swap(member, value);
  }
}

}  // namespace ovn::detail

// Defines a getter and a setter reading and writing `getter##_` under `mutex` by copy, as
// above. `Type` is written as in the class (its nested names resolve in the trailing return).
#define OVN_LOCKED_ACCESSORS(Class, Type, getter, setter, mutex)                           \
  auto Class::getter() const->Type { return ::ovn::detail::lockedCopy(mutex, getter##_); } \
  void Class::setter(Type value) { ::ovn::detail::lockedStore(mutex, getter##_, std::move(value)); }
