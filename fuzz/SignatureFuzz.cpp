// Any bytes as a DER signature, and as the signature of a message of which
// the only right ones are known.
#include "TarvexCommon/Base/FatalError.h"
#include "tests/Support/ExampleKey.h"

namespace tarvex {
namespace {

using Crypto::ECDSA;

// Whether the fields have the lengths for which `DERToRaw` does not stop the process.
bool hasLengths(Bytes der) {
  const auto isLength = [](std::uint8_t length) { return length == 32 || length == 33; };
  if (der.size() < 4 || !isLength(der[3])) return false;
  const std::size_t atS = der[3] + 5u;
  if (der.size() <= atS || !isLength(der[atS])) return false;
  return der.size() > atS + der[atS] && der[1] == der[3] + der[atS] + 4;
}

void checkDER(Bytes der) {
  if (der.empty() || (der[0] == 0x30 && !hasLengths(der))) return;
  try {
    const auto raw = ECDSA::DERToRaw(der);
    require(der[0] == 0x30 && raw.r.size() == 32 && raw.s.size() == 32);
    const Data written = ECDSA::rawToDER({.r = Bytes(raw.r), .s = Bytes(raw.s)});
    const auto again = ECDSA::DERToRaw(written);
    require(again.r == raw.r && again.s == raw.s);
  } catch (const CryptoError& error) {
    require(der[0] != 0x30 && error == CryptoError::invalidDerSig());
  }
}

// With s, n - s is right too.
bool isRight(Bytes signature) {
  static const std::string t = "0834e36ad29a83bf2bc9385e491d6099c8fdf9d1ed67aa7ea5f51f93782857a9";
  const std::string digits = toHex(signature);
  return digits == example::r + example::s || digits == example::r + t;
}

void checkVerification(Bytes signature) {
  static const ECDSA key = example::publicOnly();
  try {
    require(key.verifySignature({.msg = "sample", .signature = signature}));
    require(isRight(signature));
  } catch (const CryptoError& error) {
    require(!isRight(signature));
    require((error == CryptoError::invalidSigLength()) == (signature.size() != 64));
  }
}

}  // namespace
}  // namespace tarvex

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tarvex::Bytes bytes(data, size);
  tarvex::checkDER(bytes);
  tarvex::checkVerification(bytes);
  return 0;
}
