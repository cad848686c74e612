// Attribute dictionaries of the item and key services.
#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/SecKey.h"

namespace tarvex {

class ItemValue;

// Attributes by the texts of the `kSec...` keys.
using ItemDictionary = std::map<std::string, ItemValue, std::less<>>;

// One attribute, or what a look-up returns: nothing, a boolean, a whole number, a
// text, bytes, a date, a key, a dictionary, or a list of values. Texts and bytes are
// overwritten when it goes: they may be secrets.
class TARVEX_EXPORT ItemValue {
 public:
  using List = std::vector<ItemValue>;

  ItemValue() noexcept;
  ItemValue(const ItemValue& other);
  ItemValue(ItemValue&& other) noexcept;
  ItemValue& operator=(ItemValue other) noexcept;
  ~ItemValue();

  template <std::same_as<bool> Bool>
  ItemValue(Bool value) noexcept : value_(value) {}
  template <std::integral Integer>
    requires(!std::same_as<Integer, bool> &&
             (std::signed_integral<Integer> || sizeof(Integer) < sizeof(std::int64_t)))
  ItemValue(Integer value)
  noexcept : value_(static_cast<std::int64_t>(value)) {}
  ItemValue(std::string value) noexcept : value_(std::move(value)) {}
  ItemValue(std::string_view value) : value_(std::string(value)) {}
  ItemValue(const char* value) : value_(std::string(value)) {}
  ItemValue(Data value) noexcept : value_(std::move(value)) {}
  ItemValue(Date value) noexcept : value_(value) {}
  ItemValue(SecKeyRef value) noexcept : value_(std::move(value)) {}
  ItemValue(ItemDictionary value);
  ItemValue(List value);

  // Returns the value when it is a `T` (bool, std::int64_t, std::string, Data,
  // Date, SecKeyRef, ItemDictionary, List), otherwise null.
  template <typename T>
  const T* get() const noexcept;

  bool isNothing() const noexcept { return std::holds_alternative<std::monostate>(value_); }

  // Dictionaries and lists compare by their elements, keys by identity.
  TARVEX_EXPORT friend bool operator==(const ItemValue& first, const ItemValue& second);

 private:
  template <typename T>
  using Shared = std::shared_ptr<const T>;

  std::variant<std::monostate, bool, std::int64_t, std::string, Data, Date, SecKeyRef,
               Shared<ItemDictionary>, Shared<List>>
      value_;
};

template <typename T>
const T* ItemValue::get() const noexcept {
  if constexpr (std::same_as<T, ItemDictionary> || std::same_as<T, List>) {
    const auto* shared = std::get_if<Shared<T>>(&value_);
    return shared == nullptr ? nullptr : shared->get();
  } else {
    return std::get_if<T>(&value_);
  }
}

// Returns the attribute `name` when it is there and a `T`, otherwise null.
template <typename T>
const T* find(const ItemDictionary& dictionary, std::string_view name) {
  const auto entry = dictionary.find(name);
  return entry == dictionary.end() ? nullptr : entry->second.template get<T>();
}

}  // namespace tarvex
