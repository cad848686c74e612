// P-256 keys and signatures by OpenSSL. Internal.
#pragma once

#include "TarvexCommon/Platform/KeyService.h"

namespace tarvex {

// The keys may be used by several threads at once. Failures are described in
// English.
KeyService openSSLKeyService();

}  // namespace tarvex
