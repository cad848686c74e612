#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "TarvexCommon/JWT/JWT.h"
#include "tests/Support/Errors.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

const std::string file = ownVectors + "Tokens.txt";

JWTClaims expiringAt(double seconds) {
  return JWTClaims({.sub = std::nullopt,
                    .exp = Date::fromTimeIntervalSince1970(seconds),
                    .scopes = std::nullopt,
                    .privs = std::nullopt});
}

template <typename Record>
Record read(std::string_view json) {
  const JSONDecoder decoder{.dateDecodingStrategy = DateDecodingStrategy::secondsSince1970()};
  return decoder.decode<Record>(json);
}

static_assert(!JWTCodable<std::string>);

template <typename T>
concept LeavesExpOut = requires {
  T{.sub = "u", .scopes = std::nullopt, .privs = std::nullopt};
};
template <typename T>
concept LeavesVerificationOpen = requires {
  T{.base64url = "", .ec = nullptr};
};
static_assert(!LeavesExpOut<JWTClaims::Members> && !LeavesVerificationOpen<JWT::Compact>);

struct Written {
  std::string json;
  std::string segment;
};

template <typename Record>
Written rewritten(const std::string& json) {
  const auto record = read<Record>(json);
  return {segmentEncoder().encode(record), record.encode()};
}

Written rewritten(const Vector& vector) {
  const std::map<std::string, Written (*)(const std::string&)> records = {
      {"JWTHeader", rewritten<JWTHeader>},
      {"JWTClaims", rewritten<JWTClaims>},
      {"JWT", rewritten<JWT>}};
  return records.at(vector.raw("type"))(vector.raw("json"));
}

TEST(Record, IsWrittenCompactAndAsASegment) {
  for (const Vector& vector : readVectors(file, "written")) {
    SCOPED_TRACE(vector.trace());
    const Written written = rewritten(vector);
    EXPECT_EQ(written.json, vector.raw(vector.has("written") ? "written" : "json"));
    EXPECT_EQ(written.segment, vector.has("segment") ? vector.raw("segment") : written.segment);
  }
}

TEST(Record, SaysWhatItCannotBeReadFrom) {
  for (const Vector& vector : readVectors(file, "errors")) {
    SCOPED_TRACE(vector.trace());
    const auto error = thrown<DecodingError>([&] { rewritten(vector); });
    EXPECT_EQ((error ? describe(*error) : "read").find(vector.raw("outcome")), 0U);
  }
}

TEST(RecordDeathTest, StopsAtAnExpiryWithoutWholeSeconds) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double seconds : {-1.0, -1e300, 18446744073709551616.0, infinity, -infinity,
                               std::numeric_limits<double>::quiet_NaN()}) {
    SCOPED_TRACE(seconds);
    EXPECT_DEATH(expiringAt(seconds).encode(), "not a whole number of seconds from 1970 on");
  }
}

TEST(Record, ReadsEveryMember) {
  const std::string all = R"({"prvs":{"x":["r","w"],"y":[]},"scp":["a"],"exp":1000.25,"sub":"u"})";
  JWTClaims claims = expiringAt(1000.25);
  claims.sub = "u";
  claims.scopes = JWTClaims::Scopes{"a"};
  claims.privs = JWTClaims::Privileges{{"x", {"r", "w"}}, {"y", {}}};
  EXPECT_EQ(read<JWTClaims>(all), claims);
  EXPECT_EQ(read<JWT>(R"({"claims":)" + all + R"(,"header":{"typ":"JWT","alg":"ES256"}})"),
            JWT(JWTHeader({.type = "JWT", .algo = "ES256"}), claims));
  EXPECT_EQ(JSONDecoder().decode<JWTClaims>(R"({"exp":0})"), expiringAt(978307200));
}

}  // namespace
}  // namespace tarvex
