#include "TarvexCommon/Platform/ItemRules.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Platform/Bundle.h"
#include "TarvexCommon/Platform/Clock.h"
#include "TarvexCommon/Platform/ItemFailure.h"
#include "TarvexCommon/Platform/KeyService.h"

namespace tarvex {
namespace {

// The dictionaries that a key may stand in.
enum Place : unsigned {
  passwordItem = 1,
  keyItem = 2,
  passwordQuery = 4,
  keyQuery = 8,
  changes = 16,
  items = passwordItem | keyItem,
  queries = passwordQuery | keyQuery,
  ofKeys = keyItem | keyQuery,
  everywhere = items | queries | changes,
};

// Instructions say what to do; attributes are stored, matched or changed.
enum class Role { attribute, instruction };

struct KnownKey {
  std::string_view name;
  bool (*accepts)(const ItemValue& value);
  unsigned places;
  Role role = Role::attribute;
};

template <typename Type>
bool isA(const ItemValue& value) {
  return value.get<Type>() != nullptr;
}

template <const auto&... texts>
bool isOneOf(const ItemValue& value) {
  const auto* text = value.get<std::string>();
  return text != nullptr && ((*text == texts) || ...);
}

bool isSynchronisation(const ItemValue& value) {
  return isA<bool>(value) || isOneOf<kSecAttrSynchronizableAny>(value);
}

constexpr bool (*isKeyClass)(const ItemValue&) =
    isOneOf<kSecAttrKeyClassPublic, kSecAttrKeyClassPrivate>;
constexpr bool (*isMatchLimit)(const ItemValue&) = isOneOf<kSecMatchLimitOne, kSecMatchLimitAll>;

constexpr KnownKey knownKeys[] = {
    {kSecClass, isA<std::string>, items | queries},
    {kSecAttrService, isA<std::string>, everywhere},
    {kSecAttrAccount, isA<std::string>, everywhere},
    {kSecAttrAccessGroup, isA<std::string>, everywhere},
    {kSecAttrSynchronizable, isA<bool>, items | changes},
    {kSecAttrSynchronizable, isSynchronisation, queries},
    {kSecAttrLabel, isA<std::string>, everywhere},
    {kSecAttrAccessible, isA<std::string>, items | changes},
    {kSecAttrAccessible, isA<std::string>, queries, Role::instruction},
    {kSecAttrApplicationTag, isA<Data>, ofKeys},
    {kSecAttrApplicationLabel, isA<Data>, ofKeys},
    {kSecAttrKeyType, isA<std::string>, ofKeys},
    {kSecAttrKeyClass, isKeyClass, ofKeys},
    {kSecAttrKeySizeInBits, isA<std::int64_t>, ofKeys},
    {kSecAttrIsPermanent, isA<bool>, ofKeys},
    {kSecAttrIsExtractable, isA<bool>, ofKeys},
    {kSecValueData, isA<Data>, items | changes, Role::instruction},
    {kSecReturnData, isA<bool>, items | queries, Role::instruction},
    {kSecReturnAttributes, isA<bool>, items | queries, Role::instruction},
    {kSecReturnRef, isA<bool>, items | queries, Role::instruction},
    {kSecMatchLimit, isMatchLimit, queries, Role::instruction},
    {kSecUseDataProtectionKeychain, isA<bool>, everywhere, Role::instruction},
};

const KnownKey& knownKey(std::string_view name, Place place) {
  const auto* known = std::ranges::find_if(knownKeys, [&](const KnownKey& key) {
    return key.name == name && (key.places & place) != 0;
  });
  ensure(known != std::end(knownKeys), errSecUnimplemented);
  return *known;
}

// Checks all that is given and returns the attributes in it.
ItemDictionary checkedAttributes(const ItemDictionary& given, Place place) {
  ItemDictionary attributes;
  for (const auto& [name, value] : given) {
    const KnownKey& known = knownKey(name, place);
    ensure(known.accepts(value), errSecParam);
    if (known.role == Role::attribute) attributes.emplace(name, value);
  }
  return attributes;
}

// Returns the groups of the process, never none. Throws when `attributes` names
// another one.
std::vector<std::string> usableGroups(const ItemDictionary& attributes) {
  auto groups = keychainAccessGroups();
  const auto* named = find<std::string>(attributes, kSecAttrAccessGroup);
  ensure(!groups.empty() && (named == nullptr || std::ranges::count(groups, *named) > 0),
         errSecMissingEntitlement);
  return groups;
}

std::optional<Wiped<Data>> valueIn(const ItemDictionary& given) {
  const auto* value = find<Data>(given, kSecValueData);
  return value == nullptr ? std::nullopt : std::optional(Wiped(*value));
}

bool isTrue(const ItemDictionary& given, std::string_view name) {
  const auto* flag = find<bool>(given, name);
  return flag != nullptr && *flag;
}

// Gives an item what was not said of it.
void complete(ItemDictionary& attributes, const std::string& ownGroup) {
  const Date created = now();
  attributes.try_emplace(kSecAttrService, "");
  attributes.try_emplace(kSecAttrAccount, "");
  attributes.try_emplace(kSecAttrAccessGroup, ownGroup);
  attributes.try_emplace(kSecAttrSynchronizable, false);
  attributes.try_emplace(kSecAttrLabel, "");
  attributes.try_emplace(kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked);
  attributes.try_emplace(kSecAttrCreationDate, created);
  attributes.try_emplace(kSecAttrModificationDate, created);
  if (!isKey(attributes)) return;
  attributes.try_emplace(kSecAttrApplicationTag, Data());
  attributes.try_emplace(kSecAttrApplicationLabel, Data());
  attributes.try_emplace(kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom);
  attributes.try_emplace(kSecAttrKeySizeInBits, 256);
}

SecKeyRef keyOf(const Item& item) {
  const auto made = SecKeyCreateWithData(*item.value, item.attributes);
  const auto* key = std::get_if<SecKeyRef>(&made);
  ensure(key != nullptr, errSecDecode);
  return *key;
}

}  // namespace

bool isKey(const ItemDictionary& given) {
  const auto* itemClass = find<std::string>(given, kSecClass);
  ensure(itemClass != nullptr, errSecParam);
  if (*itemClass == kSecClassKey) return true;
  ensure(*itemClass == kSecClassGenericPassword, errSecUnimplemented);
  return false;
}

const IdentityNames& identityNames(const ItemDictionary& attributes) {
  static constexpr IdentityNames ofPasswords = {kSecAttrService, kSecAttrAccount};
  static constexpr IdentityNames ofKeys = {kSecAttrApplicationTag, kSecAttrApplicationLabel};
  return isKey(attributes) ? ofKeys : ofPasswords;
}

bool areOfItem(const ItemDictionary& attributes) {
  ItemDictionary rest = attributes;
  for (const char* date : {kSecAttrCreationDate, kSecAttrModificationDate}) {
    const auto entry = rest.find(date);
    if (entry == rest.end() || !isA<Date>(entry->second)) return false;
    rest.erase(entry);
  }
  return statusOf([&] {
           const bool ofKey = isKey(rest);
           ItemDictionary completed = checkedAttributes(rest, ofKey ? keyItem : passwordItem);
           ensure(!ofKey || completed.contains(kSecAttrKeyClass), errSecParam);
           complete(completed, "");
           ensure(completed.size() == attributes.size(), errSecParam);
         }) == errSecSuccess;
}

Item parseItem(const ItemDictionary& given) {
  const bool ofKey = isKey(given);
  Item item{checkedAttributes(given, ofKey ? keyItem : passwordItem),
            valueIn(given).value_or(Wiped<Data>())};
  ensure(!ofKey || given.contains(kSecAttrKeyClass), errSecParam);
  complete(item.attributes, usableGroups(item.attributes).front());
  return item;
}

ItemQuery parseQuery(const ItemDictionary& given) {
  auto attributes = checkedAttributes(given, isKey(given) ? keyQuery : passwordQuery);
  const auto synchronisation = attributes.try_emplace(kSecAttrSynchronizable, false).first;
  if (!isA<bool>(synchronisation->second)) attributes.erase(synchronisation);
  ItemQuery query{attributes, usableGroups(attributes), std::nullopt};
  if (const auto* limit = find<std::string>(given, kSecMatchLimit)) {
    query.matchLimit = *limit == kSecMatchLimitAll ? MatchLimit::all : MatchLimit::one;
  }
  return query;
}

ItemChanges parseChanges(const ItemDictionary& given) {
  ItemChanges made{checkedAttributes(given, changes), valueIn(given)};
  ensure(!made.attributes.empty() || made.value, errSecParam);
  usableGroups(made.attributes);
  made.attributes.emplace(kSecAttrModificationDate, now());
  return made;
}

ItemReturns parseReturns(const ItemDictionary& given) {
  const ItemReturns returns{.data = isTrue(given, kSecReturnData),
                            .attributes = isTrue(given, kSecReturnAttributes),
                            .reference = isTrue(given, kSecReturnRef)};
  const bool alone = !returns.data && !returns.attributes;
  ensure(!returns.reference || (alone && isKey(given)), errSecParam);
  return returns;
}

bool matches(const Item& item, const ItemQuery& query) {
  const auto has = [&item](const auto& wanted) {
    const auto entry = item.attributes.find(wanted.first);
    return entry != item.attributes.end() && entry->second == wanted.second;
  };
  const auto* group = find<std::string>(item.attributes, kSecAttrAccessGroup);
  return std::ranges::all_of(query.attributes, has) &&
         std::ranges::count(query.accessGroups, *group) > 0;
}

void apply(const ItemChanges& changes, Item& item) {
  for (const auto& [name, value] : changes.attributes) {
    item.attributes.insert_or_assign(name, value);
  }
  if (changes.value) item.value = *changes.value;
}

std::string_view identityText(const ItemValue& value) {
  if (const auto* text = value.get<std::string>()) return *text;
  if (const auto* bytes = value.get<Data>()) return Bytes(*bytes).text();
  return value == ItemValue(true) ? "1" : "0";
}

// Lengths keep the attributes apart: they may hold any character.
std::string uniquenessKey(const Item& item) {
  const auto& [service, account] = identityNames(item.attributes);
  std::string key;
  for (const char* name : {kSecClass, kSecAttrKeyClass, service, account, kSecAttrAccessGroup,
                           kSecAttrSynchronizable}) {
    const auto attribute = item.attributes.find(name);
    if (attribute == item.attributes.end()) continue;  // passwords have no key class
    const auto text = identityText(attribute->second);
    key.append(std::to_string(text.size())).append(":").append(text);
  }
  return key;
}

ItemValue rendered(Item item, const ItemReturns& returns) {
  if (returns.reference) return keyOf(item);
  if (!returns.attributes) return returns.data ? ItemValue(item.value.take()) : ItemValue();
  if (returns.data) item.attributes.emplace(kSecValueData, item.value.take());
  return std::move(item.attributes);
}

ItemValue rendered(std::vector<Item> found, const ItemReturns& returns, const ItemQuery& query) {
  if (query.matchLimit != MatchLimit::all) return rendered(std::move(found.front()), returns);
  if (!returns.data && !returns.attributes && !returns.reference) return {};
  ItemValue::List list;
  for (Item& item : found) list.push_back(rendered(std::move(item), returns));
  return list;
}

}  // namespace tarvex
