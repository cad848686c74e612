#include "TarvexCommon/Crypto/KeyFormats.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "TarvexCommon/Base/Base64Segment.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Crypto/KeyDER.h"
#include "TarvexCommon/Platform/Digest.h"
#include "TarvexCommon/Platform/P256.h"
#include "TarvexCommon/Platform/PEM.h"

namespace tarvex::Crypto::KeyFormats {
namespace {

using Case = KeyFormatError::Case;

constexpr std::size_t scalarSize = p256ScalarSize;
constexpr std::size_t pubKeySize = p256PointSize;
constexpr std::size_t privKeySize = pubKeySize + scalarSize;

constexpr const char* publicLabel = "PUBLIC KEY";
constexpr const char* privateLabel = "PRIVATE KEY";
constexpr const char* traditionalLabel = "EC PRIVATE KEY";
constexpr const char* parametersLabel = "EC PARAMETERS";

[[noreturn]] void refuse(Case errorCase, std::string description) {
  throw KeyFormatError(errorCase, std::move(description));
}

Data publicPoint(Bytes encoded) {
  auto point = p256Point(encoded);
  if (!point) refuse(Case::invalid, "the public key is not a point of P-256");
  return *std::move(point);
}

// Returns the point of a private scalar, to which `points` have to be equal.
Data publicPoint(Bytes scalar, const std::vector<Bytes>& points) {
  if (scalar.size() != scalarSize) refuse(Case::malformed, "the private scalar is not 32 bytes");
  auto point = p256PublicPoint(scalar);
  if (!point) refuse(Case::invalid, "the private key is zero or not below the order of P-256");
  for (const Bytes given : points) {
    if (p256Point(given) == point) continue;
    refuse(Case::invalid, "the private key does not match the public key");
  }
  return *std::move(point);
}

Key checkedKey(const KeyParts& parts) {
  if (!parts.scalar) return {.pubKey = publicPoint(parts.points.at(0))};
  Data point = publicPoint(*parts.scalar, parts.points);
  Data privKey = joined({point, *parts.scalar});
  return {.pubKey = std::move(point), .privKey = std::move(privKey)};
}

void checkPublic(Bytes pubKey) {
  if (pubKey.size() != pubKeySize) refuse(Case::invalid, "the public key is not 65 bytes");
  (void)publicPoint(pubKey);
}

void checkPrivate(Bytes privKey) {
  if (privKey.size() != privKeySize) refuse(Case::invalid, "the private key is not 97 bytes");
  (void)publicPoint(privKey.last(scalarSize), {privKey.first(pubKeySize)});
}

// Returns the block that is to be read as a key.
PEMBlock onlyBlock(Bytes text) {
  auto blocks = readPEM(text);
  if (!blocks) refuse(Case::malformed, "the PEM text is damaged");
  std::erase_if(*blocks, [](const PEMBlock& block) { return block.label == parametersLabel; });
  if (blocks->empty()) refuse(Case::notAKey, "the text has no PEM block with a key");
  if (blocks->size() > 1) refuse(Case::malformed, "the text has more than one PEM block");
  return std::move(blocks->front());
}

KeyParts readBlock(const PEMBlock& block) {
  if (block.isEncrypted || block.label == "ENCRYPTED PRIVATE KEY") {
    refuse(Case::encrypted, "the private key is encrypted; decrypt it first");
  }
  if (block.label == publicLabel) return readPublicKeyInfo(*block.bytes);
  if (block.label == privateLabel) return readPrivateKeyInfo(*block.bytes);
  if (block.label == traditionalLabel) return readECPrivateKey(*block.bytes);
  throw KeyFormatError::wrongBlock(block.label);
}

std::string quoted(std::string_view member) { return '"' + std::string(member) + "\" of the JWK"; }

Wiped<std::string> textOf(const KeyedDecodingContainer& members, std::string_view name) {
  try {
    return Wiped(members.decode<std::string>(name));
  } catch (const DecodingError&) {
    refuse(Case::malformed, quoted(name) + " is missing or not a text");
  }
}

// The text has to be just the one that is written for its bytes.
Wiped<Data> bytesOf(const KeyedDecodingContainer& members, std::string_view name) {
  const auto text = textOf(members, name);
  Wiped bytes(fromBase64Segment(*text).value_or(Data()));
  if (bytes->size() != scalarSize || *Wiped(toBase64Segment(*bytes)) != *text) {
    refuse(Case::malformed, quoted(name) + " is not 32 bytes in base64url without padding");
  }
  return bytes;
}

// RFC 7517, section 4. The decoder would take the first of them.
void refuseRepetitions(coding::JSONNode object) {
  std::set<std::string_view> keys;
  for (coding::JSONMembers members(object); members.hasNext(); members.advance()) {
    if (keys.insert(members.key()).second) continue;
    refuse(Case::malformed, "a member of the JWK is there twice");
  }
}

void checkType(const KeyedDecodingContainer& members) {
  const auto type = textOf(members, "kty");
  if (*type != "EC") throw KeyFormatError::wrongType(*type);
  const auto curve = textOf(members, "crv");
  if (*curve != "P-256") throw KeyFormatError::wrongCurve(*curve);
}

struct JWK {
  explicit JWK(const Decoder& decoder) {
    const auto members = decoder.container();
    refuseRepetitions(decoder.singleValueContainer().node());
    checkType(members);
    point = joined({"\x04", *bytesOf(members, "x"), *bytesOf(members, "y")});
    if (members.contains("d")) scalar = bytesOf(members, "d");
  }

