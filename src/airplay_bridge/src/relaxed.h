// Values that several library threads touch, without a lock and without a data race.
#pragma once

#include <atomic>

namespace norvale {

// A flag, a time or a number that reads and writes like a plain member and costs the same. Each
// access is atomic; no access orders any other. T must fit a machine word or two.
template <class T>
class Relaxed {
 public:
  constexpr Relaxed(T initial) : value(initial) {}
  Relaxed(const Relaxed&) = delete;
  Relaxed& operator=(const Relaxed&) = delete;

  T get() const { return value.load(std::memory_order_relaxed); }
  operator T() const { return get(); }
  Relaxed& operator=(T other) {
    value.store(other, std::memory_order_relaxed);
    return *this;
  }

 private:
  static_assert(std::atomic<T>::is_always_lock_free, "would hide a lock");
  std::atomic<T> value;
};

using Flag = Relaxed<bool>;

// A pointer, not owned, that one thread binds and library threads follow: who sees the pointer sees
// the object as it was when it was bound.
template <class T>
class BoundPointer {
 public:
  BoundPointer() = default;
  BoundPointer(const BoundPointer&) = delete;
  BoundPointer& operator=(const BoundPointer&) = delete;

  T* get() const { return pointer.load(std::memory_order_acquire); }
  void bind(T* other) { pointer.store(other, std::memory_order_release); }

 private:
  std::atomic<T*> pointer{nullptr};
};

}  // namespace norvale
