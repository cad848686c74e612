// The token is kept in the keychain, a second process finds it there, and it stands in no file
// of the keychain in clear.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

#include "Road.h"
#include "TarvexCommon/Keychain/KeychainPersistence.h"
#include "TarvexCommon/Platform/SecKey.h"

namespace road {
namespace {

using tarvex::KeychainItem;
using tarvex::Crypto::ECDSA;
using tarvex::KeychainPersistence::getFromKeychain;
using tarvex::KeychainPersistence::removeFromKeychain;
using tarvex::KeychainPersistence::saveToKeychain;

// Starts this program again, to read what this process saved.
void readInSecondProcess(const std::filesystem::path& folder) {
  std::string program = "/proc/self/exe";
  std::string option = "--read";
  std::string argument = folder;
  char* arguments[] = {program.data(), option.data(), argument.data(), nullptr};
  std::fflush(stdout);
  pid_t process = 0;
  int status = 0;
  expect(posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, environ) == 0 &&
             waitpid(process, &status, 0) == process,
         "there is no second process");
  expect(WIFEXITED(status) && WEXITSTATUS(status) == 0, "the second process failed");
}

std::string privateKeyOf(const ECDSA& pair) {
  const tarvex::Data bytes = tarvex::SecKeyCopyExternalRepresentation(pair.privateKey()).value();
  return std::string(tarvex::Bytes(bytes).text().substr(65));  // behind the public point
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

void keepToken(const std::string& token, const std::filesystem::path& folder) {
  step("6. The token goes into the keychain, where the team's applications find it.");
  saveToKeychain({.value = token, .user = "alice"}, KeychainItem::accessTokenAPI);
  say("  saved under \"alice:access token\"");
  say("  a second process opens the same store:");
  readInSecondProcess(folder);
  expectSealed("token, user, label and private key", folder,
               {token, token.substr(token.rfind('.') + 1), "alice", "access token",
                privateKeyOf(load("demo"))});

  removeFromKeychain("alice", KeychainItem::accessTokenAPI);
  try {
    getFromKeychain("alice", KeychainItem::accessTokenAPI);
  } catch (const tarvex::KeychainError& error) {
    say("  removed, and asked for again: \"" + error.errorDescription() + '"');
    return;
  }
  throw std::runtime_error("the token is still there");
}

void readKeptToken() {
  const std::string token = getFromKeychain("alice", KeychainItem::accessTokenAPI);
  say("    it finds the token of alice and, by its label, the key pair \"demo\"");
  const tarvex::JWT read = readVerified(token, load("demo"));
  read.validateClaims();
  say("    the token is verified; it is for " + read.claims.sub.value());
}

void expectSealed(const std::string& what, const std::filesystem::path& folder,
                  const std::vector<std::string>& secrets) {
  std::string files;
  for (const std::string file : {"keychain.db", "keychain.db-wal"}) {
    const std::string content = contentOf(folder / file);
    expect(!content.empty(), "there is nothing in a file");
    for (const std::string& secret : secrets) {
      expect(content.find(secret) == std::string::npos, "a secret stands in a file in clear");
    }
    files += (files.empty() ? "" : ", ") + file + " (" + std::to_string(content.size()) + " bytes)";
  }
  say("  " + what + ": not to be read in clear in\n    " + files);
}

}  // namespace road
