// Verification of ECDSA signatures over P-256 (FIPS 186-4, 6.4), faster for a key that is used
// often. Everything here is public, so nothing here runs in constant time. Internal.
//
// Where there is no memory left for a verification it throws `std::bad_alloc`: that is no answer.
#pragma once

#include <atomic>
#include <memory>

#include "TarvexCommon/Platform/Linux/OpenSSLP256.h"

namespace tarvex {

struct SignatureNumbers {
  Scalar r;
  Scalar s;

  // Whether both are between 1 and n - 1.
  bool areInRange() const;
};

struct VerificationWork;

// Multiples of a public key, 150 KiB of them: a verification with these takes a third of the
// time of one without, and making them that of several hundred.
class VerificationTable {
 public:
  // Returns null where it cannot be made, for want of memory or because OpenSSL has but its generic
  // code for the curve.
  static std::unique_ptr<const VerificationTable> make(const EC_POINT* publicKey);

  // Calculates the sum u1 G + u2 Q, where Q is the public key.
  void calculateSum(VerificationWork& work) const;

 private:
  using Group = OpenSSLOwner<EC_GROUP, EC_GROUP_free>;

  explicit VerificationTable(Group group) : group_(std::move(group)) {}

  Group group_;  // P-256 with Q as its generator, for which alone OpenSSL keeps tables
};

// Returns whether `signature`, in range, is one of `digest` by the key; `table` is the key's,
// or null.
bool isSignature(const SignatureNumbers& signature, const Scalar& digest, const EC_POINT* publicKey,
                 const VerificationTable* table);

// A public key that counts how often it verifies and makes its table when that has cost about as
// much as the table does. May be used by several threads at once: one makes the table, and the
// others go on without until it is there.
class VerificationKey {
 public:
  static constexpr unsigned usesWithoutTable = 512;

  explicit VerificationKey(P256Point point) : point_(std::move(point)) {}
  ~VerificationKey() { delete table_.load(); }
  VerificationKey(const VerificationKey&) = delete;
  VerificationKey& operator=(const VerificationKey&) = delete;

  const EC_POINT* point() const { return point_.get(); }

  // `signature` is in range.
  bool verifies(const SignatureNumbers& signature, const Scalar& digest) const;

  bool hasTable() const { return table_.load() != nullptr; }

 private:
  const VerificationTable* table() const;
  bool isDue() const;

  P256Point point_;
  mutable std::atomic<unsigned> uses_ = 0;
  mutable std::atomic<const VerificationTable*> table_ = nullptr;
};

}  // namespace tarvex
