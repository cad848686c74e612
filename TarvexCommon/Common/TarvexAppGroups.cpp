#include "TarvexCommon/Common/TarvexAppGroups.h"

#include "TarvexCommon/Platform/TeamIDPrefix.h"

namespace tarvex::TarvexAppGroups {

const std::string& common() {
  static const auto& identifier = *new std::string(teamIDPrefix() + "group.com.tarvex");
  return identifier;
}

}  // namespace tarvex::TarvexAppGroups
