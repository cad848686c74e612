// ECDSA P-256 key pairs held by the key service: made, loaded and imported, and
// used to sign and to verify.
//
// A signature is 64 bytes, r then s, 32 big-endian bytes each. No other form
// crosses this header except through `rawToDER` and `DERToRaw`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/Required.h"
#include "TarvexCommon/Crypto/CryptoError.h"
#include "TarvexCommon/Crypto/Digest.h"
#include "TarvexCommon/Platform/KeyService.h"

namespace tarvex::Crypto {

// The elliptic curves.
enum class Curve { p256 };

// Returns the key size in bits: 256 for P-256.
TARVEX_EXPORT std::uint32_t keySize(Curve curve);

// A handle on a key pair. Copies share the keys, which are released with the last
// copy. A handle without a private key only verifies.
//
// Every operation throws `CryptoError` unless its comment says otherwise.
class TARVEX_EXPORT ECDSA {
 public:
  // Keys in their external form, X9.63: 04, X, Y (65 bytes) for the public key;
  // 04, X, Y, K (97 bytes) for the private one. The two are not compared. What
  // is signed and how is said by `algo` alone; `hash` is kept for the caller.
  struct ExternalKeys {
    Required<Bytes> pubKey;
    std::optional<Bytes> privKey = std::nullopt;
    Hash hash = Hash::sha256;
    Curve curve = Curve::p256;
    SecKeyAlgorithm algo = kSecKeyAlgorithmECDSASignatureMessageX962SHA256;
  };

  // The affine coordinates of a public key, as standard padded base64.
  struct Coordinates {
    Required<std::string_view> x;
    Required<std::string_view> y;
  };

  // Imports keys. Throws `secInternalError` with what is wrong with the public key,
  // then with the private one.
  explicit ECDSA(const ExternalKeys& keys);

  // Imports a public key. Stops the process when `x` or `y` is not base64. Throws
  // `secInternalError`, also for coordinates of the wrong length.
  explicit ECDSA(const Coordinates& key);

  // Loads the pair that `createKeyPair` stored under `label`. Throws
  // `secInternalError` with the item service's text when it is not found, then
  // `missingPublicKey`. Stops the process when what the item service finds is
  // no key.
  ECDSA(std::string_view label, Hash hash, Curve curve, SecKeyAlgorithm algo);

  // Makes a P-256 pair and stores it under `label`, unless the item service
  // finds one there. Where two callers make a pair under one label at once both
  // are stored, and the older one is found from then on. Throws
  // `secInternalError`.
  static void createKeyPair(std::string_view label);

  // Returns the signature of `msg`, 64 bytes. Throws `algoNotSupported` (also
  // when there is no private key), `secInternalError`, `invalidDerSig`. Stops
  // the process when the key service returns r or s in fewer than 32 bytes.
  Data createSignature(Bytes msg) const;

  struct Verification {
    Required<Bytes> msg;
    Required<Bytes> signature;  // 64 bytes
  };

  // Returns true, or throws: `algoNotSupported`, `invalidSigLength`, or, for a
  // signature that does not match, `secInternalError`. It never returns false.
  bool verifySignature(const Verification& check) const;

  struct RawSignature {
    Data r;  // 32 bytes
    Data s;  // 32 bytes
  };
  struct RawComponents {
    Required<Bytes> r;
    Required<Bytes> s;
  };

  // Returns the X9.62 form of a signature, SEQUENCE { INTEGER r, INTEGER s }, 70 to
  // 72 bytes. Zero bytes in front of r and s stay, so that it is not always minimal
  // DER. Throws `invalidRSLength` unless both are 32 bytes.
  static Data rawToDER(const RawComponents& signature);

  // Returns r and s of an X9.62 signature. Throws `invalidDerSig` when it does not
  // begin with 30. Stops the process when it ends too early, when r or s is not 32
  // or 33 bytes long, or when the sequence has another length than its parts. The
  // integer tags, the first of 33 bytes and what follows s are not looked at.
  static RawSignature DERToRaw(Bytes derSig);

  // Returns the affine coordinates of the public key, as `Coordinates` takes
  // them. Throws `missingPublicKey` when the key service does not give them
  // out.
  struct PublicPoint {
    std::string x;
    std::string y;
  };
  PublicPoint coordinates() const;

  const SecKeyRef& privateKey() const noexcept { return privateKey_; }  // null: none
  const SecKeyRef& publicKey() const noexcept { return publicKey_; }
  Hash hash() const noexcept { return hash_; }
  Curve curve() const noexcept { return curve_; }
  SecKeyAlgorithm signingAlgo() const noexcept { return signingAlgo_; }

 private:
  SecKeyRef privateKey_;
  SecKeyRef publicKey_;
  Hash hash_;
  Curve curve_;
  SecKeyAlgorithm signingAlgo_;
};

}  // namespace tarvex::Crypto
