#include "TarvexCommon/Platform/ItemService.h"

#include "TarvexCommon/Platform/Services.h"

namespace tarvex {
namespace {

// Lets the service answer; a host's own may leave operations out.
template <typename Operation, typename... Arguments>
OSStatus ask(const Operation& operation, const Arguments&... arguments) {
  return operation ? operation(arguments...) : errSecUnimplemented;
}

}  // namespace

OSStatus SecItemAdd(const ItemDictionary& attributes, ItemValue* result) {
  return ask(services().itemService.add, attributes, result);
}

OSStatus SecItemCopyMatching(const ItemDictionary& query, ItemValue* result) {
  return ask(services().itemService.copyMatching, query, result);
}

OSStatus SecItemUpdate(const ItemDictionary& query, const ItemDictionary& changes) {
  return ask(services().itemService.update, query, changes);
}

OSStatus SecItemDelete(const ItemDictionary& query) {
  return ask(services().itemService.remove, query);
}

std::optional<std::string> SecCopyErrorMessageString(OSStatus status) {
  const auto& copyErrorMessage = services().itemService.copyErrorMessage;
  return copyErrorMessage ? copyErrorMessage(status) : std::nullopt;
}

}  // namespace tarvex
