#include <gtest/gtest.h>
#include <sys/mman.h>

#include "TarvexCommon/Crypto/Digest.h"
#include "tests/Support/Vectors.h"

namespace tarvex::Crypto {
namespace {

// Response files of the NIST's Secure Hash Standard Validation System.
const std::string folder = nistVectors + "hashes/SHA2/";

TEST(Digest, GivesTheDigestsOfTheNIST) {
  for (const char* file : {"SHA256ShortMsg.rsp", "SHA256LongMsg.rsp"}) {
    const auto vectors = readVectors(folder + file);
    EXPECT_GE(vectors.size(), 64U);
    for (const Vector& vector : vectors) {
      SCOPED_TRACE(file + vector.trace());
      Data message = vector.bytes("Msg");
      message.resize(vector.number("Len") / 8);
      EXPECT_EQ(toHex(Digest(Hash::sha256).compute(message)), vector.raw("MD"));
      EXPECT_EQ(hashStr(message, Hash::sha256), vector.raw("MD"));
    }
  }
}

// SHAVS, 6.4: each round digests its last three digests a thousand times.
TEST(Digest, PassesTheMonteCarloTest) {
  const auto vectors = readVectors(folder + "SHA256Monte.rsp");
  Data seed = vectors[0].bytes("Seed");
  for (std::size_t round = 1; round < vectors.size(); ++round) {
    Data lastThree;
    for (int i = 0; i < 3; ++i) lastThree.insert(lastThree.end(), seed.begin(), seed.end());
    for (int i = 0; i < 1000; ++i) {
      seed = Digest(Hash::sha256).compute(lastThree);
      lastThree.erase(lastThree.begin(), lastThree.begin() + 32);
      lastThree.insert(lastThree.end(), seed.begin(), seed.end());
    }
    ASSERT_EQ(toHex(seed), vectors[round].raw("MD")) << vectors[round].trace();
  }
  EXPECT_EQ(vectors.size(), 101U);
}

TEST(Engine, WritesTheDigestAndReturnsItsPlace) {
  Data digest(static_cast<std::size_t>(digestSize(Hash::sha256)));
  EXPECT_EQ(engine(Hash::sha256)(nullptr, 0, digest.data()), digest.data());
  EXPECT_EQ(toHex(digest), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(DigestDeathTest, StopsAtFourGiBBeforeItReadsAByte) {
  constexpr std::size_t size = std::size_t{1} << 32;
  void* unreadable =
      mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(unreadable, MAP_FAILED);
  const Bytes data(static_cast<const std::uint8_t*>(unreadable), size);
  EXPECT_DEATH(Digest(Hash::sha256).compute(data), "Fatal error: .*4 GiB");
  EXPECT_DEATH(hashStr(data, Hash::sha256), "Fatal error: .*4 GiB");
  munmap(unreadable, size);
}

}  // namespace
}  // namespace tarvex::Crypto
