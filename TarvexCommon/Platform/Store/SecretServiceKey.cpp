#include "TarvexCommon/Platform/Store/SecretServiceKey.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <optional>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Platform/ItemFailure.h"

namespace tarvex {
namespace {

using Values = SecretService::Values;

constexpr char label[] = "Key of the Tarvex keychain";

SecretAttributes attributesOf(Bytes storeID) {
  return {{"xdg:schema", "com.tarvex.keychain"}, {"store", toBase64(storeID)}};
}

// A key that was read, for child processes. A list that only grows, and without a lock: a fork
// may come at any moment.
struct ReadKey {
  Data storeID;
  SealingKey key;
  const ReadKey* before;
};

std::atomic<const ReadKey*> lastRead = nullptr;

void lockPagesOfChild() {
  for (const ReadKey* read = lastRead; read != nullptr; read = read->before) read->key.lockPage();
}

const ReadKey* lastReadOf(Bytes storeID) {
  const ReadKey* read = lastRead;
  while (read != nullptr && !std::ranges::equal(read->storeID, storeID)) read = read->before;
  return read;
}

void remember(Bytes storeID, const SealingKey& key) {
  static const int registered = pthread_atfork(nullptr, nullptr, lockPagesOfChild);
  (void)registered;
  const ReadKey* known = lastReadOf(storeID);
  if (known != nullptr && std::ranges::equal(known->key.bytes(), key.bytes())) return;
  auto* read = new ReadKey{toData(storeID), SealingKey(key.bytes()), lastRead};
  while (!lastRead.compare_exchange_weak(read->before, read)) {
  }
}

SealingKey keyReadByParent(Bytes storeID) {
  const ReadKey* read = lastReadOf(storeID);
  ensure(read != nullptr, errSecNotAvailable);
  return SealingKey(read->key.bytes());
}

}  // namespace

void ensureKeepsKeys(Prompts prompts) {
  SecretService::use(prompts, [](SecretService& service) { service.ensureTakesItems(); });
}

// One that fails in the midst of it destroys what the other constructor has made. It may have been
// added also where the answer is an error.
NewKeyInService::NewKeyInService(Bytes storeID) : NewKeyInService(toData(storeID)) {
  SecretService::use(Prompts::none, [this](SecretService& service) {
    const SecretAttributes attributes = attributesOf(storeID_);
    if (!service.find(attributes, Values::unread).empty()) return;
    isMade_ = true;
    service.add(label, attributes, SealingKey::random().bytes());
  });
}

NewKeyInService::~NewKeyInService() {
  if (isMade_) removeKeyFromService(storeID_);
}

SealingKey keyInService(Bytes storeID, Prompts prompts) {
  if (SecretService::isOutOfReach()) return keyReadByParent(storeID);
  std::optional<SealingKey> key;
  SecretService::use(prompts, [&](SecretService& service) {
    const auto found = service.find(attributesOf(storeID), Values::loaded);
    ensure(!found.empty(), errSecNotAvailable);
    ensure(found.front().value->size() == SealingKey::size, errSecAuthFailed);
    key.emplace(*found.front().value);
  });
  remember(storeID, *key);
  return std::move(*key);
}

void removeKeyFromService(Bytes storeID) {
  (void)statusOf([storeID] {
    SecretService::use(Prompts::none, [storeID](SecretService& service) {
      for (const Secret& key : service.find(attributesOf(storeID), Values::unread)) {
        service.remove(key);
      }
    });
  });
}

}  // namespace tarvex
