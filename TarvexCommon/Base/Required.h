// A field of an argument record that the caller has to name.
#pragma once

#include <concepts>
#include <type_traits>
#include <utility>

namespace tarvex {

// Holds a `Value` and has no default: a call that leaves the field out of its
// argument record does not compile. Nor does one that narrows: a pointer is no bool.
template <typename Value>
class Required {
 public:
  template <typename Source = Value>
    requires(std::convertible_to<Source, Value> &&
             !std::same_as<std::remove_cvref_t<Source>, Required> &&
             requires(Source && source) { Value{std::forward<Source>(source)}; })
  constexpr Required(Source&& value) : value_(std::forward<Source>(value)) {}

  constexpr const Value& get() const& noexcept { return value_; }
  constexpr Value&& get() && noexcept { return std::move(value_); }

 private:
  Value value_;
};

}  // namespace tarvex
