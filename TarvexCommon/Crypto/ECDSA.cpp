#include "TarvexCommon/Crypto/ECDSA.h"

#include <string>
#include <utility>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Common/StatusMessage.h"
#include "TarvexCommon/Platform/ItemService.h"
#include "TarvexCommon/Platform/SignatureDER.h"

namespace tarvex::Crypto {
namespace {

constexpr std::size_t coordinateSize = 32;
constexpr std::size_t signatureSize = 2 * signatureComponentSize;

template <typename Result>
Result valueOrThrow(SecKeyResult<Result> result) {
  if (auto* failure = std::get_if<SecKeyFailure>(&result)) {
    throw CryptoError::secInternalError(std::move(failure->localizedDescription));
  }
  return std::get<Result>(std::move(result));
}

// A service that neither makes a key nor says why not is a fault of the program.
SecKeyRef importKey(Bytes bytes, std::string_view keyClass, Curve curve) {
  return unwrap(
      valueOrThrow(SecKeyCreateWithData(bytes, {{kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom},
                                                {kSecAttrKeyClass, keyClass},
                                                {kSecAttrKeySizeInBits, keySize(curve)}})));
}

// 04, X, Y. A coordinate that is not base64 is a fault of the program.
Data externalBytes(const ECDSA::Coordinates& key) {
  const auto x = fromBase64(key.x.get());
  const auto y = fromBase64(key.y.get());
  Data bytes = {0x04};
  bytes.insert(bytes.end(), unwrap(x).begin(), unwrap(x).end());
  bytes.insert(bytes.end(), unwrap(y).begin(), unwrap(y).end());
  return bytes;
}

Data tag(std::string_view label, std::string_view keyName) {
  return toData(Bytes(std::string(label) + std::string(keyName)));
}

Data privateTag(std::string_view label) { return tag(label, ":private"); }
Data publicTag(std::string_view label) { return tag(label, ":public"); }

ItemDictionary queryForPrivateKey(std::string_view label) {
  static const auto& privateKeyQuery =
      *new ItemDictionary{{kSecClass, kSecClassKey},
                          {kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom},
                          {kSecAttrKeyClass, kSecAttrKeyClassPrivate},
                          {kSecReturnRef, true}};
  ItemDictionary query = privateKeyQuery;
  query.emplace(kSecAttrApplicationTag, privateTag(label));
  return query;
}

SecKeyRef findPrivateKey(std::string_view label) {
  ItemValue found;
  const OSStatus status = SecItemCopyMatching(queryForPrivateKey(label), &found);
  if (status != errSecSuccess) throw CryptoError::secInternalError(statusMessage(status));
  const auto* key = found.get<SecKeyRef>();
  require(key != nullptr || found.isNothing());
  return unwrap(key == nullptr ? SecKeyRef() : *key);
}

}  // namespace

std::uint32_t keySize(Curve curve) {
  switch (curve) {
    case Curve::p256: return 256;
  }
  fatalError("Unknown curve");
}

ECDSA::ECDSA(const ExternalKeys& keys)
    : publicKey_(importKey(keys.pubKey.get(), kSecAttrKeyClassPublic, keys.curve)),
      hash_(keys.hash),
      curve_(keys.curve),
      signingAlgo_(keys.algo) {
  if (keys.privKey) privateKey_ = importKey(*keys.privKey, kSecAttrKeyClassPrivate, keys.curve);
}

ECDSA::ECDSA(const Coordinates& key) : ECDSA(ExternalKeys{.pubKey = externalBytes(key)}) {}

ECDSA::ECDSA(std::string_view label, Hash hash, Curve curve, SecKeyAlgorithm algo)
    : privateKey_(findPrivateKey(label)),
      publicKey_(SecKeyCopyPublicKey(privateKey_)),
      hash_(hash),
      curve_(curve),
      signingAlgo_(algo) {
  if (publicKey_ == nullptr) throw CryptoError::missingPublicKey();
}

void ECDSA::createKeyPair(std::string_view label) {
  if (SecItemCopyMatching(queryForPrivateKey(label)) == errSecSuccess) return;
  const auto taggedWith = [](Data applicationTag) {
    return ItemDictionary{{kSecAttrApplicationTag, std::move(applicationTag)}};
  };
  (void)unwrap(valueOrThrow(SecKeyCreateRandomKey({
      {kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom},
      {kSecAttrKeySizeInBits, keySize(Curve::p256)},
      {kSecAttrLabel, label},
      {kSecAttrIsPermanent, true},
      {kSecAttrIsExtractable, true},
      {kSecPrivateKeyAttrs, taggedWith(privateTag(label))},
      {kSecPublicKeyAttrs, taggedWith(publicTag(label))},
  })));
}

Data ECDSA::createSignature(Bytes msg) const {
  if (privateKey_ == nullptr ||
      !SecKeyIsAlgorithmSupported(privateKey_, kSecKeyOperationTypeSign, signingAlgo_)) {
    throw CryptoError::algoNotSupported();
  }
  auto [signature, s] =
      DERToRaw(valueOrThrow(SecKeyCreateSignature(privateKey_, signingAlgo_, msg)));
  signature.insert(signature.end(), s.begin(), s.end());
  require(signature.size() == signatureSize);
  return std::move(signature);
}

bool ECDSA::verifySignature(const Verification& check) const {
  if (publicKey_ == nullptr ||
      !SecKeyIsAlgorithmSupported(publicKey_, kSecKeyOperationTypeVerify, signingAlgo_)) {
    throw CryptoError::algoNotSupported();
  }
  const Bytes signature = check.signature.get();
  if (signature.size() != signatureSize) throw CryptoError::invalidSigLength();
  const Data derSig = rawToDER(
      {.r = signature.first(signatureComponentSize), .s = signature.last(signatureComponentSize)});
  auto failure =
      SecKeyVerifySignature(publicKey_, signingAlgo_, {.msg = check.msg.get(), .derSig = derSig});
  if (failure) throw CryptoError::secInternalError(std::move(failure->localizedDescription));
  return true;
}

ECDSA::PublicPoint ECDSA::coordinates() const {
  const auto bytes = SecKeyCopyExternalRepresentation(publicKey_);
  if (!bytes || bytes->size() != 1 + 2 * coordinateSize) throw CryptoError::missingPublicKey();
  const Bytes point(*bytes);
  return {toBase64(point.subspan(1, coordinateSize)), toBase64(point.last(coordinateSize))};
}

}  // namespace tarvex::Crypto
