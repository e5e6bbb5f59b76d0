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
