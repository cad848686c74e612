#include "TarvexCommon/Platform/Linux/SecretServiceItemService.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/Text.h"
#include "TarvexCommon/Platform/AttributeCoding.h"
#include "TarvexCommon/Platform/ItemKeeper.h"
#include "TarvexCommon/Platform/Linux/SecretService.h"

namespace tarvex {
namespace {

using Values = SecretService::Values;

constexpr char contentName[] = "attributes";  // all of an item's, in base64
constexpr char orderName[] = "added";         // nanoseconds since 1970, 20 digits

// As the service can keep it: control characters and what is not UTF-8 stand as %XX.
std::string readable(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  const bool isText = isUTF8(text);
  std::string escaped;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool isPlain = byte < 0x80 ? byte >= ' ' && byte != 0x7F && byte != '%' : isText;
    if (isPlain) {
      escaped += character;
    } else {
      escaped.append({'%', digits[byte >> 4], digits[byte & 15]});
    }
  }
  return escaped;
}

// What items are searched by, as far as it is among the attributes.
SecretAttributes namesIn(const ItemDictionary& attributes) {
  const auto& [service, account] = identityNames(attributes);
  SecretAttributes names = {{"xdg:schema", "com.tarvex.item"}};
  for (const auto& [name, attribute] : {std::pair("class", kSecClass),
                                        {"key-class", kSecAttrKeyClass},
                                        {"service", service},
                                        {"account", account},
                                        {"access-group", kSecAttrAccessGroup},
                                        {"synchronised", kSecAttrSynchronizable}}) {
    const auto entry = attributes.find(attribute);
    if (entry != attributes.end()) names.emplace(name, readable(identityText(entry->second)));
  }
  return names;
}

SecretAttributes attributesOf(const ItemDictionary& attributes, const std::string& order) {
  SecretAttributes all = namesIn(attributes);
  all.emplace(contentName, toBase64(encoded(attributes)));
  all.emplace(orderName, order);
  return all;
}

std::string orderNow() {
  const auto time = std::chrono::system_clock::now().time_since_epoch();
  const auto count = std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
  std::string digits = std::to_string(count);
  return digits.insert(0, 20 - digits.size(), '0');
}

std::string labelOf(const ItemDictionary& attributes) {
  const auto text = [&](const char* name) {
    return std::string(identityText(attributes.at(name)));
  };
  const auto& [service, account] = identityNames(attributes);
  const std::string label = text(kSecAttrLabel);
  return readable(label.empty() ? text(service) + " " + text(account) : label);
}

// An item and where it lies.
struct KeptItem {
  Secret secret;
  Item item;

  const std::string& order() const { return secret.attributes.at(orderName); }
};

// Returns nothing when somebody else has changed it.
std::optional<KeptItem> kept(Secret secret) {
  const auto content = secret.attributes.find(contentName);
  const bool isWhole = content != secret.attributes.end() && secret.attributes.contains(orderName);
  const auto bytes = isWhole ? fromBase64(content->second) : std::nullopt;
  auto attributes = bytes ? decodedAttributes(*bytes) : std::nullopt;
  if (!attributes || !areOfItem(*attributes)) return std::nullopt;
  Item item{.attributes = std::move(*attributes), .value = std::move(secret.value)};
  return KeptItem{.secret = std::move(secret), .item = std::move(item)};
}

// Returns the matches, oldest first. Throws `errSecDecode` when there are damaged items only.
std::vector<KeptItem> matchesOf(const ItemQuery& query, SecretService& service, Values values) {
  std::vector<KeptItem> found;
  bool hasDamaged = false;
  for (Secret& secret : service.find(namesIn(query.attributes), values)) {
    auto whole = kept(std::move(secret));
    hasDamaged = hasDamaged || !whole;
    if (whole && matches(whole->item, query)) found.push_back(std::move(*whole));
  }
  ensure(!found.empty() || !hasDamaged, errSecDecode);
  std::ranges::sort(found, {}, &KeptItem::order);
  return found;
}

bool isAmong(const std::vector<KeptItem>& items, const Secret& secret) {
  return std::ranges::any_of(
      items, [&](const KeptItem& each) { return each.secret.attributes == secret.attributes; });
}

class SecretServiceItems {
 public:
  explicit SecretServiceItems(SecretServiceOptions options)
      : prompts_(options.mayPrompt ? Prompts::allowed : Prompts::none) {}

  void insert(const Item& item) const {
    SecretService::use(prompts_, [&](SecretService& service) {
      ensure(service.find(namesIn(item.attributes), Values::unread).empty(), errSecDuplicateItem);
      service.add(labelOf(item.attributes), attributesOf(item.attributes, orderNow()), *item.value);
    });
  }

  std::vector<Item> find(const ItemQuery& query, const ItemReturns& returns) const {
    std::vector<Item> items;
    SecretService::use(prompts_, [&](SecretService& service) {
      const Values values = needsValue(returns) ? Values::loaded : Values::unread;
      for (KeptItem& each : matchesOf(query, service, values)) {
        items.push_back(std::move(each.item));
        if (query.matchLimit != MatchLimit::all) break;
      }
    });
    return items;
  }

  void update(const ItemQuery& query, const ItemChanges& changes) const {
    SecretService::use(prompts_, [&](SecretService& service) {
      auto found = matchesOf(query, service, Values::unread);
      ensure(!found.empty(), errSecItemNotFound);
      for (KeptItem& each : found) apply(changes, each.item);
      ensureUnique(found, service);
      for (const auto& [secret, item] : found) {
        service.change(secret, labelOf(item.attributes),
                       attributesOf(item.attributes, secret.attributes.at(orderName)),
                       changes.value);
      }
    });
  }

  void remove(const ItemQuery& query) const {
    SecretService::use(prompts_, [&](SecretService& service) {
      const auto found = matchesOf(query, service, Values::unread);
      ensure(!found.empty(), errSecItemNotFound);
      for (const KeptItem& each : found) {
        service.remove(each.secret);
        if (query.matchLimit == MatchLimit::one) break;
      }
    });
  }

 private:
  // Throws when two of the changed items would be the same, or one of them and another one.
  static void ensureUnique(const std::vector<KeptItem>& changed, SecretService& service) {
    std::set<std::string> keys;
    for (const KeptItem& each : changed) {
      ensure(keys.insert(uniquenessKey(each.item)).second, errSecDuplicateItem);
      const auto same = service.find(namesIn(each.item.attributes), Values::unread);
      ensure(std::ranges::all_of(same, [&](const Secret& by) { return isAmong(changed, by); }),
             errSecDuplicateItem);
    }
  }

  Prompts prompts_;
};

static_assert(ItemKeeper<const SecretServiceItems>);

}  // namespace

ItemService secretServiceItemService(SecretServiceOptions options) {
  return itemServiceOf(std::make_shared<const SecretServiceItems>(options));
}

}  // namespace tarvex
