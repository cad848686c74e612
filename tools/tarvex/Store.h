// The keychain store that the global options name.
#pragma once

#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "Tool.h"

namespace tool {

// A store that asks for a passphrase where it has one and nothing else opens it.
tarvex::KeychainStore store(const Tool& tool);

bool hasSlot(const tarvex::KeychainStoreStatus& status, tarvex::KeySlot slot);

}  // namespace tool
