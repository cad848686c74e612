// Tokens, against the libraries that one would take instead; all with one key, on the same
// tokens, with everything that is kept between two tokens made before.
//
//   token.verify.hot/PEER   reading with verification and expiry, by a key in steady use
//   token.export/PEER       header and claims to a signed token
//   token.verify, token.export, and those of a peer: the times
//
// PEER is cjose (with the claims' JSON read and written by jansson, on which it is built),
// libjwt, and from npm jose and fast-jwt, whose cache of verified tokens is off.
//
// A ratio above 1 says that ours is faster.

#include <cjose/cjose.h>
#include <jansson.h>
#include <jwt.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "TarvexCommon/Crypto/KeyFormats.h"
#include "TarvexCommon/JWT/JWT.h"
#include "benchmarks/Support/Check.h"
#include "benchmarks/Support/Rounds.h"
#include "benchmarks/Support/Tokens.h"
#include "tests/Support/TemporaryFolder.h"

namespace {

using bench::check;
using bench::tokenCount;
using tarvex::JWT;
using tarvex::TemporaryFolder;
namespace KeyFormats = tarvex::Crypto::KeyFormats;

template <typename T, auto release>
struct Release {
  void operator()(T* object) const { release(object); }
};
template <typename T, auto release>
using Owned = std::unique_ptr<T, Release<T, release>>;
using Json = Owned<json_t, json_decref>;

class Cjose {
 public:
  explicit Cjose(const std::string& jwk) : key_(cjose_jwk_import(jwk.data(), jwk.size(), &error_)) {
    check(key_ != nullptr);
    header_.reset(cjose_header_new(&error_));
    check(cjose_header_set(header_.get(), CJOSE_HDR_ALG, CJOSE_HDR_ALG_ES256, &error_));
    check(cjose_header_set(header_.get(), "typ", "JWT", &error_));
  }

  void verify(const std::string& text) {
    const Signed read(cjose_jws_import(text.data(), text.size(), &error_));
    check(read != nullptr && cjose_jws_verify(read.get(), key_.get(), &error_));
    uint8_t* claims = nullptr;
    std::size_t size = 0;
    check(cjose_jws_get_plaintext(read.get(), &claims, &size, &error_));
    const Json all(json_loadb(reinterpret_cast<const char*>(claims), size, 0, nullptr));
    check(json_integer_value(json_object_get(all.get(), "exp")) > 0);
  }

  void sign(const json_t* claims) {
    const Owned<char, std::free> text(json_dumps(claims, JSON_COMPACT));
    const std::string plain = text.get();
    const Signed made(cjose_jws_sign(key_.get(), header_.get(),
                                     reinterpret_cast<const uint8_t*>(plain.data()), plain.size(),
                                     &error_));
    const char* compact = nullptr;
    check(made != nullptr && cjose_jws_export(made.get(), &compact, &error_));
  }

 private:
  using Signed = Owned<cjose_jws_t, cjose_jws_release>;

  cjose_err error_{};
  Owned<cjose_jwk_t, cjose_jwk_release> key_;
  Owned<cjose_header_t, cjose_header_release> header_;
};

class LibJWT {
 public:
  LibJWT(std::string privateKey, std::string publicKey)
      : privateKey_(std::move(privateKey)), publicKey_(std::move(publicKey)) {}

  void verify(const std::string& text) const {
    jwt_t* read = nullptr;
    check(jwt_decode(&read, text.c_str(), bytes(publicKey_), size(publicKey_)) == 0);
    check(jwt_get_grant_int(read, "exp") > 0);
    jwt_free(read);
  }

  void sign(const char* claims) const {
    jwt_t* made = nullptr;
    check(jwt_new(&made) == 0 && jwt_add_grants_json(made, claims) == 0);
    check(jwt_set_alg(made, JWT_ALG_ES256, bytes(privateKey_), size(privateKey_)) == 0);
    const Owned<char, std::free> text(jwt_encode_str(made));
    check(text != nullptr);
    jwt_free(made);
  }

 private:
  static const unsigned char* bytes(const std::string& pem) {
    return reinterpret_cast<const unsigned char*>(pem.data());
  }
  static int size(const std::string& pem) { return static_cast<int>(pem.size()); }

