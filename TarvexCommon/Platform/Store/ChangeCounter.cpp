#include "TarvexCommon/Platform/Store/ChangeCounter.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>

#include "TarvexCommon/Base/ByteCoding.h"

namespace tarvex {
namespace {

constexpr std::size_t numberSize = 8;
using Coded = std::array<std::uint8_t, 2 * numberSize>;

Coded coded(std::int64_t changes) {
  const auto number = static_cast<std::uint64_t>(changes);
  Coded bytes;
  std::ranges::copy(bigEndian(number), bytes.begin());
  std::ranges::copy(bigEndian(~number), bytes.begin() + numberSize);
  return bytes;
}

std::optional<std::int64_t> changesIn(const Descriptor& file) {
  Coded bytes;
  const auto count = pread(file.number(), bytes.data(), bytes.size(), 0);
  if (count != std::ssize(bytes)) return std::nullopt;
  const auto changes = static_cast<std::int64_t>(fromBigEndian(Bytes(bytes).first(numberSize)));
  return changes >= 0 && bytes == coded(changes) ? std::optional(changes) : std::nullopt;
}

}  // namespace

std::optional<std::int64_t> ChangeCountFile::Count::missingIn(std::int64_t inDatabase) const {
  if (!isThere) return inDatabase == 0 ? std::nullopt : std::optional(std::int64_t{0});
  if (!changes) return 0;
  return *changes > inDatabase ? std::optional(*changes - inDatabase) : std::nullopt;
}

const Descriptor* ChangeCountFile::file() const {
  if (!file_ && folder_.has(countFile)) file_.emplace(folder_.open(countFile));
  return file_ ? &*file_ : nullptr;
}

// What seems damaged may be half written: it is looked at again.
ChangeCountFile::Count ChangeCountFile::read() const {
  if (file() == nullptr) return {};
  Count count = {.isThere = true};
  for (int tries = 10; tries > 0 && !count.changes; --tries) count.changes = changesIn(*file_);
  return count;
}

void ChangeCountFile::makeUnlessThere() const {
  if (file() != nullptr) return;
  folder_.write(countFile, coded(0));
  ensure(file() != nullptr, errSecIO);
}

// Where it fails the file counts fewer changes than there are, which harms nobody.
void ChangeCountFile::write(std::int64_t changes) const noexcept {
  const Coded bytes = coded(changes);
  (void)!pwrite(file_->number(), bytes.data(), bytes.size(), 0);
}

ChangeCounter::ChangeCounter(const StoreFolder& folder, const Database& database)
    : file_(folder),
      database_(database),
      readCount_(database.prepare("SELECT changes FROM store")),
      writeCount_(database.prepare("UPDATE store SET changes = ?1")) {}

std::int64_t ChangeCounter::inDatabase() const {
  if (countedVersion_ == database_.dataVersion()) return counted_;
  Rows row = readCount_.rows();
  counted_ = row.next() ? row.integer(0) : 0;
  countedVersion_ = database_.dataVersion();
  return counted_;
}

std::int64_t ChangeCounter::countOneMore(std::int64_t before) const {
  ensure(before < std::numeric_limits<std::int64_t>::max(), errSecDiskFull);  // no number is left
  file_.makeUnlessThere();
  writeCount_.run(before + 1);
  return before + 1;
}

void ChangeCounter::acceptLoss(const TransactionStatements& statements) const {
  Transaction transaction(statements);
  const std::int64_t changes =
      countOneMore(std::max(inDatabase(), file_.read().changes.value_or(0)));
  transaction.commit();
  file_.write(changes);
}

}  // namespace tarvex
