// Owners of OpenSSL's objects, and its error queue. Internal.
#pragma once

#include <openssl/err.h>

#include <memory>
#include <new>

namespace tarvex {

template <auto release>
struct OpenSSLRelease {
  template <typename Object>
  void operator()(Object* object) const noexcept {
    release(object);
  }
};

template <typename Object, auto release>
using OpenSSLOwner = std::unique_ptr<Object, OpenSSLRelease<release>>;

// Returns `object`, or throws `std::bad_alloc` where OpenSSL could not make it.
template <typename Object>
Object* allocated(Object* object) {
  if (object == nullptr) throw std::bad_alloc();
  return object;
}

// Throws `std::bad_alloc` unless `status` is 1, that of success: with arguments that are right,
// what OpenSSL and the kernel do here fails for want of memory, or of randomness, only.
inline void completed(int status) {
  if (status != 1) throw std::bad_alloc();
}

// Leaves the thread's error queue as the host had it.
struct OpenSSLErrorMark {
  OpenSSLErrorMark() { ERR_set_mark(); }
  ~OpenSSLErrorMark() { ERR_pop_to_mark(); }
  OpenSSLErrorMark(const OpenSSLErrorMark&) = delete;
  OpenSSLErrorMark& operator=(const OpenSSLErrorMark&) = delete;
};

}  // namespace tarvex
