// Tokens, against the libraries that one would take instead; all with one key and tokens of one
// shape, with everything that is kept between two tokens made before.
//
//   token.verify.hot/PEER   reading with verification and expiry, by a key in steady use
//   token.export/PEER       header and claims to a signed token
//   token.read.unverified/cjose  reading without verification; with ".import", against cjose
//                           without any decoding of the claims
//   token.verify, token.export, token.read, and those of a peer: the times
//
// PEER is cjose (with the claims' JSON read and written by jansson, on which it is built),
// libjwt, and from npm jose and fast-jwt, whose cache of verified tokens is off. Those of npm run
// in a process of their own, which may use all cores.
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
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "TarvexCommon/Crypto/KeyFormats.h"
#include "TarvexCommon/JWT/JWT.h"
#include "benchmarks/Support/Check.h"
#include "benchmarks/Support/Owned.h"
#include "benchmarks/Support/Program.h"
#include "benchmarks/Support/Rounds.h"
#include "benchmarks/Support/Tokens.h"
#include "tests/Support/TemporaryFolder.h"

namespace {

using bench::check;
using bench::Owned;
using bench::tokenCount;
using tarvex::JWT;
using tarvex::TemporaryFolder;
namespace KeyFormats = tarvex::Crypto::KeyFormats;

using Json = Owned<json_t, json_decref>;

void checkExpiry(long long seconds) { check(seconds > std::time(nullptr)); }

class Cjose {
 public:
  explicit Cjose(const std::string& jwk) : key_(cjose_jwk_import(jwk.data(), jwk.size(), &error_)) {
    check(key_ != nullptr);
    header_.reset(cjose_header_new(&error_));
    check(cjose_header_set(header_.get(), CJOSE_HDR_ALG, CJOSE_HDR_ALG_ES256, &error_));
    check(cjose_header_set(header_.get(), "typ", "JWT", &error_));
  }

  void verify(const std::string& text) {
    const Signed token = imported(text);
    check(cjose_jws_verify(token.get(), key_.get(), &error_));
    checkExpiry(json_integer_value(json_object_get(claims(token).get(), "exp")));
  }

  void read(const std::string& text) {
    const Json all = claims(imported(text));
    check(json_integer_value(json_object_get(all.get(), "exp")) > 0);
  }

  void import(const std::string& text) { (void)plain(imported(text)); }

  void sign(const json_t* claims) {
    const Owned<char, std::free> text(json_dumps(claims, JSON_COMPACT));
    const Signed made(cjose_jws_sign(key_.get(), header_.get(),
                                     reinterpret_cast<const uint8_t*>(text.get()),
                                     std::strlen(text.get()), &error_));
    const char* compact = nullptr;
    check(made != nullptr && cjose_jws_export(made.get(), &compact, &error_));
  }

 private:
  using Signed = Owned<cjose_jws_t, cjose_jws_release>;

  Signed imported(const std::string& text) {
    Signed token(cjose_jws_import(text.data(), text.size(), &error_));
    check(token != nullptr);
    return token;
  }

  std::string_view plain(const Signed& token) {
    uint8_t* text = nullptr;
    std::size_t size = 0;
    check(cjose_jws_get_plaintext(token.get(), &text, &size, &error_));
    return {reinterpret_cast<const char*>(text), size};
  }

  Json claims(const Signed& token) {
    const std::string_view text = plain(token);
    return Json(json_loadb(text.data(), text.size(), 0, nullptr));
  }

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
    checkExpiry(jwt_get_grant_int(read, "exp"));
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

// The key and the tokens, for a process that reads them from files.
class Files {
 public:
  Files(const std::string& pem, const std::vector<std::string>& texts) {
    std::string lines;
    for (const std::string& text : texts) lines += text + '\n';
    write(key(), pem);
    write(tokens(), lines);
  }

  std::string key() const { return folder_ / "key.pem"; }
  std::string tokens() const { return folder_ / "tokens"; }

