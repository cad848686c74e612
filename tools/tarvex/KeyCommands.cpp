// key create, show, list.

#include <memory>
#include <vector>

#include "Keys.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Crypto/KeyFormats.h"
#include "Terminal.h"
#include "Tool.h"

namespace tool {
namespace {

using tarvex::Date;
using tarvex::JSONValue;
using tarvex::Crypto::ECDSA;
namespace KeyFormats = tarvex::Crypto::KeyFormats;

tarvex::Data publicBytes(const ECDSA& pair) {
  const auto bytes = tarvex::SecKeyCopyExternalRepresentation(pair.publicKey());
  if (!bytes) throw Failure("the key service keeps the key to itself");
  return *bytes;
}

bool create(const Tool& tool, const std::string& label) {
  tool.openKeychain();
  ECDSA::createKeyPair(label);
  const std::string thumbprint = KeyFormats::thumbprint(publicBytes(keyPair(label)));
  tool.print(JSONValue::object({{"label", label}, {"thumbprint", thumbprint}}), thumbprint);
  return true;
}

bool show(const Tool& tool, const std::string& label, const std::string& format) {
  tool.openKeychain();
  const ECDSA pair = keyPair(label);
  const tarvex::Data bytes = publicBytes(pair);
  if (format == "pem") {
    const std::string pem = KeyFormats::publicKeyToPEM(bytes);
    tool.print(JSONValue::object({{"pem", pem}}), trimmed(pem));
  } else if (format == "jwk") {
    printJSON(tarvex::JSONDecoder().decode<JSONValue>(KeyFormats::publicKeyToJWK(bytes)));
  } else if (format == "raw") {
    write(tarvex::Bytes(bytes).text());
  } else {
    const auto [x, y] = pair.coordinates();
    tool.print(JSONValue::object({{"x", x}, {"y", y}}), x + '\n' + y);
  }
  return true;
}

bool listKeys(const Tool& tool) {
  tool.openKeychain();
  std::vector<Tool::Row> rows;
  for (const auto& item :
       itemsMatching({{tarvex::kSecClass, tarvex::kSecClassKey},
                      {tarvex::kSecAttrKeyClass, tarvex::kSecAttrKeyClassPrivate}})) {
    const auto* label = tarvex::find<std::string>(item, tarvex::kSecAttrLabel);
    const auto* created = tarvex::find<Date>(item, tarvex::kSecAttrCreationDate);
    if (label == nullptr || created == nullptr) continue;
    const std::string date = Date::toRfc3339(*created);
    rows.push_back({JSONValue::object({{"label", *label}, {"created", date}}),
                    printable(*label) + '\t' + date});
  }
  tool.print(rows);
  return true;
}

}  // namespace

void addKeyCommands(Tool& tool) {
  auto* group = addGroup(tool.app, "key", "Key pairs in the keychain");
  const auto label = std::make_shared<std::string>();
  const auto format = std::make_shared<std::string>("pem");
  tool.command(*group, "create", "Make a key pair, unless there is one under the label",
               [&tool, label] { return create(tool, *label); })
      ->add_option("LABEL", *label, "Name of the key pair")
      ->required()
      ->check(requireText);
  auto* command = tool.command(*group, "show", "Print the public key of a pair",
                               [&tool, label, format] { return show(tool, *label, *format); });
  command->add_option("LABEL", *label, "Name of the key pair")->required();
  command->add_option("--format", *format, "How the key is written")
      ->check(CLI::IsMember({"pem", "jwk", "raw", "coordinates"}))
      ->capture_default_str();
  tool.command(*group, "list", "List the key pairs", [&tool] { return listKeys(tool); });
}

}  // namespace tool
