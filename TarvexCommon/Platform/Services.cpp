#include "TarvexCommon/Platform/Services.h"

#include <atomic>
#include <memory>
#include <mutex>

#include "TarvexCommon/Platform/Linux/OpenSSLKeyService.h"
#include "TarvexCommon/Platform/Memory/MemoryItemService.h"

namespace tarvex {
namespace {

std::mutex mutex;
std::unique_ptr<const Services> owner;
std::atomic<const Services*> inUse;

const Services& install(Services services) {
  auto made = std::make_unique<const Services>(std::move(services));
  inUse.store(made.get(), std::memory_order_release);
  owner.swap(made);
  return *owner;
}

const Services& installDefault() {
  const std::lock_guard lock(mutex);
  const Services* services = inUse.load(std::memory_order_acquire);
  return services != nullptr ? *services : install({});
}

}  // namespace

ItemService Services::defaultItemService() { return memoryItemService(); }

KeyService Services::defaultKeyService() { return openSSLKeyService(); }

void installServices(Services services) {
  const std::lock_guard lock(mutex);
  install(std::move(services));
}

const Services& services() {
  const Services* services = inUse.load(std::memory_order_acquire);
  return services != nullptr ? *services : installDefault();
}

Date now() { return services().clock(); }

}  // namespace tarvex
