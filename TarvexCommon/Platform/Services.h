// The platform services in use.
//
//   tarvex::installServices({.bundle = {
//       .identifier = "com.example.notes",
//       .infoDictionary = {{"TeamIDPrefix", "ABCDE12345."}},
//   }});
#pragma once

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/Bundle.h"
#include "TarvexCommon/Platform/Clock.h"
#include "TarvexCommon/Platform/ItemService.h"
#include "TarvexCommon/Platform/KeyService.h"
#include "TarvexCommon/Platform/Log.h"
#include "TarvexCommon/Platform/StringTable.h"

namespace tarvex {

// One of each; what is not given is the platform's own.
struct TARVEX_EXPORT Services {
  Bundle bundle = {};
  LogSink log = systemLog();
  StringTable stringTable = gettextStringTable();
  ItemService itemService = defaultItemService();
  KeyService keyService = defaultKeyService();
  Clock clock = systemClock();

  // Items in the user's store (Store/KeychainStore.h), which their first use opens.
  static ItemService defaultItemService();
  // Keys and signatures by OpenSSL.
  static KeyService defaultKeyService();
};

// Puts a set in use. Call it at start-up, before anything else of the library and
// while no other thread uses it: the app group, the keychain's access groups and the
// log keep what the former set said. Throws std::invalid_argument when the log, the string table or
// the clock is empty.
TARVEX_EXPORT void installServices(Services services);

// Returns the set in use; where none was installed, the platform's own, made on
// first use.
TARVEX_EXPORT const Services& services();

}  // namespace tarvex
