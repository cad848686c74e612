#include "TarvexCommon/Platform/Services.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "TarvexCommon/Platform/Linux/OpenSSLKeyService.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"

namespace tarvex {
namespace {

std::mutex mutex;

// Never destroyed: a static object of the host's may use the library at exit.
std::atomic<const Services*> inUse;

// Destroys the former set, if there is one, when the new one is in use.
const Services& install(Services services) {
  auto made = std::make_unique<const Services>(std::move(services));
  const std::unique_ptr<const Services> former(inUse.exchange(made.get()));
  return *made.release();
}

const Services& installDefault() {
  const std::lock_guard lock(mutex);
  const Services* services = inUse.load(std::memory_order_acquire);
  return services != nullptr ? *services : install({});
}

}  // namespace

ItemService Services::defaultItemService() { return KeychainStore().itemService(); }

KeyService Services::defaultKeyService() { return openSSLKeyService(); }

void installServices(Services services) {
  if (!services.log) throw std::invalid_argument("Services: the log is missing");
  if (!services.stringTable) throw std::invalid_argument("Services: the string table is missing");
  if (!services.clock) throw std::invalid_argument("Services: the clock is missing");
  const std::lock_guard lock(mutex);
  install(std::move(services));
}

const Services& services() {
  const Services* services = inUse.load(std::memory_order_acquire);
  return services != nullptr ? *services : installDefault();
}

Date now() { return services().clock(); }

}  // namespace tarvex
