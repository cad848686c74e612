// Items in the desktop's own keyring, for hosts whose users are to see them there: an item service
// on the Secret Service (GNOME Keyring, KWallet, KeePassXC), by libsecret.
//
// It keeps each item, passwords and keys, as one item of the default collection. Where it differs
// from the store (Store/KeychainStore.h):
//
//   in clear    all attributes, for every program of the session, whatever is locked; only values
//               are secret. What protects them is the service's.
//   locked      no item is found, changed or added (`errSecInteractionNotAllowed`)
//   unique      within a process. Two processes that add the same item at once may both succeed;
//               then both are found, the older one first.
//   changes     of several items are several changes: what fails in between is not undone
//   order       by the machine's clock at the time they were added
//   children    of a process that has used it get `errSecNotAvailable`
//   speed       milliseconds for an operation, more with the number of items
//
// It answers `errSecNotAvailable` where there is no session bus, no service, no libsecret, and
// where the service does not answer within 5 seconds.
#pragma once

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

struct SecretServiceOptions {
  // Whether the desktop may ask the user to unlock its keyring; an operation then waits for the
  // answer, up to two minutes.
  bool mayPrompt = false;
};

// Returns a service on the items that all its users in the session share. Any thread may use it;
// those of a process take turns. GLib starts two threads for it, which stay.
TARVEX_EXPORT ItemService secretServiceItemService(SecretServiceOptions options = {});

}  // namespace tarvex
