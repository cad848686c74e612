#include "TarvexCommon/JWT/JWTClaims.h"

#include <utility>

namespace tarvex {
namespace {

constexpr std::string_view subKey = "sub";
constexpr std::string_view expKey = "exp";
constexpr std::string_view scopesKey = "scp";
constexpr std::string_view privsKey = "prvs";

}  // namespace

JWTClaims::JWTClaims(Members members)
    : sub(std::move(members.sub).get()),
      exp(members.exp.get()),
      scopes(std::move(members.scopes).get()),
      privs(std::move(members.privs).get()) {}

JWTClaims::JWTClaims(const Decoder& decoder)
    : sub(decoder.container().decodeIfPresent<std::string>(subKey)),
      exp(decoder.container().decodeIfPresent<Date>(expKey)),
      scopes(decoder.container().decodeIfPresent<Scopes>(scopesKey)),
      privs(decoder.container().decodeIfPresent<Privileges>(privsKey)) {}

void JWTClaims::encode(Encoder& encoder) const {
  auto members = encoder.container();
  members.encodeIfPresent(subKey, sub);
  members.encodeIfPresent(expKey, exp);
  members.encodeIfPresent(scopesKey, scopes);
  members.encodeIfPresent(privsKey, privs);
}

std::string JWTClaims::encode() const { return encodeSegment(*this); }

}  // namespace tarvex
