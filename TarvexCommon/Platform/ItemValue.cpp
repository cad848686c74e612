#include "TarvexCommon/Platform/ItemValue.h"

#include "TarvexCommon/Base/Wiped.h"

namespace tarvex {
namespace {

template <typename T>
bool isSame(const T& first, const T* second) {
  return second != nullptr && first == *second;
}

}  // namespace

ItemValue::ItemValue() noexcept = default;
ItemValue::ItemValue(const ItemValue& other) = default;
ItemValue::ItemValue(ItemValue&& other) noexcept = default;

ItemValue& ItemValue::operator=(ItemValue other) noexcept {
  value_.swap(other.value_);
  return *this;
}

ItemValue::~ItemValue() {
  if (auto* bytes = std::get_if<Data>(&value_)) wipe(*bytes);
  if (auto* text = std::get_if<std::string>(&value_)) wipe(*text);
}

ItemValue::ItemValue(ItemDictionary value)
    : value_(std::make_shared<const ItemDictionary>(std::move(value))) {}

ItemValue::ItemValue(List value) : value_(std::make_shared<const List>(std::move(value))) {}

bool operator==(const ItemValue& first, const ItemValue& second) {
  using List = ItemValue::List;
  if (const auto* list = first.get<List>()) return isSame(*list, second.get<List>());
  if (const auto* dictionary = first.get<ItemDictionary>()) {
    return isSame(*dictionary, second.get<ItemDictionary>());
  }
  return first.value_ == second.value_;
}

}  // namespace tarvex
