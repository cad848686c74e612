// What a thread keeps from one use to its next. Internal.
#pragma once

#include <utility>

namespace tarvex {

// One `T` a thread. While its static objects are destroyed a thread keeps nothing.
template <typename T>
class ThreadSpare {
 public:
  // Returns what was kept; an empty `T` where that is in use.
  static T take() { return isEnding_ ? T() : T(std::move(spare_.value)); }

  static void keep(T&& value) {
    if (!isEnding_) spare_.value = std::move(value);
  }

 private:
  struct Spare {
    ~Spare() { isEnding_ = true; }

    T value;
  };

  static inline thread_local bool isEnding_ = false;
  static inline thread_local Spare spare_;
};

}  // namespace tarvex
