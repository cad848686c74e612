#include "TarvexCommon/Platform/Linux/OpenSSLVerification.h"

#include <gmp.h>
#include <openssl/bn.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "TarvexCommon/Base/ThreadSpare.h"

namespace tarvex {

// What OpenSSL works with. To make it takes a fifteenth of a verification, so that each thread
// keeps it for its next one.
struct VerificationWork {
  using Number = OpenSSLOwner<BIGNUM, BN_free>;

  OpenSSLOwner<BN_CTX, BN_CTX_free> context{allocated(BN_CTX_new())};
  Number u1{allocated(BN_new())};
  Number u2{allocated(BN_new())};
  Number x{allocated(BN_new())};
  Number z{allocated(BN_new())};
  P256Point sum = newPoint();
  P256Point product = newPoint();
};

namespace {

// A number below 2^256, its lowest limb first. GMP inverts ten times as fast as OpenSSL, which
// has secrets to protect, and needs no memory for numbers of this size.
constexpr std::size_t limbSize = sizeof(mp_limb_t);
constexpr std::size_t limbCount = p256ScalarSize / limbSize;
using Limbs = std::array<mp_limb_t, limbCount>;

static_assert(GMP_NAIL_BITS == 0);

constexpr Limbs toLimbs(const Scalar& bytes) {
  Limbs number{};
  const std::uint8_t* byte = bytes.data();
  for (std::size_t i = limbCount; i-- > 0;) {
    for (std::size_t k = 0; k < limbSize; ++k) number[i] = number[i] << 8 | *byte++;
  }
  return number;
}

constexpr Scalar toBytes(const Limbs& number) {
  Scalar bytes{};
  std::uint8_t* byte = bytes.data();
  for (std::size_t i = limbCount; i-- > 0;) {
    for (std::size_t k = limbSize; k-- > 0;) {
      *byte++ = static_cast<std::uint8_t>(number[i] >> 8 * k);
    }
  }
  return bytes;
}

constexpr Limbs primeLimbs = toLimbs(p256Prime);
constexpr Limbs orderLimbs = toLimbs(p256Order);

Limbs product(const Limbs& a, const Limbs& b, const Limbs& modulus) {
  std::array<mp_limb_t, 2 * limbCount> whole;
  std::array<mp_limb_t, limbCount + 1> quotient;
  Limbs remainder;
  mpn_mul_n(whole.data(), a.data(), b.data(), limbCount);
  mpn_tdiv_qr(quotient.data(), remainder.data(), 0, whole.data(), whole.size(), modulus.data(),
              limbCount);
  return remainder;
}

// Returns w with w `number` = 1 or -1 modulo the order, for a number from 1 to n - 1. The sign
// does not matter: the opposite of a point has the same x.
Limbs inverse(Limbs number) {
  Limbs modulus = orderLimbs;
  Limbs divisor;
  std::array<mp_limb_t, limbCount + 1> factor;
  mp_size_t size = 0;  // negative when the factor is
  mpn_gcdext(divisor.data(), factor.data(), &size, number.data(), limbCount, modulus.data(),
             limbCount);
  Limbs result{};
  std::copy_n(factor.begin(), std::abs(size), result.begin());
  return result;
}

void assign(BIGNUM* number, const Limbs& limbs) {
  const Scalar bytes = toBytes(limbs);
  allocated(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), number));
}

// Whether r Z^2 is X modulo p, for `r` or for r + n where that is below p.
bool isX(const Limbs& x, const Limbs& z, Limbs r) {
  const Limbs zSquared = product(z, z, primeLimbs);
  if (product(r, zSquared, primeLimbs) == x) return true;
  const mp_limb_t carry = mpn_add_n(r.data(), r.data(), orderLimbs.data(), limbCount);
  return carry == 0 && mpn_cmp(r.data(), primeLimbs.data(), limbCount) < 0 &&
         product(r, zSquared, primeLimbs) == x;
}

