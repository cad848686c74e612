#include "Keys.h"

#include "TarvexCommon/Crypto/KeyFormats.h"
#include "Terminal.h"
#include "Tool.h"

namespace tool {

using tarvex::Crypto::ECDSA;

ECDSA keyPair(const std::string& label) {
  try {
    return ECDSA(label, tarvex::Crypto::Hash::sha256, tarvex::Crypto::Curve::p256,
                 tarvex::kSecKeyAlgorithmECDSASignatureMessageX962SHA256);
  } catch (const tarvex::CryptoError& error) {
    if (error.message() == tarvex::SecCopyErrorMessageString(tarvex::errSecItemNotFound)) {
      throw NotFound("there is no key pair \"" + label + '"');
    }
    throw Failure(error.what());
  }
}

ECDSA publicKeyOfFile(const std::string& path) {
  try {
    return ECDSA({.pubKey = tarvex::Crypto::KeyFormats::readKey(readFile(path)).pubKey});
  } catch (const tarvex::KeyFormatError& error) {
    throw BadInput(path + ": " + error.what());
  }
}

}  // namespace tool
