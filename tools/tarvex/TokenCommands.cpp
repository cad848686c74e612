// token issue, verify, show.

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "Keys.h"
#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Common/Encoding.h"
#include "TarvexCommon/JWT/JWT.h"
#include "TarvexCommon/Platform/Clock.h"
#include "Terminal.h"
#include "Tool.h"

namespace tool {
namespace {

using tarvex::Date;
using tarvex::JSONValue;
using tarvex::JWT;
using tarvex::JWTClaims;
using tarvex::Crypto::ECDSA;

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(separator, start), text.size());
    parts.emplace_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

// The token of the command line, or of stdin.
std::string tokenText(const std::string& argument) {
  if (argument != "-") return std::string(trimmed(argument));
  const tarvex::Data content = readFile("-");
  return std::string(trimmed(tarvex::Bytes(content).text()));
}

ECDSA storedKey(const Tool& tool, const std::string& label) {
  tool.openKeychain();
  return keyPair(label);
}

struct IssueOptions {
  std::string key;
  std::string sub;
  std::optional<std::string> expiresIn;
  std::optional<std::string> exp;
  std::vector<std::string> scopes;
  std::vector<std::string> privileges;  // NAME=A,B
  std::string typ = "JWT";
  std::string alg = "ES256";
};

std::optional<Date> expiry(const IssueOptions& options) {
  constexpr double year10000 = 253402300800;
  std::optional<Date> date;
  if (options.exp) date = Date::fromTimeIntervalSince1970(number(*options.exp));
  if (options.expiresIn) date = tarvex::now() + number(*options.expiresIn);
  if (date && !(date->timeIntervalSince1970() >= 0 && date->timeIntervalSince1970() < year10000)) {
    throw BadInput("the expiry has to be between the years 1970 and 9999");
  }
  return date;
}

std::optional<JWTClaims::Privileges> privileges(const std::vector<std::string>& options) {
  if (options.empty()) return std::nullopt;
  JWTClaims::Privileges all;
  for (const std::string& option : options) {
    const std::size_t equals = option.find('=');
    if (equals == std::string::npos) throw BadInput("--priv takes NAME=A,B, not " + option);
    const std::string values = option.substr(equals + 1);
    if (!all.emplace(option.substr(0, equals),
                     values.empty() ? std::vector<std::string>() : split(values, ','))
             .second) {
      throw BadInput("--priv names " + option.substr(0, equals) + " twice");
    }
  }
  return all;
}

bool issue(const Tool& tool, const IssueOptions& options) {
  const JWT token(tarvex::JWTHeader({.type = options.typ, .algo = options.alg}),
                  JWTClaims({.sub = options.sub,
                             .exp = expiry(options),
                             .scopes = options.scopes.empty()
                                           ? std::nullopt
                                           : std::optional<JWTClaims::Scopes>(options.scopes),
                             .privs = privileges(options.privileges)}));
  const std::string text = token.exportBase64url(storedKey(tool, options.key));
  tool.print(JSONValue::object({{"token", text}}), text);
  return true;
}

// Why a token is refused: the name of the error's case, and its text.
struct Refusal {
  std::string error;
  std::string message;
};

std::string nameOf(tarvex::JWTError::Case errorCase) {
  using enum tarvex::JWTError::Case;
  switch (errorCase) {
    case invalidSegmentCount: return "invalidSegmentCount";
    case decodeFailed: return "decodeFailed";
    case encodeFailed: return "encodeFailed";
    case verificationFailed: return "verificationFailed";
    case claimsExpired: return "claimsExpired";
  }
  return "unknown";
}

std::string nameOf(tarvex::DecodingError::Kind kind) {
  using enum tarvex::DecodingError::Kind;
  switch (kind) {
    case typeMismatch: return "typeMismatch";
    case valueNotFound: return "valueNotFound";
    case keyNotFound: return "keyNotFound";
    case dataCorrupted: return "dataCorrupted";
  }
  return "unknown";
}

struct VerifyOptions {
  std::string key;
  std::string publicKey;
  bool ignoreExpiry = false;
  bool batch = false;
  std::string token = "-";
};

ECDSA verifyingKey(const Tool& tool, const VerifyOptions& options) {
  if (options.key.empty() == options.publicKey.empty()) {
    throw BadInput("give one of --key and --public-key");
  }
  return options.key.empty() ? publicKeyOfFile(options.publicKey) : storedKey(tool, options.key);
}

std::optional<Refusal> refusal(std::string_view token, const ECDSA& key, bool ignoreExpiry) {
  try {
    const JWT read = JWT::fromBase64url({.base64url = token, .ec = &key, .verifySignature = true});
    if (!ignoreExpiry) read.validateClaims();
    return std::nullopt;
  } catch (const tarvex::JWTError& error) {
    return Refusal{nameOf(error.errorCase()), error.errorDescription()};
  } catch (const tarvex::DecodingError& error) {
    return Refusal{nameOf(error.kind()), error.what()};
  }
}

// A segment as the JSON that it is, with what the library does not read too.
std::optional<JSONValue> segment(std::string_view text) {
  const auto bytes = tarvex::fromBase64(tarvex::Encoding::b64urlToBase64(text));
  if (!bytes) throw tarvex::JWTError::decodeFailed();
  return tarvex::JSONDecoder().decode<std::optional<JSONValue>>(*bytes);
}

// What a token says, whoever signed it.
JSONValue contents(const std::string& token, bool isVerified) {
  const JWT read =
      JWT::fromBase64url({.base64url = token, .ec = nullptr, .verifySignature = false});
  const auto segments = split(token, '.');
  std::vector<JSONValue::Member> members = {{"verified", isVerified},
                                            {"header", segment(segments.at(0))},
                                            {"claims", segment(segments.at(1))}};
  if (read.claims.exp) {
    members.push_back({"expires", Date::toRfc3339(*read.claims.exp)});
    members.push_back({"expired", *read.claims.exp < tarvex::now()});
  }
  return JSONValue::object(members);
}

bool verifyBatch(const ECDSA& key, bool ignoreExpiry) {
  Lines lines;
  std::optional<Progress> progress;  // none among the answers on a terminal
  if (isatty(STDOUT_FILENO) != 1) progress.emplace("tokens", 0);
  std::string line;
  bool areAllRight = true;
  for (;;) {
    const auto kind = lines.next(line);
    if (kind == Lines::Kind::end) return areAllRight;
    const auto refused = kind == Lines::Kind::tooLong ? Refusal{"tooLong", ""}
                                                      : refusal(trimmed(line), key, ignoreExpiry);
    writeLine(refused ? refused->error : "ok");
    areAllRight = areAllRight && !refused;
    if (progress) progress->advance();
  }
}

bool verify(Tool& tool, const VerifyOptions& options) {
  const ECDSA key = verifyingKey(tool, options);
  tool.isSilent = options.batch;
  if (options.batch) return verifyBatch(key, options.ignoreExpiry);
  const std::string token = tokenText(options.token);
  if (const auto refused = refusal(token, key, options.ignoreExpiry)) {
    printJSON(JSONValue::object(
        {{"verified", false}, {"error", refused->error}, {"message", refused->message}}));
    return false;
  }
  printJSON(contents(token, true));
  return true;
}

bool show(const std::string& token) {
  printJSON(contents(tokenText(token), false));
  std::fputs("tarvex: the signature was not looked at\n", stderr);
  return true;
}

void addIssue(Tool& tool, CLI::App& group) {
  const auto options = std::make_shared<IssueOptions>();
  auto* command = tool.command(group, "issue", "Issue a token, signed by a key pair",
                               [&tool, options] { return issue(tool, *options); });
  command->add_option("--key", options->key, "Label of the key pair")->required();
  command->add_option("--sub", options->sub, "The subject")->required();
  auto* in = command->add_option("--expires-in", options->expiresIn, "Seconds from now");
  command->add_option("--exp", options->exp, "Expiry, in seconds since 1970")->excludes(in);
  command->add_option("--scope", options->scopes, "A scope; may be repeated")
      ->allow_extra_args(false);
  command->add_option("--priv", options->privileges, "Privileges, NAME=A,B; may be repeated")
      ->allow_extra_args(false);
  command->add_option("--typ", options->typ, "The header's type")->capture_default_str();
  command->add_option("--alg", options->alg, "What the header says of the algorithm")
      ->capture_default_str();
}

void addVerify(Tool& tool, CLI::App& group) {
  const auto options = std::make_shared<VerifyOptions>();
  auto* command = tool.command(group, "verify", "Verify a token, or a line each of many",
                               [&tool, options] { return verify(tool, *options); });
  command->add_option("--key", options->key, "Label of the key pair");
  command->add_option("--public-key", options->publicKey, "File with the public key, PEM or JWK");
  command->add_flag("--ignore-expiry", options->ignoreExpiry, "Take expired tokens too");
  auto* batch = command->add_flag("--batch", options->batch,
                                  "One token a line from stdin, one verdict a line to stdout");
  command
      ->add_option("TOKEN", options->token, "The token; - for stdin, which other users cannot see")
      ->capture_default_str()
      ->excludes(batch);
}

}  // namespace

void addTokenCommands(Tool& tool) {
  auto* group = addGroup(tool.app, "token", "Signed tokens");
  addIssue(tool, *group);
  addVerify(tool, *group);
  const auto token = std::make_shared<std::string>("-");
  auto* command = tool.command(*group, "show", "Show what a token says, without verifying it",
                               [token] { return show(*token); });
  command->add_option("TOKEN", *token, "The token; - for stdin, which other users cannot see")
      ->capture_default_str();
}

}  // namespace tool
