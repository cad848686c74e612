#include "TarvexCommon/JWT/JWTHeader.h"

#include <utility>

namespace tarvex {
namespace {

constexpr std::string_view typeKey = "typ";
constexpr std::string_view algoKey = "alg";

}  // namespace

JWTHeader::JWTHeader(Members members)
    : type(std::move(members.type).get()), algo(std::move(members.algo).get()) {}

JWTHeader::JWTHeader(const Decoder& decoder)
    : type(decoder.container().decode<std::string>(typeKey)),
      algo(decoder.container().decode<std::string>(algoKey)) {}

void JWTHeader::encode(Encoder& encoder) const {
  auto members = encoder.container();
  members.encode(typeKey, type);
  members.encode(algoKey, algo);
}

std::string JWTHeader::encode() const { return encodeSegment(*this); }

}  // namespace tarvex
