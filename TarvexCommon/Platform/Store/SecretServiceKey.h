// The key of a store in the desktop's Secret Service: one item of 32 bytes, known by the store's
// id. Internal.
//
// Beside what is said below these throw what a conversation does (Linux/SecretService.h).
#pragma once

#include <utility>

#include "TarvexCommon/Platform/Linux/SecretService.h"
#include "TarvexCommon/Platform/Sealing.h"

namespace tarvex {

// Throws unless a key can be kept.
void ensureKeepsKeys(Prompts prompts);

// A key in the service for a slot that is to be added: the one that is there, which may open a
// backup, or a new one, which goes again with this unless it is kept.
class NewKeyInService {
 public:
  explicit NewKeyInService(Bytes storeID);
  NewKeyInService(const NewKeyInService&) = delete;
  NewKeyInService& operator=(const NewKeyInService&) = delete;
  ~NewKeyInService();

  void keep() noexcept { isMade_ = false; }

 private:
  explicit NewKeyInService(Data storeID) noexcept : storeID_(std::move(storeID)) {}

  Data storeID_;
  bool isMade_ = false;
};

// Returns the key; a child of a process that has used the service gets what that has read. Throws
// `errSecNotAvailable` when there is none, `errSecAuthFailed` when it is not of a key's size.
SealingKey keyInService(Bytes storeID, Prompts prompts);

// Removes the key where that can be done without the user. For who holds the lock of the slots, or
// alone knows of the store.
void removeKeyFromService(Bytes storeID);

}  // namespace tarvex
