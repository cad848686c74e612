#include "TarvexCommon/JWT/JWTError.h"

#include <array>

namespace tarvex {
namespace {

constexpr std::array<LocalizedText, 5> texts = {
    LocalizedText("JWT_SEG_COUNT", "JWT has wrong number of segments",
                  "JWT has wrong number of segments"),
    LocalizedText("JWT_DECODE_FAILURE", "JWT decoding has failed", "JWT decoding has failed"),
    // TRANSLATORS: the claims or the header of the token are invalid.
    LocalizedText("JWT_ENCODE_FAILURE", "JWT encoding has failed.",
                  "The token can't be encoded because the claims or headers are invalid."),
    LocalizedText("JWT_SIG_VERIFY", "signature verification failed",
                  "signature verification failed"),
    LocalizedText("JWT_CLAIMS_EXPIRED", "the claims have expired", "the claims have expired"),
};

}  // namespace

JWTError::JWTError(Case errorCase)
    : case_(errorCase), text_(texts[static_cast<std::size_t>(errorCase)]) {}

JWTError JWTError::invalidSegmentCount() { return JWTError(Case::invalidSegmentCount); }
JWTError JWTError::decodeFailed() { return JWTError(Case::decodeFailed); }
JWTError JWTError::encodeFailed() { return JWTError(Case::encodeFailed); }
JWTError JWTError::verificationFailed() { return JWTError(Case::verificationFailed); }
JWTError JWTError::claimsExpired() { return JWTError(Case::claimsExpired); }

}  // namespace tarvex
