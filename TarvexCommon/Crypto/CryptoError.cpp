#include "TarvexCommon/Crypto/CryptoError.h"

#include <array>
#include <utility>

namespace tarvex {
namespace {

constexpr std::array<LocalizedText, 6> texts = {
    // TRANSLATORS: %@ is the system's own description of the failure.
    LocalizedText("CRYPTO_SEC_INTERNAL", "Security framework internal error: %@",
                  "Security framework error"),
    LocalizedText("CRYPTO_RS_LENGTH", "r or s have incorrect length",
                  "r or s have incorrect length"),
    LocalizedText("CRYPTO_SIG_LENGTH", "signature length is incorrect",
                  "signature length is incorrect"),
    LocalizedText("CRYPTO_DER_SIG", "invalid DER signature", "invalid DER signature"),
    LocalizedText("CRYPTO_NO_PUBKEY", "public key is missing", "public key is missing"),
    LocalizedText("CRYPTO_NOT_SUPPORTED", "the algorithm is not supported",
                  "the algorithm is not supported"),
};

const LocalizedText& textOf(CryptoError::Case errorCase) {
  return texts[static_cast<std::size_t>(errorCase)];
}

}  // namespace

CryptoError::CryptoError(Case errorCase) : case_(errorCase), text_(textOf(errorCase)) {}

CryptoError::CryptoError(Case errorCase, std::string payload)
    : case_(errorCase), text_(textOf(errorCase), std::move(payload)) {}

CryptoError CryptoError::secInternalError(std::string message) {
  return {Case::secInternalError, std::move(message)};
}

CryptoError CryptoError::invalidRSLength() { return CryptoError(Case::invalidRSLength); }
CryptoError CryptoError::invalidSigLength() { return CryptoError(Case::invalidSigLength); }
CryptoError CryptoError::invalidDerSig() { return CryptoError(Case::invalidDerSig); }
CryptoError CryptoError::missingPublicKey() { return CryptoError(Case::missingPublicKey); }
CryptoError CryptoError::algoNotSupported() { return CryptoError(Case::algoNotSupported); }

}  // namespace tarvex
