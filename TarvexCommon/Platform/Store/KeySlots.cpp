#include "TarvexCommon/Platform/Store/KeySlots.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "TarvexCommon/Base/ByteCoding.h"
#include "TarvexCommon/Base/Text.h"
#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Platform/ItemFailure.h"

namespace tarvex {
namespace {

constexpr KeySlot allKinds[] = {KeySlot::file, KeySlot::secretService, KeySlot::passphrase};

constexpr std::string_view nameOf(KeySlot kind) {
  switch (kind) {
    case KeySlot::file: return "file";
    case KeySlot::passphrase: return "passphrase";
    case KeySlot::secretService: return "secret-service";
  }
  return {};
}

// What stretching costs in a new slot, and the most that an opened one may ask for, in KiB.
constexpr std::int64_t newCost = 1 << 17;
constexpr std::int64_t highestCost = 1 << 20;

SealingKey keyInFile(const StoreFolder& folder) {
  ensure(folder.has(keyFile), errSecNotAvailable);
  ensure(folder.sizeOf(keyFile) == static_cast<off_t>(SealingKey::size), errSecAuthFailed);
  const Wiped bytes(folder.read(keyFile));
  return SealingKey(*bytes);
}

void makeKeyFile(const StoreFolder& folder) {
  if (!folder.has(keyFile)) folder.write(keyFile, SealingKey::random().bytes());
}

bool isPowerOfTwo(std::int64_t number) { return number > 1 && (number & (number - 1)) == 0; }

SealingKey keyOfPassphrase(const Slot& slot, User& user) {
  ensure(isPowerOfTwo(slot.cost) && slot.cost <= highestCost, errSecInvalidKeychain);
  ensure(!user.passphrase().empty(), errSecInteractionNotAllowed);
  return SealingKey::stretched(user.passphrase(), slot.salt, static_cast<std::uint64_t>(slot.cost));
}

}  // namespace

std::string_view User::passphrase() {
  if (!passphrase_) {
    auto given = ask_ ? ask_() : std::nullopt;
    passphrase_.emplace(canonicalForm(given ? std::string_view(*given) : ""));
    if (given) wipe(*given);
  }
  return **passphrase_;
}

NewSlot::NewSlot(KeySlot kind, Bytes storeID, User& user)
    : slot_{.kind = std::string(nameOf(kind))} {
  if (kind == KeySlot::secretService) {
    inService_.emplace(storeID);
    key_ = keyInService(storeID, Prompts::none);
  }
  if (kind == KeySlot::passphrase) {
    slot_.salt = randomBytes(16);
    slot_.cost = newCost;
    key_ = keyOfPassphrase(slot_, user);
  }
}

void NewSlot::keep() noexcept {
  if (inService_) inService_->keep();
}

Sealer NewSlot::sealer(const StoreFolder& folder) const {
  if (key_) return Sealer(*key_);
  makeKeyFile(folder);
  return Sealer(keyInFile(folder));
}

// The file comes first, it is at hand, and the passphrase last: nobody is asked in vain. Read from
// the table itself, since an index that is damaged could hide one.
KeySlots::KeySlots(const Database& database, Bytes storeID) : storeID_(toData(storeID)) {
  const Statement all = database.prepare(
      "SELECT kind, salt, cost, wrapped FROM slot NOT INDEXED "
      "ORDER BY kind = 'passphrase', kind");
  for (Rows rows = all.rows(); rows.next();) {
    slots_.push_back({.kind = std::string(rows.bytes(0).text()),
                      .salt = toData(rows.bytes(1)),
                      .cost = rows.integer(2),
                      .wrapped = toData(rows.bytes(3))});
  }
}

bool KeySlots::has(KeySlot kind) const {
  return std::ranges::count(slots_, nameOf(kind), &Slot::kind) > 0;
}

std::vector<KeySlot> KeySlots::kinds() const {
  std::vector<KeySlot> found;
  std::ranges::copy_if(allKinds, std::back_inserter(found),
                       [this](KeySlot kind) { return has(kind); });
  return found;
}

KeySlots KeySlots::without(KeySlot kind) const {
  KeySlots rest = *this;
  std::erase_if(rest.slots_, [kind](const Slot& slot) { return slot.kind == nameOf(kind); });
  return rest;
}

void KeySlots::prepare(KeySlot kind, User& user) {
  if (kind == KeySlot::secretService) ensureKeepsKeys(user.prompts());
  if (kind == KeySlot::passphrase) ensure(!user.passphrase().empty(), errSecInteractionNotAllowed);
}

void KeySlots::add(const NewSlot& added, const SealingKey& master, const Database& database,
                   const StoreFolder& folder) const {
  const Slot& slot = added.slot_;
  const Data wrapped = added.sealer(folder).seal(master.bytes(), contextOf(slot));
  database.prepare("INSERT INTO slot VALUES (CAST(?1 AS TEXT), ?2, ?3, ?4)")
      .run(Bytes(slot.kind), slot.salt, slot.cost, wrapped);
}

void KeySlots::remove(KeySlot kind, const Database& database) {
  database.prepare("DELETE FROM slot WHERE kind = CAST(?1 AS TEXT)").run(Bytes(nameOf(kind)));
}

// A key that is not there says less than one that is locked or wrong.
SealingKey KeySlots::open(const StoreFolder& folder, User& user) const {
  ensure(!slots_.empty(), errSecInvalidKeychain);
  OSStatus telling = errSecNotAvailable;
  for (const Slot& slot : slots_) {
    try {
      return unwrapped(slot, wrappingKey(slot, folder, user));
    } catch (const ItemFailure& failure) {
      if (failure.status != errSecNotAvailable) telling = failure.status;
    }
  }
  throw ItemFailure{telling};
}

SealingKey KeySlots::wrappingKey(const Slot& slot, const StoreFolder& folder, User& user) const {
  if (slot.kind == nameOf(KeySlot::file)) return keyInFile(folder);
  if (slot.kind == nameOf(KeySlot::secretService)) return keyInService(storeID_, user.prompts());
  ensure(slot.kind == nameOf(KeySlot::passphrase), errSecNotAvailable);
  return keyOfPassphrase(slot, user);
}

SealingKey KeySlots::unwrapped(const Slot& slot, const SealingKey& key) const {
  auto opened = Sealer(key).open(slot.wrapped, contextOf(slot));
  ensure(opened.has_value(), errSecAuthFailed);
  const Wiped master(std::move(*opened));
  ensure(master->size() == SealingKey::size, errSecInvalidKeychain);
  return SealingKey(*master);
}

Data KeySlots::contextOf(const Slot& slot) const {
  Data context = storeID_;
  append(context, bigEndian(static_cast<std::uint64_t>(slot.cost)));
  append(context, slot.salt);
  append(context, slot.kind);
  return context;
}

}  // namespace tarvex
