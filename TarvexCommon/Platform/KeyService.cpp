#include "TarvexCommon/Platform/KeyService.h"

#include "TarvexCommon/Platform/Services.h"

namespace tarvex {
namespace {

// Calls a function of the service in use; returns `otherwise` where it is left out.
template <typename Result, typename Operation, typename... Arguments>
Result ask(Operation KeyService::*operation, Result otherwise, const Arguments&... arguments) {
  const Operation& function = services().keyService.*operation;
  return function ? function(arguments...) : otherwise;
}

SecKeyFailure leftOut() { return {"the key service cannot do this"}; }

}  // namespace

SecKeyResult<SecKeyRef> SecKeyCreateWithData(Bytes externalBytes,
                                             const ItemDictionary& attributes) {
  return ask<SecKeyResult<SecKeyRef>>(&KeyService::createWithData, leftOut(), externalBytes,
                                      attributes);
}

SecKeyResult<SecKeyRef> SecKeyCreateRandomKey(const ItemDictionary& attributes) {
  return ask<SecKeyResult<SecKeyRef>>(&KeyService::createRandomKey, leftOut(), attributes);
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& privateKey) {
  return ask<SecKeyRef>(&KeyService::copyPublicKey, nullptr, privateKey);
}

bool SecKeyIsAlgorithmSupported(const SecKeyRef& key, SecKeyOperationType operation,
                                SecKeyAlgorithm algorithm) {
  return ask<bool>(&KeyService::isAlgorithmSupported, false, key, operation, algorithm);
}

SecKeyResult<Data> SecKeyCreateSignature(const SecKeyRef& privateKey, SecKeyAlgorithm algorithm,
                                         Bytes msg) {
  return ask<SecKeyResult<Data>>(&KeyService::createSignature, leftOut(), privateKey, algorithm,
                                 msg);
}

std::optional<SecKeyFailure> SecKeyVerifySignature(const SecKeyRef& publicKey,
                                                   SecKeyAlgorithm algorithm,
                                                   const SecKeySignedMessage& check) {
  return ask<std::optional<SecKeyFailure>>(&KeyService::verifySignature, leftOut(), publicKey,
                                           algorithm, check);
}

std::optional<Data> SecKeyCopyExternalRepresentation(const SecKeyRef& key) {
  const auto& copy = services().keyService.copyExternalRepresentation;
  return copy ? copy(key) : std::nullopt;
}

}  // namespace tarvex
