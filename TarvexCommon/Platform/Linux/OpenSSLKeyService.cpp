#include "TarvexCommon/Platform/Linux/OpenSSLKeyService.h"

#include <openssl/crypto.h>
#include <openssl/ecdsa.h>

#include <algorithm>

#include "TarvexCommon/Platform/Digest.h"
#include "TarvexCommon/Platform/ItemService.h"
#include "TarvexCommon/Platform/Linux/OpenSSLKey.h"
#include "TarvexCommon/Platform/SignatureDER.h"

namespace tarvex {
namespace {

using Signature = OpenSSLOwner<ECDSA_SIG, ECDSA_SIG_free>;

static_assert(signatureComponentSize == p256ScalarSize);

const OpenSSLKey& opened(const SecKeyRef& key) { return static_cast<const OpenSSLKey&>(*key); }

bool isP256(const ItemDictionary& attributes) {
  const auto* type = find<std::string>(attributes, kSecAttrKeyType);
  const auto* size = find<std::int64_t>(attributes, kSecAttrKeySizeInBits);
  return type != nullptr && *type == kSecAttrKeyTypeECSECPrimeRandom && size != nullptr &&
         *size == 256;
}

SecKeyResult<SecKeyRef> createWithData(Bytes externalBytes, const ItemDictionary& attributes) {
  if (!isP256(attributes)) return SecKeyFailure{"only P-256 keys are supported"};
  const auto* keyClass = find<std::string>(attributes, kSecAttrKeyClass);
  if (keyClass != nullptr && *keyClass == kSecAttrKeyClassPublic) {
    return OpenSSLKey::importPublic(externalBytes);
  }
  if (keyClass != nullptr && *keyClass == kSecAttrKeyClassPrivate) {
    return OpenSSLKey::importPrivate(externalBytes);
  }
  return SecKeyFailure{"the key class is neither public nor private"};
}

// The item of one key of a pair: what `attributes` says of both, and what its
// dictionary under `own` says of this one.
ItemDictionary keyItem(const ItemDictionary& attributes, std::string_view own,
                       const OpenSSLKey& key) {
  ItemDictionary item;
  if (const auto* specific = find<ItemDictionary>(attributes, own)) item = *specific;
  item.insert(attributes.begin(), attributes.end());
  for (const char* name : {kSecPrivateKeyAttrs, kSecPublicKeyAttrs}) item.erase(name);
  const auto set = [&item](std::string_view name, ItemValue value) {
    item.insert_or_assign(std::string(name), std::move(value));
  };
  set(kSecClass, kSecClassKey);
  set(kSecAttrKeyClass, key.isPrivate() ? kSecAttrKeyClassPrivate : kSecAttrKeyClassPublic);
  set(kSecAttrApplicationLabel, toData(sha256(opened(key.publicKey()).externalBytes())));
  set(kSecValueData, key.externalBytes());
  return item;
}

SecKeyFailure itemFailure(OSStatus status) {
  const auto text = SecCopyErrorMessageString(status);
  return {text ? *text : "the item service answers with status " + std::to_string(status)};
}

// Finds what `keyItem` made, and only that.
ItemDictionary queryFor(ItemDictionary item) {
  std::erase_if(item, [](const auto& entry) {
    return entry.first != kSecClass && entry.first != kSecAttrKeyClass &&
           entry.first != kSecAttrApplicationTag && entry.first != kSecAttrApplicationLabel;
  });
  return item;
}

// Stores the public key first: who finds the private key finds the whole pair.
std::optional<SecKeyFailure> storePair(const ItemDictionary& attributes, const OpenSSLKey& key) {
  const auto publicItem = keyItem(attributes, kSecPublicKeyAttrs, opened(key.publicKey()));
  if (const OSStatus status = SecItemAdd(publicItem); status != errSecSuccess) {
    return itemFailure(status);
  }
  const auto privateItem = keyItem(attributes, kSecPrivateKeyAttrs, key);
  if (const OSStatus status = SecItemAdd(privateItem); status != errSecSuccess) {
    (void)SecItemDelete(queryFor(publicItem));
    return itemFailure(status);
  }
  return std::nullopt;
}

SecKeyResult<SecKeyRef> createRandomKey(const ItemDictionary& attributes) {
  if (!isP256(attributes)) return SecKeyFailure{"only P-256 keys are supported"};
  auto made = OpenSSLKey::generate();
  const auto* key = std::get_if<SecKeyRef>(&made);
  const bool* permanent = find<bool>(attributes, kSecAttrIsPermanent);
  if (key == nullptr || permanent == nullptr || !*permanent) return made;
  if (auto failure = storePair(attributes, opened(*key))) return std::move(*failure);
  return made;
}

SecKeyRef copyPublicKey(const SecKeyRef& key) {
  return key == nullptr ? nullptr : opened(key).publicKey();
}

bool isAlgorithmSupported(const SecKeyRef& key, SecKeyOperationType operation,
                          SecKeyAlgorithm algorithm) {
  return key != nullptr && algorithm == kSecKeyAlgorithmECDSASignatureMessageX962SHA256 &&
         opened(key).isPrivate() == (operation == kSecKeyOperationTypeSign);
}

SecKeyResult<Data> createSignature(const SecKeyRef& key, SecKeyAlgorithm algorithm, Bytes msg) {
  if (!isAlgorithmSupported(key, kSecKeyOperationTypeSign, algorithm)) {
    return SecKeyFailure{"the key cannot sign with this algorithm"};
  }
  const OpenSSLErrorMark mark;
  const auto digest = sha256(msg);
  const Signature signature(
      ECDSA_do_sign(digest.data(), static_cast<int>(digest.size()), opened(key).signer()));
  if (!signature) return SecKeyFailure{"the message could not be signed"};
  return signatureDER(toScalar(ECDSA_SIG_get0_r(signature.get())),
                      toScalar(ECDSA_SIG_get0_s(signature.get())));
}

// Takes an INTEGER off the front of `der`, with or without zero bytes in front of
// its value; nothing when it is no INTEGER or does not fit.
std::optional<Scalar> takeInteger(Bytes& der) {
  if (der.size() < 2 || der[0] != 0x02 || der[1] > der.size() - 2) return std::nullopt;
  Bytes field = der.subspan(2, der[1]);
  der = der.subspan(2 + field.size());
  while (!field.empty() && field[0] == 0) field = field.subspan(1);
  if (field.size() > p256ScalarSize) return std::nullopt;
  Scalar value{};
  std::copy_backward(field.begin(), field.end(), value.end());
  return value;
}

std::optional<SignatureNumbers> readSignature(Bytes der) {
  if (der.size() < 2 || der[0] != 0x30 || der[1] != der.size() - 2) return std::nullopt;
  der = der.subspan(2);
  const auto r = takeInteger(der);
  const auto s = r ? takeInteger(der) : std::nullopt;
  if (!s || !der.empty()) return std::nullopt;
  return SignatureNumbers{*r, *s};
}

// Works on r and s, not on the DER: OpenSSL refuses any that is not minimal.
std::optional<SecKeyFailure> verifySignature(const SecKeyRef& key, SecKeyAlgorithm algorithm,
                                             const SecKeySignedMessage& check) {
  if (!isAlgorithmSupported(key, kSecKeyOperationTypeVerify, algorithm)) {
    return SecKeyFailure{"the key cannot verify with this algorithm"};
  }
  const auto signature = readSignature(check.derSig);
  if (!signature) return SecKeyFailure{"the signature is not a DER sequence of two integers"};
  if (!signature->areInRange()) {
    return SecKeyFailure{"r or s is not between 1 and the order of P-256"};
  }
  if (opened(key).verifies(*signature, sha256(check.msg))) return std::nullopt;
  return SecKeyFailure{"the signature is not one of this message by this key"};
}

std::optional<Data> copyExternalRepresentation(const SecKeyRef& key) {
  if (key == nullptr) return std::nullopt;
  return opened(key).externalBytes();
}

}  // namespace

KeyService openSSLKeyService() {
  return {.createWithData = createWithData,
          .createRandomKey = createRandomKey,
          .copyPublicKey = copyPublicKey,
          .isAlgorithmSupported = isAlgorithmSupported,
          .createSignature = createSignature,
          .verifySignature = verifySignature,
          .copyExternalRepresentation = copyExternalRepresentation};
}

}  // namespace tarvex
