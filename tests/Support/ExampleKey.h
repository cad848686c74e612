// The P-256 key of RFC 6979, appendix A.2.5, and its signature of "sample".
#pragma once

#include <optional>
#include <string>

#include "TarvexCommon/Crypto/ECDSA.h"
#include "tests/Support/Hex.h"

namespace tarvex::example {

inline const std::string x = "60fed4ba255a9d31c961eb74c6356d68c049b8923b61fa6ce669622e60f29fb6";
inline const std::string y = "7903fe1008b8bc99a41ae9e95628bc64f2f1b20c2d7e9f5177a3c294d4462299";
inline const std::string k = "c9afa9d845ba75166b5c215767b1d6934e50c3db36e89b127b8a622b120f6721";
inline const std::string publicKey = "04" + x + y;
inline const std::string privateKey = publicKey + k;

inline const std::string r = "efd48b2aacb6a8fd1140dd9cd45e81d69d2c877b56aaf991c34d0ea84eaf3716";
inline const std::string s = "f7cb1c942d657c41d436c7a1b6e29f65f3e900dbb9aff4064dc4ab2f843acda8";

// Imports keys in hexadecimal, with the form byte that they begin with.
inline Crypto::ECDSA imported(
    const std::string& pub, const std::optional<std::string>& priv = {},
    SecKeyAlgorithm algo = kSecKeyAlgorithmECDSASignatureMessageX962SHA256) {
  const Data pubKey = fromHex(pub);
  if (!priv) return Crypto::ECDSA({.pubKey = pubKey, .algo = algo});
  const Data privKey = fromHex(*priv);
  return Crypto::ECDSA({.pubKey = pubKey, .privKey = privKey, .algo = algo});
}

inline Crypto::ECDSA pair() { return imported(publicKey, privateKey); }

inline Crypto::ECDSA publicOnly() {
  return Crypto::ECDSA({.x = "YP7UuiVanTHJYet0xjVtaMBJuJI7Yfps5mliLmDyn7Y=",
                        .y = "eQP+EAi4vJmkGunpVii8ZPLxsgwtfp9Rd6PClNRGIpk="});
}

// The pair with this label.
inline Crypto::ECDSA loaded(std::string_view label) {
  return {label, Crypto::Hash::sha256, Crypto::Curve::p256,
          kSecKeyAlgorithmECDSASignatureMessageX962SHA256};
}

}  // namespace tarvex::example
