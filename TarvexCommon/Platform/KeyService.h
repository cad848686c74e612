// The key service: makes, imports and uses elliptic-curve keys.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/ItemValue.h"
#include "TarvexCommon/Platform/SecKey.h"

namespace tarvex {

// Names a way to sign. Two are the same when their identifiers are.
struct SecKeyAlgorithm {
  std::string_view identifier;  // a literal: it is not copied

  friend bool operator==(SecKeyAlgorithm, SecKeyAlgorithm) = default;
};

// ECDSA over the SHA-256 digest of the message, the signature as X9.62 DER.
inline constexpr SecKeyAlgorithm kSecKeyAlgorithmECDSASignatureMessageX962SHA256{
    "algid:sign:ECDSA:message-X962:SHA-256"};

enum class SecKeyOperationType {
  kSecKeyOperationTypeSign = 0,
  kSecKeyOperationTypeVerify = 1,
};
using enum SecKeyOperationType;

// Why an operation failed.
struct SecKeyFailure {
  std::string localizedDescription;
};

template <typename Result>
using SecKeyResult = std::variant<Result, SecKeyFailure>;

// A signature and the message that it is said to belong to.
struct SecKeySignedMessage {
  Bytes msg;
  Bytes derSig;
};

// A key service, a function for each operation; one that is left out fails.
//
// A service of a host's own keeps two promises beside what stands at the functions
// below. In the signatures that it makes, r and s are written in full, 32 or 33
// bytes each, whatever zero bytes they begin with. In those that it checks, it
// takes r and s in that form as well as in the shortest one.
struct KeyService {
  std::function<SecKeyResult<SecKeyRef>(Bytes externalBytes, const ItemDictionary& attributes)>
      createWithData = {};
  std::function<SecKeyResult<SecKeyRef>(const ItemDictionary& attributes)> createRandomKey = {};
  std::function<SecKeyRef(const SecKeyRef& privateKey)> copyPublicKey = {};
  std::function<bool(const SecKeyRef& key, SecKeyOperationType operation,
                     SecKeyAlgorithm algorithm)>
      isAlgorithmSupported = {};
  std::function<SecKeyResult<Data>(const SecKeyRef& privateKey, SecKeyAlgorithm algorithm,
                                   Bytes msg)>
      createSignature = {};
  std::function<std::optional<SecKeyFailure>(const SecKeyRef& publicKey, SecKeyAlgorithm algorithm,
                                             const SecKeySignedMessage& check)>
      verifySignature = {};
  std::function<std::optional<Data>(const SecKeyRef& key)> copyExternalRepresentation = {};
};

// Imports a key of the class `kSecAttrKeyClass`: 65 bytes for a public key (04,
// X, Y), 97 for a private one (04, X, Y, K). The attributes also say
// `kSecAttrKeyType` and `kSecAttrKeySizeInBits`, of which only an elliptic
// curve of 256 bits is known here. A failure says what is wrong with the bytes.
TARVEX_EXPORT SecKeyResult<SecKeyRef> SecKeyCreateWithData(Bytes externalBytes,
                                                           const ItemDictionary& attributes);

// Makes a pair of that type and size and returns its private key; when
// `kSecAttrIsPermanent` is true both keys are stored as items with the
// attributes of the dictionary and of `kSecPrivateKeyAttrs` and
// `kSecPublicKeyAttrs` in it.
TARVEX_EXPORT SecKeyResult<SecKeyRef> SecKeyCreateRandomKey(const ItemDictionary& attributes);

// Returns the public key of a private key, or null.
TARVEX_EXPORT SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& privateKey);

// Returns whether `key` can do `operation` with `algorithm`.
TARVEX_EXPORT bool SecKeyIsAlgorithmSupported(const SecKeyRef& key, SecKeyOperationType operation,
                                              SecKeyAlgorithm algorithm);

// Returns the DER signature of `msg`, 70 to 72 bytes.
TARVEX_EXPORT SecKeyResult<Data> SecKeyCreateSignature(const SecKeyRef& privateKey,
                                                       SecKeyAlgorithm algorithm, Bytes msg);

// Returns nothing when the signature is the message's, otherwise the reason.
TARVEX_EXPORT std::optional<SecKeyFailure> SecKeyVerifySignature(const SecKeyRef& publicKey,
                                                                 SecKeyAlgorithm algorithm,
                                                                 const SecKeySignedMessage& check);

// Returns the bytes that `SecKeyCreateWithData` makes the key from, or nothing when
// the service keeps them to itself.
TARVEX_EXPORT std::optional<Data> SecKeyCopyExternalRepresentation(const SecKeyRef& key);

}  // namespace tarvex
