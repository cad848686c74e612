// Menu items that are enabled, disabled, shown and hidden by their tags.
//
//   tag       meaning
//   0         not managed, never touched
//   positive  an ordinary item
//   negative  an alternate, shown while alternates are: a variant of an item that stands for
//             another key with a modifier
//
// The absolute value of a tag may name a condition. Menu items belong to the thread of the
// user interface, and so do these operations.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <ranges>
#include <type_traits>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

enum class MenuEnablingConditionTag : std::int64_t {
  ownMenuDelegate = 1001,  // the menu's own delegate decides: always passes here
  isDebugMode = 1111,      // belongs to debug mode: never passes here
};

// Returns the condition of a raw value, or nothing.
TARVEX_EXPORT std::optional<MenuEnablingConditionTag> menuEnablingConditionTag(
    std::int64_t rawValue) noexcept;

// Something that has a tag and can be enabled and hidden.
template <typename Item>
concept MenuItem = requires(Item& item, bool flag) {
  { item.tag() } -> std::convertible_to<std::int64_t>;
  item.setEnabled(flag);
  item.setHidden(flag);
};

// A list of items, or of pointers to them.
template <typename Items>
concept MenuItems = std::ranges::input_range<Items> &&
    (MenuItem<std::remove_reference_t<std::ranges::range_reference_t<Items>>> ||
     requires(std::ranges::range_reference_t<Items> item) {
       requires MenuItem<std::remove_reference_t<decltype(*item)>>;
     });

// Returns false for a tag, positive or negative, of `isDebugMode`, and true for every other.
// Stops the process for the smallest integer, which has no absolute value.
TARVEX_EXPORT bool passConditionTag(std::int64_t tag);

namespace menu {

template <typename Item>
auto& itemOf(Item& item) {
  if constexpr (MenuItem<Item>) return item;
  else return *item;
}

}  // namespace menu

// Enables or disables each item by the condition of its tag; those with tag 0 stay as they
// are. Stops the process as `passConditionTag` does, after the items before that one.
template <MenuItems Items>
void updateMenuItems(Items&& items) {
  for (auto&& each : items) {
    auto& item = menu::itemOf(each);
    if (item.tag() != 0) item.setEnabled(passConditionTag(item.tag()));
  }
}

// Shows or hides the alternates among `alternateItems`; those of debug mode stay hidden.
template <MenuItems Items>
void toggleVisibility(bool isVisible, Items&& alternateItems) {
  constexpr auto debug = static_cast<std::int64_t>(MenuEnablingConditionTag::isDebugMode);
  for (auto&& each : alternateItems) {
    auto& item = menu::itemOf(each);
    if (item.tag() < 0) item.setHidden(!isVisible || item.tag() == -debug);
  }
}

}  // namespace tarvex
