// The keychain against the desktop's keyring: libsecret's passwords in a GNOME keyring of their
// own.
//
//   keychain.get/libsecret       getItem with 10 items in either, against libsecret's look-up
//   keychain.set/libsecret       setItem of an item that is there, against libsecret's storing
//   keychain.set.1000/libsecret.1000
//                                the same with 1,000 items in either
//
// Above 1 ours is faster. The keyring lies in the folder for temporary files, which may be in
// memory; the store lies on the disk.

#include <libsecret/secret.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "benchmarks/Support/Passwords.h"
#include "benchmarks/Support/Program.h"
#include "benchmarks/Support/Rounds.h"
#include "tests/Support/Desktop.h"

namespace {

using namespace bench;

class Keyring {
 public:
  void set(const std::string& user, std::size_t version) const {
    check(secret_password_store_sync(schema_, SECRET_COLLECTION_DEFAULT, "Password",
                                     secret(version).c_str(), nullptr, nullptr, "user",
                                     user.c_str(), nullptr) != 0);
  }

  void get(const std::string& user) const {
    char* secret =
        secret_password_lookup_sync(schema_, nullptr, nullptr, "user", user.c_str(), nullptr);
    check(secret != nullptr);
    secret_password_free(secret);
  }

 private:
  tarvex::Desktop desktop_;
  const SecretSchema* schema_ = secret_schema_new("com.example.benchmark", SECRET_SCHEMA_NONE,
                                                  "user", SECRET_SCHEMA_ATTRIBUTE_STRING, nullptr);
};

void measure(int rounds) {
  const TemporaryFolder folder(placeOnDisk());
  const ItemService few = open(fill(folder / "10", 10));
  const ItemService many = open(fill(folder / "1000", 1000));
  const std::vector<std::string> users = shuffledUsers(10);
  const Passwords passwords;
  const Keyring keyring;
  const auto set = [&](std::size_t i) { passwords.set(users[i % 10], i); };
  const auto setPeer = [&](std::size_t i) { keyring.set(users[i % 10], i); };
  for (std::size_t i = 0; i < 10; ++i) keyring.set(user(i), i);
  for (const ItemService& items : {few, many}) {
    use(items);
    for (std::size_t i = 0; i < writesToFold; ++i) set(i);
  }

  Rounds withFew({{"get", [&](std::size_t i) { passwords.get(users[i % 10]); }, [&] { use(few); }},
                  {"libsecret.get", [&](std::size_t i) { keyring.get(users[i % 10]); }},
                  {"set", set, [&] { use(few); }},
                  {"libsecret.set", setPeer}});
  withFew.run(std::max(5, rounds / 5), std::chrono::milliseconds(100));
  withFew.reportRatio("keychain.get/libsecret", "get", "libsecret.get");
  withFew.reportRatio("keychain.set/libsecret", "set", "libsecret.set");

  for (std::size_t i = 10; i < 1000; ++i) keyring.set(user(i), i);
  Rounds withMany({{"set", set, [&] { use(many); }}, {"libsecret.set", setPeer}});
  withMany.run(std::max(5, rounds / 20), std::chrono::milliseconds(100));
  withMany.reportRatio("keychain.set.1000/libsecret.1000", "set", "libsecret.set");
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, measure); }
