// Failing item operations: a status that is thrown below and answered above. Internal.
#pragma once

#include <concepts>
#include <new>

#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

struct ItemFailure {
  OSStatus status;
};

inline void ensure(bool condition, OSStatus otherwise) {
  if (!condition) throw ItemFailure{otherwise};
}

// Runs an operation and returns its status, thrown or not.
template <std::invocable Operation>
OSStatus statusOf(const Operation& operation) {
  try {
    operation();
    return errSecSuccess;
  } catch (const ItemFailure& failure) {
    return failure.status;
  } catch (const std::bad_alloc&) {
    return errSecAllocate;
  }
}

}  // namespace tarvex
