// What an administrator does with a store that is there. Internal.
//
// Operations of `KeychainStore`, which throw what it answers. Each opens the store for itself, by
// options whose folder is absolute.
#pragma once

#include <string>

#include "TarvexCommon/Platform/Store/KeychainStore.h"

namespace tarvex {

// Leaves in `status` what is known when it throws.
void describe(const KeychainStoreOptions& options, KeychainStoreStatus& status);

void addSlot(const KeychainStoreOptions& options, KeySlot slot,
             const AskForPassphrase& newPassphrase);
void changePassphrase(const KeychainStoreOptions& options, const AskForPassphrase& newPassphrase);
void removeSlot(const KeychainStoreOptions& options, KeySlot slot);

void acceptLoss(const KeychainStoreOptions& options);

void writeBackup(const KeychainStoreOptions& options, const std::string& file);

}  // namespace tarvex
