#include "TarvexCommon/Platform/Linux/SecretService.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <limits>
#include <mutex>
#include <string_view>
#include <system_error>
#include <utility>

#include "TarvexCommon/Platform/Linux/Forks.h"
#include "TarvexCommon/Platform/Linux/LibSecretObjects.h"

namespace tarvex {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto limitOfAnswers = 5s;
constexpr auto limitOfPrompts = 120s;

// Where there is no bus GLib would start one.
bool hasBus() {
  if (const char* address = secure_getenv("DBUS_SESSION_BUS_ADDRESS")) {
    return std::string_view(address).find("unix:") != std::string_view::npos;
  }
  const char* folder = secure_getenv("XDG_RUNTIME_DIR");
  struct stat found {};
  return folder != nullptr && stat((std::string(folder) + "/bus").c_str(), &found) == 0 &&
         S_ISSOCK(found.st_mode);
}

// Which fork of the process was the first to use the service.
constexpr std::uint64_t noFork = std::numeric_limits<std::uint64_t>::max();
std::atomic<std::uint64_t> forkOfFirstUse = noFork;

// A thread that begins while one lives does not get the signals of the host, nor do those of GLib
// that it starts.
class NoSignals {
 public:
  NoSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  NoSignals(const NoSignals&) = delete;
  NoSignals& operator=(const NoSignals&) = delete;
  ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

std::future<void> startedWithoutSignals(const std::function<void()>& work) {
  const NoSignals none;
  try {
    return std::async(std::launch::async, work);
  } catch (const std::system_error&) {  // no thread can be had
    throw ItemFailure{errSecAllocate};
  }
}

OSStatus statusOfError(const GError& error) {
  const bool isLocked =
      error.domain == libsecret().secret_error_get_quark() && error.code == SECRET_ERROR_IS_LOCKED;
  return isLocked ? errSecInteractionNotAllowed : errSecNotAvailable;
}

// The end of the operation that is waited for now.
class Limit {
 public:
  void restart(std::chrono::seconds length = limitOfAnswers) { end_ = Clock::now() + length; }

  // Calls one of those functions that end with a means to cancel them and a place for an error.
  template <typename Function, typename... Arguments>
  auto call(const Function& function, Arguments... arguments) const {
    GError* error = nullptr;
    const auto result = function(arguments..., cancellable_.get(), &error);
    if (error == nullptr) return result;
    const OSStatus status = statusOfError(*error);
    libsecret().g_error_free(error);
    throw ItemFailure{status};
  }

  // Waits for the end of `work`, and makes it fail when the limit is over. That may come to be
  // earlier while this waits: when the user has answered.
  void watch(std::future<void> work) const {
    while (Clock::now() < end_.load()) {
      const auto next = std::min(end_.load(), Clock::now() + 1s);
      if (work.wait_until(next) == std::future_status::ready) return work.get();
    }
    libsecret().g_cancellable_cancel(cancellable_.get());
    work.get();
  }

 private:
  std::atomic<Clock::time_point> end_ = Clock::now() + limitOfAnswers;
  Owned<GCancellable> cancellable_{libsecret().g_cancellable_new()};
};

Secret secretOf(Owned<SecretItem> item, SecretService::Values values) {
  const Table table(libsecret().secret_item_get_attributes(item.get()));
  Wiped<Data> value;
  if (values == SecretService::Values::loaded) value = secretIn(item.get());
  return {.handle = std::move(item), .attributes = table.attributes(), .value = std::move(value)};
}

SecretItem* itemOf(const Secret& secret) { return static_cast<SecretItem*>(secret.handle.get()); }

}  // namespace

struct SecretService::Connection {
  Connection(Limit& itsLimit, Prompts itsPrompts) : limit(itsLimit), prompts(itsPrompts) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() {
    service.reset();
    context.clear(bus.get());
  }

  std::vector<Owned<SecretItem>> search(const SecretAttributes& attributes, Values values) const {
    const auto flags = values == Values::unread ? SECRET_SEARCH_ALL
                                                : SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS;
    const Table table(attributes);
    GList* found = limit.call(libsecret().secret_service_search_sync, service.get(), nullptr,
                              table.get(), static_cast<SecretSearchFlags>(flags));
    std::vector<Owned<SecretItem>> items;
    for (const GList* each = found; each != nullptr; each = each->next) {
      items.emplace_back(static_cast<SecretItem*>(each->data));
    }
    libsecret().g_list_free(found);
    return items;
  }

  // Returns what `look` returns, unlocked objects, where need be after the user was asked.
  template <typename Look>
  auto unlocked(const Look& look) const {
    auto objects = look();
    if (std::ranges::none_of(objects, IsLocked())) return objects;
    ensure(prompts == Prompts::allowed, errSecInteractionNotAllowed);
    askToUnlock(objects);
    objects = look();
    ensure(std::ranges::none_of(objects, IsLocked()), errSecInteractionNotAllowed);
    return objects;
  }

