#include "TarvexCommon/Common/StatusMessage.h"

#include <utility>

#include "TarvexCommon/Common/LocalizedString.h"

namespace tarvex {

std::string statusMessage(OSStatus status) {
  if (auto message = SecCopyErrorMessageString(status)) return std::move(*message);
  return localizedLibraryString("KEYCHAIN_UNKNOWN", "unknown keychain error",
                                "unknown keychain error");
}

}  // namespace tarvex
