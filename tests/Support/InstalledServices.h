// The platform services of one test.
#pragma once

#include <utility>

#include "TarvexCommon/Platform/Memory/RecordingLog.h"
#include "TarvexCommon/Platform/Services.h"

namespace tarvex {

// Puts `services` in use, with a log that records, until the end of the test. What
// is not given is the platform's own: items are in memory, and new ones each time.
class InstalledServices {
 public:
  explicit InstalledServices(Services services = {}) {
    services.log = log.sink();
    installServices(std::move(services));
  }
  ~InstalledServices() { installServices({}); }
  InstalledServices(const InstalledServices&) = delete;
  InstalledServices& operator=(const InstalledServices&) = delete;

  const RecordingLog log;
};

}  // namespace tarvex
