// The platform services of one test.
#pragma once

#include <utility>

#include "TarvexCommon/Platform/Memory/MemoryItemService.h"
#include "TarvexCommon/Platform/Memory/RecordingLog.h"
#include "TarvexCommon/Platform/Services.h"

namespace tarvex {

// Puts `services` in use, with a log that records, until the end of the test: where none are
// given the platform's own, but items in memory. Services that name no items have the user's,
// which are out of reach in ctest (tests/CMakeLists.txt).
class InstalledServices {
 public:
  explicit InstalledServices(Services services = {.itemService = memoryItemService()}) {
    services.log = log.sink();
    installServices(std::move(services));
  }
  ~InstalledServices() { installServices({}); }
  InstalledServices(const InstalledServices&) = delete;
  InstalledServices& operator=(const InstalledServices&) = delete;

  const RecordingLog log;
};

}  // namespace tarvex
