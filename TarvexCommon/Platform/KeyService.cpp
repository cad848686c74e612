#include "TarvexCommon/Platform/KeyService.h"

#include "TarvexCommon/Platform/Services.h"

namespace tarvex {

SecKeyResult<SecKeyRef> SecKeyCreateWithData(Bytes externalBytes,
                                             const ItemDictionary& attributes) {
  return services().keyService.createWithData(externalBytes, attributes);
}

SecKeyResult<SecKeyRef> SecKeyCreateRandomKey(const ItemDictionary& attributes) {
  return services().keyService.createRandomKey(attributes);
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& privateKey) {
  return services().keyService.copyPublicKey(privateKey);
}

bool SecKeyIsAlgorithmSupported(const SecKeyRef& key, SecKeyOperationType operation,
                                SecKeyAlgorithm algorithm) {
  return services().keyService.isAlgorithmSupported(key, operation, algorithm);
}

SecKeyResult<Data> SecKeyCreateSignature(const SecKeyRef& privateKey, SecKeyAlgorithm algorithm,
                                         Bytes msg) {
  return services().keyService.createSignature(privateKey, algorithm, msg);
}

std::optional<SecKeyFailure> SecKeyVerifySignature(const SecKeyRef& publicKey,
                                                   SecKeyAlgorithm algorithm,
                                                   const SecKeySignedMessage& check) {
  return services().keyService.verifySignature(publicKey, algorithm, check);
}

std::optional<Data> SecKeyCopyExternalRepresentation(const SecKeyRef& key) {
  return services().keyService.copyExternalRepresentation(key);
}

}  // namespace tarvex
