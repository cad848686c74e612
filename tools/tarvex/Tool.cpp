#include "Tool.h"

#include <cstdio>
#include <utility>

#include "Store.h"
#include "TarvexCommon/Base/JSON/JSONEncoder.h"
#include "TarvexCommon/Base/Text.h"
#include "TarvexCommon/Platform/Services.h"
#include "Terminal.h"

namespace tool {

using tarvex::JSONValue;

void require(tarvex::OSStatus status) {
  if (status == tarvex::errSecSuccess) return;
  const std::string text = tarvex::SecCopyErrorMessageString(status).value_or("unknown failure") +
                           " (" + std::to_string(status) + ")";
  switch (status) {
    case tarvex::errSecItemNotFound: throw NotFound(text);
    case tarvex::errSecDuplicateItem:
    case tarvex::errSecParam: throw BadInput(text);
    case tarvex::errSecInteractionNotAllowed: throw Failure("the keychain is locked: " + text);
    default: throw Failure(text);
  }
}

CLI::App* Tool::command(CLI::App& of, const std::string& name, const std::string& description,
                        Command run) {
  auto* added = of.add_subcommand(name, description)->fallthrough();
  added->callback([this, run = std::move(run)] { chosen = run; });
  return added;
}

void Tool::print(const JSONValue& answer, std::string_view text) const {
  if (json) printJSON(answer);
  else writeLine(text);
}

void Tool::print(const std::vector<Row>& rows) const {
  std::vector<JSONValue::Element> elements;
  for (const Row& row : rows) {
    if (json) elements.emplace_back(row.json);
    else writeLine(row.line);
  }
  if (json) printJSON(JSONValue::array(elements));
}

void Tool::start() const {
  tarvex::Bundle bundle{.identifier = identifier};
  if (!teamPrefix.empty()) bundle.infoDictionary = {{"TeamIDPrefix", teamPrefix}};
  const auto log = [this](const tarvex::LogRecord& record) {
    if (!isSilent) std::fprintf(stderr, "tarvex: %s\n", printable(record.message).c_str());
  };
  tarvex::installServices({.bundle = std::move(bundle), .log = log});
}

void Tool::openKeychain() const {
  tarvex::Services services = tarvex::services();
  services.itemService = store(*this).itemService();
  tarvex::installServices(std::move(services));
}

std::string requireText(const std::string& text) {
  if (text.empty()) return "it is empty";
  return tarvex::isUTF8(text) ? "" : "it is not UTF-8";
}

CLI::App* addGroup(CLI::App& to, const std::string& name, const std::string& description) {
  return to.add_subcommand(name, description)->require_subcommand(1)->fallthrough();
}

void printJSON(const JSONValue& answer) { writeLine(tarvex::JSONEncoder().encode(answer)); }

std::vector<tarvex::ItemDictionary> itemsMatching(tarvex::ItemDictionary query) {
  query[tarvex::kSecMatchLimit] = tarvex::kSecMatchLimitAll;
  query[tarvex::kSecReturnAttributes] = true;
  tarvex::ItemValue found;
  const auto status = tarvex::SecItemCopyMatching(query, &found);
  if (status == tarvex::errSecItemNotFound) return {};
  require(status);
  std::vector<tarvex::ItemDictionary> items;
  for (const auto& item : *found.get<tarvex::ItemValue::List>()) {
    items.push_back(*item.get<tarvex::ItemDictionary>());
  }
  return items;
}

}  // namespace tool
