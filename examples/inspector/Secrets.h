// The stored secrets and keys of the team's applications. Values are read one at a time, when
// they are asked for.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "TarvexCommon/Crypto/ECDSA.h"
#include "TarvexCommon/Keychain/KeychainError.h"
#include "TarvexCommon/Keychain/KeychainItem.h"

namespace inspector {

// What names a stored secret, in full.
struct Secret {
  std::string service;
  std::string accessGroup;
  std::string user;
  std::string label;
  bool isSynced;
};

struct NewSecret {
  tarvex::KeychainItem item;
  std::string user;
  std::string value;
};

// The services of the catalogue, each once.
std::vector<std::string> services();

// These throw `tarvex::KeychainError`.
std::vector<Secret> secretsOf(const std::string& service);  // by user, then label
std::string valueOf(const Secret& secret);
void save(const NewSecret& secret);  // in place of the one that is there
void remove(const Secret& secret);
std::set<std::string> keyLabels();  // of the stored key pairs

// Throws `tarvex::CryptoError`.
tarvex::Crypto::ECDSA keyPair(const std::string& label);

}  // namespace inspector
