// The keychain services and access groups that the team's applications share.
#pragma once

#include <string>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

namespace TarvexKeychainServices {

TARVEX_EXPORT const std::string& cloud();    // "com.tarvex.cloud"
TARVEX_EXPORT const std::string& devices();  // "com.tarvex.devices"

}  // namespace TarvexKeychainServices

// The host's "TeamIDPrefix" with the service directly behind it, for example
// "ABCDE12345.com.tarvex.cloud". Made on first use and kept. They stop the process
// when the host's bundle has no "TeamIDPrefix".
namespace TarvexKeychainAccessGroups {

TARVEX_EXPORT const std::string& cloud();
TARVEX_EXPORT const std::string& devices();

}  // namespace TarvexKeychainAccessGroups

}  // namespace tarvex
