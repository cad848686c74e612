// hash, date, base64url.

#include <cmath>
#include <memory>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/JSON/JSONEncoder.h"
#include "TarvexCommon/Common/Encoding.h"
#include "TarvexCommon/Crypto/Digest.h"
#include "Terminal.h"
#include "Tool.h"

namespace tool {
namespace {

using tarvex::Date;
using tarvex::JSONValue;

bool hash(const Tool& tool, const std::string& file) {
  const std::string digest = hashStr(readFile(file), tarvex::Crypto::Hash::sha256);
  tool.print(JSONValue::object({{"sha256", digest}}), digest);
  return true;
}

bool parseDate(const Tool& tool, const std::string& text) {
  const auto date = Date::fromRfc3339(text);
  if (!date) throw BadInput("not a date of RFC 3339: " + text);
  const double seconds = date->timeIntervalSince1970();
  tool.print(JSONValue::object({{"seconds", seconds}}),
             tarvex::JSONEncoder().encode(JSONValue(seconds)));
  return true;
}

bool formatDate(const Tool& tool, const std::string& argument) {
  const double seconds = number(argument);
  if (!std::isfinite(seconds)) throw BadInput("a date has a number of seconds");
  const std::string text = Date::toRfc3339(Date::fromTimeIntervalSince1970(seconds));
  tool.print(JSONValue::object({{"date", text}}), text);
  return true;
}

bool toBase64url(const Tool& tool, const std::string& file) {
  const auto text = tarvex::Encoding::base64ToB64url(tarvex::toBase64(readFile(file)));
  tool.print(JSONValue::object({{"base64url", text}}), text);
  return true;
}

bool fromBase64url(const std::string& file) {
  const tarvex::Data content = readFile(file);
  const auto bytes =
      tarvex::fromBase64(tarvex::Encoding::b64urlToBase64(trimmed(tarvex::Bytes(content).text())));
  if (!bytes) throw BadInput("the text is not base64url");
  write(tarvex::Bytes(*bytes).text());
  return true;
}

}  // namespace

void addTextCommands(Tool& tool) {
  // Options of a command live as long as the commands themselves.
  const auto file = std::make_shared<std::string>("-");
  const auto withFile = [&](CLI::App& of, const char* name, const char* description, Command run) {
    tool.command(of, name, description, std::move(run))
        ->add_option("FILE", *file, "The file, or - for stdin")
        ->capture_default_str();
  };
  withFile(tool.app, "hash", "SHA-256 of a file", [&tool, file] { return hash(tool, *file); });

  auto* base64url = addGroup(tool.app, "base64url", "Base64url text without padding");
  withFile(*base64url, "to", "Encode bytes", [&tool, file] { return toBase64url(tool, *file); });
  withFile(*base64url, "from", "Decode a text", [file] { return fromBase64url(*file); });

  auto* date = addGroup(tool.app, "date", "Dates as RFC 3339 text");
  const auto text = std::make_shared<std::string>();
  tool.command(*date, "parse", "Seconds since 1970 of a date",
               [&tool, text] { return parseDate(tool, *text); })
      ->add_option("TEXT", *text, "Such as 2024-03-05T07:08:09.123Z")
      ->required();
  const auto seconds = std::make_shared<std::string>();
  tool.command(*date, "format", "The date of seconds since 1970",
               [&tool, seconds] { return formatDate(tool, *seconds); })
      ->add_option("SECONDS", *seconds, "Such as 1709622489.123")
      ->required();
}

}  // namespace tool