  Data point;
  std::optional<Wiped<Data>> scalar;
};

JWK readJWK(Bytes text) {
  try {
    return JSONDecoder{.wipesWorkSpace = true}.decode<JWK>(text);
  } catch (const DecodingError&) {
    refuse(Case::malformed, "the JWK is not a JSON object");
  }
}

// A text that never moves while it grows: a secret leaves no copy behind.
std::string writeJWK(Bytes key) {
  constexpr std::size_t longest = 176;
  std::string text;
  text.reserve(longest);
  const auto add = [&text](std::string_view name, Bytes bytes) {
    text.append(",\"").append(name).append("\":\"");
    appendBase64Segment(text, bytes);
    text += '"';
  };
  text += R"({"crv":"P-256")";
  if (key.size() == privKeySize) add("d", key.last(scalarSize));
  text += R"(,"kty":"EC")";
  add("x", key.subspan(1, scalarSize));
  add("y", key.subspan(1 + scalarSize, scalarSize));
  text += '}';
  return text;
}

}  // namespace

Key readKey(Bytes text) {
  const auto start = text.text().find_first_not_of("\xEF\xBB\xBF \t\r\n");
  const Bytes content = text.subspan(std::min(start, text.size()));
  if (content.text().starts_with('{')) return keyFromJWK(content);
  if (content.text().find("-----BEGIN ") != std::string_view::npos) return keyFromPEM(content);
  refuse(Case::notAKey, "the text is neither PEM nor a JWK");
}

Key keyFromPEM(Bytes text) {
  const PEMBlock block = onlyBlock(text);
  return checkedKey(readBlock(block));
}

Key keyFromJWK(Bytes text) {
  const JWK jwk = readJWK(text);
  KeyParts parts{.points = {Bytes(jwk.point)}};
  if (jwk.scalar) parts.scalar = Bytes(**jwk.scalar);
  return checkedKey(parts);
}

std::string publicKeyToPEM(Bytes pubKey) {
  checkPublic(pubKey);
  return writePEM(publicLabel, publicKeyInfo(pubKey));
}

std::string privateKeyToPEM(Bytes privKey) {
  checkPrivate(privKey);
  return writePEM(privateLabel, *privateKeyInfo(privKey));
}

std::string publicKeyToJWK(Bytes pubKey) {
  checkPublic(pubKey);
  return writeJWK(pubKey);
}

std::string privateKeyToJWK(Bytes privKey) {
  checkPrivate(privKey);
  return writeJWK(privKey);
}

// The thumbprint is taken of the members of a public key in their order, which is how they
// are written.
std::string thumbprint(Bytes pubKey) { return toBase64Segment(sha256(publicKeyToJWK(pubKey))); }

}  // namespace tarvex::Crypto::KeyFormats