  std::string privateKey_, publicKey_;
};

// A process that measures on demand.
class Node {
 public:
  Node(const std::string& script, const std::string& key, const std::string& tokens) {
    std::array<int, 2> to{}, from{};
    check(pipe(to.data()) == 0 && pipe(from.data()) == 0);
    process_ = fork();
    check(process_ >= 0);
    if (process_ == 0) {
      dup2(to[0], STDIN_FILENO);
      dup2(from[1], STDOUT_FILENO);
      for (const int end : {to[0], to[1], from[0], from[1]}) close(end);
      execlp("node", "node", script.c_str(), key.c_str(), tokens.c_str(), nullptr);
      _exit(127);
    }
    close(to[0]);
    close(from[1]);
    ask_.reset(fdopen(to[1], "w"));
    answer_.reset(fdopen(from[0], "r"));
  }
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  ~Node() {
    ask_.reset();
    waitpid(process_, nullptr, 0);
  }

  bench::Contender contender(const char* name) {
    return {.name = name, .operation = {}, .elsewhere = [this, name](auto time) {
              std::fprintf(ask_.get(), "%s %lld\n", name, static_cast<long long>(time.count()));
              std::fflush(ask_.get());
              double nanoseconds = 0;
              check(std::fscanf(answer_.get(), "%lf", &nanoseconds) == 1);
              return bench::Nanoseconds(nanoseconds);
            }};
  }

 private:
  using File = Owned<std::FILE, std::fclose>;

  pid_t process_ = 0;
  File ask_, answer_;
};

void write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "benchmark-jose ROUNDS SCRIPT: the script beside its npm packages\n");
    return 2;
  }
  const bench::Tokens made;
  const auto& pair = made.pair;
  const auto& tokens = made.tokens;
  const auto& texts = made.texts;
  const auto privateBytes = tarvex::SecKeyCopyExternalRepresentation(pair.privateKey()).value();
  const auto publicBytes = tarvex::SecKeyCopyExternalRepresentation(pair.publicKey()).value();

  std::string lines;
  for (const std::string& text : texts) lines += text + '\n';
  const std::string pem = KeyFormats::privateKeyToPEM(privateBytes);
  const TemporaryFolder folder;
  write(folder / "key.pem", pem);
  write(folder / "tokens", lines);

  Cjose cjose(KeyFormats::privateKeyToJWK(privateBytes));
  const LibJWT libJWT(pem, KeyFormats::publicKeyToPEM(publicBytes));
  const char* claimsText =
      R"({"sub":"user-0","exp":1900000000,"scp":["read","write"],"prvs":{"docs":["r","w"]}})";
  const Json claims(json_loads(claimsText, 0, nullptr));
  std::signal(SIGPIPE, SIG_IGN);
  Node node(argv[2], folder / "key.pem", folder / "tokens");

  const auto verify = [&](std::size_t i) {
    JWT::fromBase64url({.base64url = texts[i % tokenCount], .ec = &pair, .verifySignature = true})
        .validateClaims();
  };
  bench::Rounds measured({
      {"verify", verify},
      {"cjose.verify", [&](std::size_t i) { cjose.verify(texts[i % tokenCount]); }},
      {"libjwt.verify", [&](std::size_t i) { libJWT.verify(texts[i % tokenCount]); }},
      node.contender("jose.verify"),
      node.contender("fast-jwt.verify"),
      {"export", [&](std::size_t i) { (void)tokens[i % tokenCount].exportBase64url(pair); }},
      {"cjose.sign", [&](std::size_t) { cjose.sign(claims.get()); }},
      {"libjwt.sign", [&](std::size_t) { libJWT.sign(claimsText); }},
      node.contender("jose.sign"),
      node.contender("fast-jwt.sign"),
  });
  for (std::size_t i = 0; i < 2000; ++i) verify(i);
  measured.run(std::atoi(argv[1]), std::chrono::milliseconds(15));

  for (const std::string peer : {"cjose", "libjwt", "jose", "fast-jwt"}) {
    measured.reportRatio(("token.verify.hot/" + peer).c_str(), "verify", peer + ".verify");
    measured.reportRatio(("token.export/" + peer).c_str(), "export", peer + ".sign");
    measured.reportTime((peer + ".verify").c_str(), peer + ".verify");
    measured.reportTime((peer + ".sign").c_str(), peer + ".sign");
  }
  measured.reportTime("token.verify", "verify");
  measured.reportTime("token.export", "export");
}