 private:
  TemporaryFolder folder_;
};

// Without verification.
void measureReading(int rounds, const bench::Tokens& made, Cjose& cjose) {
  const auto& texts = made.texts;
  bench::Rounds measured({
      {"token.read",
       [&](std::size_t i) {
         (void)JWT::fromBase64url(
             {.base64url = texts[i % tokenCount], .ec = nullptr, .verifySignature = false});
       }},
      {"cjose.read", [&](std::size_t i) { cjose.read(texts[i % tokenCount]); }},
      {"cjose.import", [&](std::size_t i) { cjose.import(texts[i % tokenCount]); }},
  });
  measured.run(rounds, std::chrono::milliseconds(15));
  measured.reportRatio("token.read.unverified/cjose", "token.read", "cjose.read");
  measured.reportRatio("token.read.unverified/cjose.import", "token.read", "cjose.import");
  for (const char* name : {"token.read", "cjose.read"}) measured.reportTime(name, name);
}

void measureSignatures(int rounds, const bench::Tokens& made, Cjose& cjose, const LibJWT& libJWT,
                       Node& node) {
  const auto& texts = made.texts;
  const char* claimsText =
      R"({"sub":"user-0","exp":1900000000,"scp":["read","write"],"prvs":{"docs":["r","w"]}})";
  const Json claims(json_loads(claimsText, 0, nullptr));
  const auto verify = [&](std::size_t i) {
    JWT::fromBase64url(
        {.base64url = texts[i % tokenCount], .ec = &made.pair, .verifySignature = true})
        .validateClaims();
  };
  const auto sign = [&](std::size_t i) {
    (void)made.tokens[i % tokenCount].exportBase64url(made.pair);
  };
  bench::Rounds measured({
      {"token.verify", verify},
      {"cjose.verify", [&](std::size_t i) { cjose.verify(texts[i % tokenCount]); }},
      {"libjwt.verify", [&](std::size_t i) { libJWT.verify(texts[i % tokenCount]); }},
      node.contender("jose.verify"),
      node.contender("fast-jwt.verify"),
      {"token.export", sign},
      {"cjose.sign", [&](std::size_t) { cjose.sign(claims.get()); }},
      {"libjwt.sign", [&](std::size_t) { libJWT.sign(claimsText); }},
      node.contender("jose.sign"),
      node.contender("fast-jwt.sign"),
  });
  for (std::size_t i = 0; i < 2000; ++i) verify(i);  // now the key is hot
  measured.run(rounds, std::chrono::milliseconds(15));

  for (const std::string peer : {"cjose", "libjwt", "jose", "fast-jwt"}) {
    measured.reportRatio(("token.verify.hot/" + peer).c_str(), "token.verify", peer + ".verify");
    measured.reportRatio(("token.export/" + peer).c_str(), "token.export", peer + ".sign");
    measured.reportTime((peer + ".verify").c_str(), peer + ".verify");
    measured.reportTime((peer + ".sign").c_str(), peer + ".sign");
  }
  for (const char* name : {"token.verify", "token.export"}) measured.reportTime(name, name);
}

void measure(int rounds) {
  const bench::Tokens made;
  const auto privateBytes =
      tarvex::SecKeyCopyExternalRepresentation(made.pair.privateKey()).value();
  const auto publicBytes = tarvex::SecKeyCopyExternalRepresentation(made.pair.publicKey()).value();
  const std::string pem = KeyFormats::privateKeyToPEM(privateBytes);
  const Files files(pem, made.texts);
  Cjose cjose(KeyFormats::privateKeyToJWK(privateBytes));
  const LibJWT libJWT(pem, KeyFormats::publicKeyToPEM(publicBytes));
  std::signal(SIGPIPE, SIG_IGN);
  Node node("build/peers/tokens.mjs", files.key(), files.tokens());
  measureReading(rounds, made, cjose);
  measureSignatures(rounds / 3 + 1, made, cjose, libJWT, node);
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, measure); }
