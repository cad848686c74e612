#include "TarvexCommon/Crypto/KeyDER.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Crypto/KeyFormatError.h"
#include "TarvexCommon/Platform/P256.h"

namespace tarvex::Crypto {
namespace {

using namespace std::string_view_literals;

// SubjectPublicKeyInfo as far as the point. The middle is the AlgorithmIdentifier, a sequence
// of id-ecPublicKey and the name of the curve.
constexpr auto beforePoint =
    "\x30\x59"
    "\x30\x13\x06\x07\x2a\x86\x48\xce\x3d\x02\x01\x06\x08\x2a\x86\x48\xce\x3d\x03\x01\x07"
    "\x03\x42\x00"sv;
constexpr auto algorithm = beforePoint.substr(2, 21);
constexpr auto ecPublicKey = algorithm.substr(2, 9);
constexpr auto p256 = algorithm.substr(11);

struct KnownName {
  std::string_view identifier;
  std::string_view name;
};

constexpr KnownName types[] = {
    {"\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x01\x01"sv, "RSA"},
    {"\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x01\x0a"sv, "RSA-PSS"},
    {"\x06\x07\x2a\x86\x48\xce\x38\x04\x01"sv, "DSA"},
    {"\x06\x03\x2b\x65\x6e"sv, "X25519"},
    {"\x06\x03\x2b\x65\x6f"sv, "X448"},
    {"\x06\x03\x2b\x65\x70"sv, "Ed25519"},
    {"\x06\x03\x2b\x65\x71"sv, "Ed448"},
};

constexpr KnownName curves[] = {
    {"\x06\x05\x2b\x81\x04\x00\x21"sv, "P-224"},
    {"\x06\x05\x2b\x81\x04\x00\x22"sv, "P-384"},
    {"\x06\x05\x2b\x81\x04\x00\x23"sv, "P-521"},
    {"\x06\x05\x2b\x81\x04\x00\x0a"sv, "secp256k1"},
    {"\x06\x09\x2b\x24\x03\x03\x02\x08\x01\x01\x07"sv, "brainpoolP256r1"},
};

// Returns the name of the identifier that the bytes begin with, or nothing.
std::string_view nameIn(std::span<const KnownName> names, Bytes bytes) {
  const auto known = std::find_if(names.begin(), names.end(), [bytes](const KnownName& name) {
    return bytes.text().starts_with(name.identifier);
  });
  return known == names.end() ? std::string_view() : known->name;
}

[[noreturn]] void refuse() {
  throw KeyFormatError(KeyFormatError::Case::malformed, "the DER in the PEM text is not a key's");
}

void demand(bool isRight) {
  if (!isRight) refuse();
}

enum Tag : std::uint8_t {
  integer = 0x02,
  bitString = 0x03,
  octetString = 0x04,
  objectIdentifier = 0x06,
  sequence = 0x30,
  constructed0 = 0xa0,
  constructed1 = 0xa1,
  primitive1 = 0x81,
};

// Takes the elements of DER (X.690) off its front, one after the other.
class Reader {
 public:
  explicit Reader(Bytes der) noexcept : rest_(der) {}

  bool isAt(Tag tag) const { return !rest_.empty() && rest_[0] == tag; }

  Bytes take(Tag tag) {
    demand(takeByte() == tag);
    return takeBytes(takeLength());
  }

  void finish() const { demand(rest_.empty()); }

 private:
  Bytes takeBytes(std::size_t count) {
    demand(count <= rest_.size());
    const Bytes taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }

  std::uint8_t takeByte() { return takeBytes(1)[0]; }

  // One byte up to 127, otherwise 81 and one more, or 82 and two.
  std::size_t takeLength() {
    const std::size_t first = takeByte();
    if (first < 0x80) return first;
    demand(first == 0x81 || first == 0x82);
    std::size_t length = takeByte();
    if (first == 0x82) length = length << 8 | takeByte();
    demand(length >= (first == 0x81 ? 0x80 : 0x100));
    return length;
  }

  Bytes rest_;
};

// Returns a reader of the sequence that is all of `der`.
Reader readerOfSequence(Bytes der) {
  Reader whole(der);
  const Reader inner(whole.take(sequence));
  whole.finish();
  return inner;
}

void checkCurve(Bytes parameters) {
  if (parameters.text() == p256) return;
  const bool isNamed = parameters.empty() || parameters[0] == objectIdentifier;
  if (isNamed) throw KeyFormatError::wrongCurve(nameIn(curves, parameters));
  throw KeyFormatError(KeyFormatError::Case::wrongCurve,
                       "the curve is given by its parameters, not by its name; openssl ec "
                       "-param_enc named_curve names it");
}

void checkAlgorithm(Bytes identifier) {
  if (!identifier.text().starts_with(ecPublicKey)) {
    throw KeyFormatError::wrongType(nameIn(types, identifier));
  }
  checkCurve(identifier.subspan(ecPublicKey.size()));
}

// Returns the whole bytes of a bit string.
Bytes wholeBytes(Bytes bits) {
  demand(!bits.empty() && bits[0] == 0);
  return bits.subspan(1);
}

// Where the curve is left out it is `otherwise`.
KeyParts readScalarAndPoint(Bytes der, Bytes otherwise) {
  Reader key = readerOfSequence(der);
  demand(key.take(integer).text() == "\x01"sv);
  KeyParts parts{.scalar = key.take(octetString)};
  checkCurve(key.isAt(constructed0) ? key.take(constructed0) : otherwise);
  if (key.isAt(constructed1)) {
    Reader point(key.take(constructed1));
    parts.points.push_back(wholeBytes(point.take(bitString)));
    point.finish();
  }
  key.finish();
  return parts;
}

}  // namespace

KeyParts readPublicKeyInfo(Bytes der) {
  Reader key = readerOfSequence(der);
  checkAlgorithm(key.take(sequence));
  KeyParts parts{.points = {wholeBytes(key.take(bitString))}};
  key.finish();
  return parts;
}

KeyParts readPrivateKeyInfo(Bytes der) {
  Reader key = readerOfSequence(der);
  const std::string_view version = key.take(integer).text();
  demand(version == "\0"sv || version == "\1"sv);
  checkAlgorithm(key.take(sequence));
  KeyParts parts = readScalarAndPoint(key.take(octetString), p256);
  if (key.isAt(constructed0)) key.take(constructed0);  // attributes
  if (key.isAt(primitive1)) parts.points.push_back(wholeBytes(key.take(primitive1)));
  key.finish();
  return parts;
}

KeyParts readECPrivateKey(Bytes der) { return readScalarAndPoint(der, std::string_view()); }

Data publicKeyInfo(Bytes pubKey) { return joined({beforePoint, pubKey}); }

Wiped<Data> privateKeyInfo(Bytes privKey) {
  const Bytes point = privKey.first(p256PointSize);
  const Bytes scalar = privKey.last(p256ScalarSize);
  return Wiped(
      joined({"\x30\x81\x87\x02\x01\0"sv, algorithm, "\x04\x6d\x30\x6b\x02\x01\x01\x04\x20"sv,
              scalar, "\xa1\x44\x03\x42\0"sv, point}));
}

Data joined(std::initializer_list<Bytes> pieces) {
  std::size_t size = 0;
  for (const Bytes piece : pieces) size += piece.size();
  Data bytes;
  bytes.reserve(size);
  for (const Bytes piece : pieces) bytes.insert(bytes.end(), piece.begin(), piece.end());
  return bytes;
}

}  // namespace tarvex::Crypto
