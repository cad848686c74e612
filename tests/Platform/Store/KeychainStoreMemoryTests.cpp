// What is left of secrets in this process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/uio.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Crypto/KeyFormats.h"
#include "TarvexCommon/Keychain/KeychainPersistence.h"
#include "TarvexCommon/Platform/Sealing.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/Store.h"

namespace tarvex {
namespace {

// A secret that is known without being in the memory: the complement of each byte is.
class Hidden {
 public:
  explicit Hidden(Bytes secret) : inverted_(toData(secret)) {
    for (std::uint8_t& byte : inverted_) byte = static_cast<std::uint8_t>(~byte);
  }

  static Hidden random(std::size_t size) {
    Data letters = randomBytes(size);
    for (std::uint8_t& byte : letters) byte = static_cast<std::uint8_t>('a' + byte % 26);
    Hidden hidden{Bytes(letters)};
    wipe(letters);
    return hidden;
  }

  Wiped<std::string> shown() const {
    std::string text(inverted_.size(), ' ');
    std::ranges::transform(inverted_, text.begin(),
                           [](std::uint8_t byte) { return static_cast<char>(~byte); });
    return Wiped(std::move(text));
  }

  // Returns how often it is in the memory that can be written.
  std::size_t count() const {
    std::size_t count = 0;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
      std::uintptr_t begin = 0;
      std::uintptr_t end = 0;
      char dash = 0;
      std::string rights;
      std::istringstream(line) >> std::hex >> begin >> dash >> end >> rights;
      if (rights.starts_with("rw") && end - begin < std::uintptr_t{1} << 30U) {
        count += countBetween(begin, end);
      }
    }
    return count;
  }

 private:
  std::size_t countBetween(std::uintptr_t begin, std::uintptr_t end) const {
    static const int memory = ::open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    std::string copy(end - begin, 0);
    const auto size = ::pread(memory, copy.data(), copy.size(), static_cast<off_t>(begin));
    std::size_t count = 0;
    if (size > 0) {
      const char first = static_cast<char>(~inverted_.front());
      for (auto at = copy.find(first); at != copy.npos; at = copy.find(first, at + 1)) {
        if (isAt(copy, at)) ++count;
      }
    }
    wipe(copy);
    return count;
  }

  bool isAt(const std::string& text, std::size_t at) const {
    if (text.size() - at < inverted_.size()) return false;
    for (std::size_t i = 0; i < inverted_.size(); ++i) {
      if (static_cast<std::uint8_t>(text[at + i]) != static_cast<std::uint8_t>(~inverted_[i])) {
        return false;
      }
    }
    return true;
  }

  Data inverted_;
};

class Memory : public StoreTest {
 protected:
  const InstalledServices installed_{
      {.bundle = {.identifier = "m", .keychainAccessGroups = {{"T.group"}}},
       .itemService = KeychainStore({.folder = folder}).itemService()}};
};

struct Password {
  std::string serviceName() const { return "s"; }
  std::string accessGroup() const { return "T.group"; }
  std::string rawLabel() const { return "password"; }
  std::optional<bool> isSynced() const { return std::nullopt; }
};

TEST_F(Memory, HoldsNoSecretWhenTheCallsHaveReturned) {
  for (const std::size_t size : {12U, 40U, 20000U}) {
    SCOPED_TRACE(size);
    const Hidden first = Hidden::random(size);
    const Hidden second = Hidden::random(size);
    {
      const auto shown = first.shown();
      EXPECT_GE(first.count(), 1U) << "it would be found";
      KeychainPersistence::saveToKeychain({.value = *shown, .user = "u"}, Password());
    }
    EXPECT_EQ(first.count(), 0U) << "saved";
    for (const Hidden* next : {&second, &first}) {
      KeychainPersistence::saveToKeychain({.value = *next->shown(), .user = "u"}, Password());
    }
    {
      const Wiped found(KeychainPersistence::getFromKeychain("u", Password()));
      EXPECT_TRUE(*found == *first.shown());
    }
    EXPECT_EQ(first.count() + second.count(), 0U) << "read";
    EXPECT_TRUE(KeychainPersistence::forceSyncMigration(Password()));
    EXPECT_EQ(first.count() + second.count(), 0U) << "migrated";
    EXPECT_EQ(SecItemDelete({{kSecClass, kSecClassGenericPassword},
                             {kSecAttrSynchronizable, kSecAttrSynchronizableAny}}),
              errSecSuccess);
    EXPECT_EQ(first.count() + second.count(), 0U) << "removed";
  }
}

TEST_F(Memory, HoldsNoKeyFile) {
  KeychainPersistence::saveToKeychain({.value = "v", .user = "u"}, Password());
  std::string key;
  {
    std::ifstream file(folder + "/keychain.key", std::ios::binary);
    file.rdbuf()->pubsetbuf(nullptr, 0);
    for (int next; (next = file.get()) >= 0;) key += static_cast<char>(~next);
  }
  for (char& byte : key) byte = static_cast<char>(~byte);
  const Hidden hidden{Bytes(key)};
  wipe(key);
  EXPECT_EQ(hidden.count(), 0U);
}

// It is no key of the point, or not even JSON, which is found when all of it has been read.
TEST_F(Memory, HoldsNoScalarOfAJWK) {
  const Hidden hidden = Hidden::random(42);
  for (const char* end : {"}", R"(,"iat":-0})", R"(,"iat":tru})", R"(,"iat":"})"}) {
    SCOPED_TRACE(end);
    std::string text;
    text.reserve(512);
    text += R"({"kty":"EC","crv":"P-256","x":"f83OJ3D2xF1Bg8vub9tLe1gHMzV76e8Tus9uPHvRVEU",)"
            R"("y":"x_FEzRu9m36HLN_tue659LNpXW6pCyStikYjKIWI5a0","d":")";
    text += *hidden.shown();
    text += R"(A")";
    text += end;
    EXPECT_THROW(Crypto::KeyFormats::keyFromJWK(text), KeyFormatError);
    wipe(text);
    EXPECT_EQ(hidden.count(), 0U);
  }
}

TEST_F(Memory, HoldsNoPassphraseWhenTheStoreIsOpen) {
  const Hidden hidden = Hidden::random(12);
  const auto ask = [&hidden] { return *hidden.shown(); };
  const WordStore store(root / "other", ask);
  EXPECT_EQ(store.add("genp v_Data='v"), errSecSuccess);
  EXPECT_EQ(hidden.count(), 0U);
}

}  // namespace
}  // namespace tarvex
