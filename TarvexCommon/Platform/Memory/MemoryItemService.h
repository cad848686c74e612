// An item service without a store, for tests and for hosts that keep nothing.
#pragma once

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

// Returns a service of its own, without items. They are in the memory of this
// process, gone with the last copy of the record; copies share them. Any thread
// may use it.
TARVEX_EXPORT ItemService memoryItemService();

}  // namespace tarvex
