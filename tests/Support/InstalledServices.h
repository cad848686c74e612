// The platform services of one test.
#pragma once

#include <utility>

#include "TarvexCommon/Platform/Memory/RecordingLog.h"
#include "TarvexCommon/Platform/Services.h"

namespace tarvex {

// Puts `services` in use, with a log that records, until the end of the test. What
// is not given is the platform's own; its items are the user's, which no test can reach.
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