  template <typename Objects>
  void askToUnlock(const Objects& objects) const {
    GList* list = nullptr;
    for (const auto& object : objects) list = libsecret().g_list_prepend(list, object.get());
    const auto unlock = [](auto* by, GList* all, GCancellable* cancellable, GError** error) {
      return libsecret().secret_service_unlock_sync(by, all, cancellable, nullptr, error);
    };
    limit.restart(limitOfPrompts);
    const OSStatus status = statusOf([&] { limit.call(unlock, service.get(), list); });
    limit.restart();
    libsecret().g_list_free(list);
    ensure(status == errSecSuccess, errSecInteractionNotAllowed);
  }

  // Returns the default collection, unlocked.
  Owned<SecretCollection> collectionForItems() const {
    auto found = unlocked([this] {
      std::array collections{Owned<SecretCollection>(
          limit.call(libsecret().secret_collection_for_alias_sync, service.get(),
                     SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE))};
      ensure(collections[0] != nullptr, errSecNotAvailable);
      return collections;
    });
    return std::move(found[0]);
  }

  // One that was closed in the midst of a call is kept by GLib, and is of no use.
  Owned<GDBusConnection> openBus() const {
    Owned<GDBusConnection> opened(limit.call(libsecret().g_bus_get_sync, G_BUS_TYPE_SESSION));
    ensure(libsecret().g_dbus_connection_is_closed(opened.get()) == 0, errSecNotAvailable);
    return opened;
  }

  Limit& limit;
  const Prompts prompts;
  const Context context = {};
  const Owned<GDBusConnection> bus = openBus();
  Owned<::SecretService> service{limit.call(libsecret().secret_service_open_sync,
                                            libsecret().secret_service_get_type(), nullptr,
                                            SECRET_SERVICE_NONE)};
};

bool SecretService::isOutOfReach() {
  const std::uint64_t first = forkOfFirstUse;
  return first != noFork && first != forkNumber();
}

void SecretService::use(Prompts prompts, const std::function<void(SecretService&)>& work) {
  ensure(!isOutOfReach() && hasBus(), errSecNotAvailable);
  forkOfFirstUse = forkNumber();
  ensure(LibSecret::loaded() != nullptr, errSecNotAvailable);
  static std::timed_mutex conversation;
  const std::unique_lock turn(conversation,
                              prompts == Prompts::none ? limitOfAnswers : limitOfPrompts);
  ensure(turn.owns_lock(), errSecNotAvailable);
  Limit limit;
  const auto converse = [&] {
    SecretService service(std::make_unique<Connection>(limit, prompts));
    work(service);
  };
  limit.watch(startedWithoutSignals(converse));
}

SecretService::SecretService(std::unique_ptr<Connection> connection)
    : connection_(std::move(connection)) {}

SecretService::~SecretService() = default;

std::vector<Secret> SecretService::find(const SecretAttributes& attributes, Values values) {
  auto items = connection_->unlocked([&] { return connection_->search(attributes, values); });
  std::vector<Secret> found;
  found.reserve(items.size());
  for (Owned<SecretItem>& item : items) found.push_back(secretOf(std::move(item), values));
  connection_->limit.restart();
  return found;
}

void SecretService::ensureTakesItems() {
  connection_->collectionForItems();
  connection_->limit.restart();
}

void SecretService::add(const std::string& label, const SecretAttributes& attributes, Bytes value) {
  const auto collection = connection_->collectionForItems();
  const Table table(attributes);
  const Value secret = valueOf(value);
  const Owned<SecretItem> made(
      connection_->limit.call(libsecret().secret_item_create_sync, collection.get(), nullptr,
                              table.get(), label.c_str(), secret.get(), SECRET_ITEM_CREATE_NONE));
  connection_->limit.restart();
}

void SecretService::change(const Secret& secret, const std::string& label,
                           const SecretAttributes& attributes,
                           const std::optional<Wiped<Data>>& value) {
  const Table table(attributes);
  SecretItem* item = itemOf(secret);
  if (value) {
    const Value made = valueOf(**value);
    connection_->limit.call(libsecret().secret_item_set_secret_sync, item, made.get());
  }
  if (attributes != secret.attributes) {
    connection_->limit.call(libsecret().secret_item_set_attributes_sync, item, nullptr,
                            table.get());
  }
  if (label != labelOf(item)) {
    connection_->limit.call(libsecret().secret_item_set_label_sync, item, label.c_str());
  }
  connection_->limit.restart();
}

void SecretService::remove(const Secret& secret) {
  connection_->limit.call(libsecret().secret_item_delete_sync, itemOf(secret));
  connection_->limit.restart();
}

}  // namespace tarvex
