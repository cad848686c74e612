#include "TarvexCommon/Menu/MenuEnabling.h"

#include <limits>

#include "TarvexCommon/Base/FatalError.h"

namespace tarvex {

std::optional<MenuEnablingConditionTag> menuEnablingConditionTag(std::int64_t rawValue) noexcept {
  for (const auto tag :
       {MenuEnablingConditionTag::ownMenuDelegate, MenuEnablingConditionTag::isDebugMode}) {
    if (static_cast<std::int64_t>(tag) == rawValue) return tag;
  }
  return std::nullopt;
}

bool passConditionTag(std::int64_t tag) {
  require(tag != std::numeric_limits<std::int64_t>::min());
  return menuEnablingConditionTag(tag < 0 ? -tag : tag) != MenuEnablingConditionTag::isDebugMode;
}

}  // namespace tarvex
