#include "TarvexCommon/Common/TarvexAppGroups.h"

#include "TarvexCommon/Platform/Bundle.h"

namespace tarvex::TarvexAppGroups {

const std::string& common() {
  static const std::string identifier = teamIDPrefix() + "group.com.tarvex";
  return identifier;
}

}  // namespace tarvex::TarvexAppGroups
