#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Crypto/ECDSA.h"
#include "TarvexCommon/Platform/SignatureDER.h"

namespace tarvex::Crypto {
namespace {

constexpr std::uint8_t sequenceTag = 0x30;

std::uint8_t byteAt(Bytes bytes, std::size_t index) {
  require(index < bytes.size());
  return bytes[index];
}

// Returns the 32 bytes of the integer of which the length stands at `lengthIndex`.
// Of 33 bytes the first is dropped unseen.
Bytes componentAt(Bytes der, std::size_t lengthIndex) {
  const std::size_t length = byteAt(der, lengthIndex);
  require(length == signatureComponentSize || length == signatureComponentSize + 1);
  require(der.size() - lengthIndex - 1 >= length);
  return der.subspan(lengthIndex + 1, length).last(signatureComponentSize);
}

}  // namespace

Data ECDSA::rawToDER(const RawComponents& signature) {
  const Bytes r = signature.r.get();
  const Bytes s = signature.s.get();
  if (r.size() != s.size() || r.size() != signatureComponentSize) {
    throw CryptoError::invalidRSLength();
  }
  return signatureDER(r, s);
}

ECDSA::RawSignature ECDSA::DERToRaw(Bytes derSig) {
  constexpr std::size_t lengthOfR = 3;
  if (byteAt(derSig, 0) != sequenceTag) throw CryptoError::invalidDerSig();
  const Bytes r = componentAt(derSig, lengthOfR);
  const std::size_t lengthOfS = lengthOfR + derSig[lengthOfR] + 2;
  const Bytes s = componentAt(derSig, lengthOfS);
  require(derSig[1] == derSig[lengthOfR] + derSig[lengthOfS] + 4);
  return {toData(r), toData(s)};
}

}  // namespace tarvex::Crypto
