// Any text as a key, and any bytes as the DER of each kind of PEM block. What is read must
// be a key that can be imported, and must be written and read again as the same.
#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Crypto/ECDSA.h"
#include "TarvexCommon/Crypto/KeyFormats.h"
#include "TarvexCommon/Platform/PEM.h"

namespace tarvex {
namespace {

namespace KeyFormats = Crypto::KeyFormats;

void checkKey(const KeyFormats::Key& key) {
  const Crypto::ECDSA imported({.pubKey = key.pubKey, .privKey = key.privKey});
  for (const auto& text :
       {KeyFormats::publicKeyToPEM(key.pubKey), KeyFormats::publicKeyToJWK(key.pubKey)}) {
    const auto again = KeyFormats::readKey(text);
    require(again.pubKey == key.pubKey && !again.privKey);
  }
  require(KeyFormats::thumbprint(key.pubKey).size() == 43);
  if (!key.privKey) return;
  for (const auto& text :
       {KeyFormats::privateKeyToPEM(*key.privKey), KeyFormats::privateKeyToJWK(*key.privKey)}) {
    require(KeyFormats::readKey(text).privKey == key.privKey);
  }
}

void check(Bytes text) {
  std::optional<KeyFormats::Key> key;
  try {
    key = KeyFormats::readKey(text);
  } catch (const KeyFormatError&) {
    return;
  }
  checkKey(*key);
}

}  // namespace
}  // namespace tarvex

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tarvex::Bytes bytes(data, size);
  tarvex::check(bytes);
  if (bytes.empty()) return 0;
  for (const char* label : {"PUBLIC KEY", "PRIVATE KEY", "EC PRIVATE KEY"}) {
    tarvex::check(tarvex::writePEM(label, bytes));
  }
  return 0;
}
