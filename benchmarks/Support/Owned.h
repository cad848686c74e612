// Objects of C libraries, released when their owner goes.
#pragma once

#include <memory>

namespace bench {

template <typename T, auto release>
struct Release {
  void operator()(T* object) const { release(object); }
};

template <typename T, auto release>
using Owned = std::unique_ptr<T, Release<T, release>>;

}  // namespace bench
