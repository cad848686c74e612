#include "TarvexCommon/JWT/JWT.h"

#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "TarvexCommon/Base/Base64Segment.h"
#include "TarvexCommon/Base/Text.h"
#include "TarvexCommon/Base/ThreadSpare.h"
#include "TarvexCommon/Common/DefaultLog.h"
#include "TarvexCommon/Platform/Services.h"

namespace tarvex {
namespace {

constexpr std::string_view headerKey = "header";
constexpr std::string_view claimsKey = "claims";

// The segments of a token, in the token's text.
struct Segments {
  std::string_view header;
  std::string_view claims;
  std::optional<std::string_view> signature;
  std::string_view signingInput;  // header, ".", claims as received
};

// Splits at every "."; nothing unless there are two or three segments.
std::optional<Segments> split(std::string_view text) {
  const std::size_t first = text.find('.');
  if (first == std::string_view::npos) return std::nullopt;
  const std::size_t second = text.find('.', first + 1);
  const std::string_view header = text.substr(0, first);
  if (second == std::string_view::npos)
    return Segments{header, text.substr(first + 1), std::nullopt, text};
  const std::string_view signature = text.substr(second + 1);
  if (signature.find('.') != std::string_view::npos) return std::nullopt;
  const std::string_view claims = text.substr(first + 1, second - first - 1);
  return Segments{header, claims, signature, text.substr(0, second)};
}

void logRefusal(const std::string& reason) { defaultLog().log("token verify failed: " + reason); }

bool isSigned(const Segments& token, const Crypto::ECDSA& ec) {
  if (!token.signature || !isUTF8(token.signingInput)) return false;
  const auto signature = fromBase64Segment(*token.signature);
  if (!signature) return false;
  try {
    return ec.verifySignature({.msg = token.signingInput, .signature = *signature});
  } catch (const CryptoError& error) {
    logRefusal(error.errorDescription());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {  // this and the next: a host's own key service
    logRefusal(error.what());
  } catch (...) {
    logRefusal("unknown error");
  }
  return false;
}

// Returns the bytes of a segment, with room for the JSON parser's padding.
Data decoded(std::string_view segment) {
  auto bytes = fromBase64Segment(segment, JSONDecoder::spareCapacity);
  if (!bytes) throw JWTError::decodeFailed();
  return std::move(*bytes);
}

// A header as it was received and read. The tokens of an issuer have one and the same, so that each
// thread keeps its last one for its next token.
struct ReadHeader {
  std::string segment;
  JWTHeader header;
};
using LastHeader = ThreadSpare<std::unique_ptr<ReadHeader>>;
constexpr std::size_t longestKept = 1024;

std::unique_ptr<ReadHeader> newHeader(std::string_view segment, JWTHeader header) {
  return std::make_unique<ReadHeader>(ReadHeader{std::string(segment), std::move(header)});
}

const JSONDecoder& segmentDecoder() {
  using Dates = JSONDecoder::DateDecodingStrategy;
  static const auto& decoder = *new JSONDecoder{.dateDecodingStrategy = Dates::secondsSince1970()};
  return decoder;
}

// Both segments are decoded before the JSON of either is read.
JWT read(const Segments& token) {
  auto last = LastHeader::take();
  const bool isNew = last == nullptr || last->segment != token.header;
  Data headerJSON = isNew ? decoded(token.header) : Data();
  Data claimsJSON = decoded(token.claims);
  const JSONDecoder& decoder = segmentDecoder();
  if (isNew) last = newHeader(token.header, decoder.decode<JWTHeader>(std::move(headerJSON)));
  JWTHeader header = last->header;
  if (last->segment.size() <= longestKept) LastHeader::keep(std::move(last));
  return {std::move(header), decoder.decode<JWTClaims>(std::move(claimsJSON))};
}

}  // namespace

JWT::JWT(JWTHeader tokenHeader, JWTClaims tokenClaims)
    : header(std::move(tokenHeader)), claims(std::move(tokenClaims)) {}

JWT::JWT(const Decoder& decoder)
    : header(decoder.container().decode<JWTHeader>(headerKey)),
      claims(decoder.container().decode<JWTClaims>(claimsKey)) {}

JWT JWT::fromBase64url(const Compact& token) {
  const auto segments = split(token.base64url.get());
  if (!segments) throw JWTError::invalidSegmentCount();
  if (token.verifySignature.get()) {
    const Crypto::ECDSA* ec = token.ec.get();
    if (ec == nullptr || !isSigned(*segments, *ec)) throw JWTError::verificationFailed();
  }
  return read(*segments);
}

std::string JWT::exportBase64url(const Crypto::ECDSA& ec) const {
  const std::string signingInput = header.encode() + '.' + claims.encode();
  return signingInput + '.' + toSegment(ec.createSignature(signingInput));
}

void JWT::validateClaims() const {
  if (claims.exp && *claims.exp < now()) throw JWTError::claimsExpired();
}

void JWT::encode(Encoder& encoder) const {
  auto members = encoder.container();
  members.encode(headerKey, header);
  members.encode(claimsKey, claims);
}

std::string JWT::encode() const { return encodeSegment(*this); }

}  // namespace tarvex