// Whether the x coordinate of the sum is r modulo the order. It is X / Z^2, of which the
// division takes longer than all the rest.
bool sumHasX(const Limbs& r, VerificationWork& work) {
  if (EC_POINT_is_at_infinity(p256(), work.sum.get()) == 1) return false;
  completed(EC_POINT_get_Jprojective_coordinates_GFp(p256(), work.sum.get(), work.x.get(), nullptr,
                                                     work.z.get(), work.context.get()));
  return isX(toLimbs(toScalar(work.x.get())), toLimbs(toScalar(work.z.get())), r);
}

void calculateSumWithoutTable(const EC_POINT* publicKey, VerificationWork& work) {
  completed(EC_POINT_mul(p256(), work.sum.get(), work.u1.get(), publicKey, work.u2.get(),
                         work.context.get()));
}

bool isSignature(const SignatureNumbers& signature, const Scalar& digest, const EC_POINT* publicKey,
                 const VerificationTable* table, VerificationWork& work) {
  const Limbs r = toLimbs(signature.r);
  const Limbs w = inverse(toLimbs(signature.s));
  assign(work.u1.get(), product(toLimbs(digest), w, orderLimbs));
  assign(work.u2.get(), product(r, w, orderLimbs));
  if (table != nullptr) {
    table->calculateSum(work);
  } else {
    calculateSumWithoutTable(publicKey, work);
  }
  return sumHasX(r, work);
}

}  // namespace

bool SignatureNumbers::areInRange() const {
  const auto isInRange = [](const Scalar& number) {
    return !isZero(number) && isBelow(number, p256Order);
  };
  return isInRange(r) && isInRange(s);
}

namespace {

// OpenSSL's generic code makes a table for any generator and multiplies without it, so that two
// products take more than twice the time of the sum.
bool isGenericCode() {
  const EC_METHOD* code = EC_GROUP_method_of(p256());
  return code == EC_GFp_mont_method() || code == EC_GFp_nist_method();
}

}  // namespace

std::unique_ptr<const VerificationTable> VerificationTable::make(const EC_POINT* publicKey) {
  if (isGenericCode()) return nullptr;
  Group group(EC_GROUP_dup(p256()));
  if (!group ||
      EC_GROUP_set_generator(group.get(), publicKey, EC_GROUP_get0_order(p256()),
                             EC_GROUP_get0_cofactor(p256())) != 1 ||
      EC_GROUP_precompute_mult(group.get(), nullptr) != 1 ||
      EC_GROUP_have_precompute_mult(group.get()) != 1) {
    return nullptr;
  }
  return std::unique_ptr<const VerificationTable>(new (std::nothrow)
                                                      VerificationTable(std::move(group)));
}

void VerificationTable::calculateSum(VerificationWork& work) const {
  EC_POINT *sum = work.sum.get(), *product = work.product.get();
  BN_CTX* context = work.context.get();
  completed(EC_POINT_mul(p256(), sum, work.u1.get(), nullptr, nullptr, context));
  completed(EC_POINT_mul(group_.get(), product, work.u2.get(), nullptr, nullptr, context));
  completed(EC_POINT_add(p256(), sum, sum, product, context));
}

bool isSignature(const SignatureNumbers& signature, const Scalar& digest, const EC_POINT* publicKey,
                 const VerificationTable* table) {
  using Spare = ThreadSpare<std::unique_ptr<VerificationWork>>;
  auto work = Spare::take();
  if (work == nullptr) work = std::make_unique<VerificationWork>();
  const bool answer = isSignature(signature, digest, publicKey, table, *work);
  Spare::keep(std::move(work));
  return answer;
}

bool VerificationKey::verifies(const SignatureNumbers& signature, const Scalar& digest) const {
  const OpenSSLErrorMark mark;
  return isSignature(signature, digest, point(), table());
}

const VerificationTable* VerificationKey::table() const {
  const VerificationTable* table = table_.load(std::memory_order_acquire);
  if (table == nullptr && isDue()) {
    table = VerificationTable::make(point()).release();
    table_.store(table, std::memory_order_release);
  }
  return table;
}

// True once. No thread writes what the others read any more from then on, whether a table
// could be made or not.
bool VerificationKey::isDue() const {
  return uses_.load(std::memory_order_relaxed) < usesWithoutTable &&
         uses_.fetch_add(1, std::memory_order_relaxed) + 1 == usesWithoutTable;
}

}  // namespace tarvex
