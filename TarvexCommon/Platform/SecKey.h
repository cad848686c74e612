// A key of the key service, seen from outside.
#pragma once

#include <memory>

namespace tarvex {

// What a key service hands out. Each service derives its own type and takes back
// only keys of its own; the keys are immutable and may be used by any thread.
struct SecKey {};

using SecKeyRef = std::shared_ptr<const SecKey>;

}  // namespace tarvex
