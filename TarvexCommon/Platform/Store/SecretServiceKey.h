// The key of a store in the desktop's Secret Service: one item of 32 bytes, known by the store's
// id. Internal.
//
// Beside what is said below these throw what a conversation does (Linux/SecretService.h).
#pragma once

#include "TarvexCommon/Platform/Linux/SecretService.h"
#include "TarvexCommon/Platform/Sealing.h"

namespace tarvex {

// Throws unless a key can be kept.
void ensureKeepsKeys(Prompts prompts);

// Makes a key unless there is one: that may open a backup.
void makeKeyInService(Bytes storeID);

// Returns the key; a child of a process that has used the service gets what that has read. Throws
// `errSecNotAvailable` when there is none, `errSecAuthFailed` when it is not of a key's size.
SealingKey keyInService(Bytes storeID, Prompts prompts);

// Removes the key where that can be done without the user.
void removeKeyFromService(Bytes storeID);

}  // namespace tarvex
