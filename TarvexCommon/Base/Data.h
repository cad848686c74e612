// Byte buffers: `Data` owns its bytes, `Bytes` borrows somebody else's.
#pragma once

#include <concepts>
#include <cstdint>
#include <ranges>
#include <span>
#include <string_view>
#include <vector>

namespace tarvex {

// An owned byte buffer.
using Data = std::vector<std::uint8_t>;

// A borrowed, read-only run of bytes. It is valid as long as the buffer that it
// was made from, so it is a parameter type, not a member type. A text gives its
// UTF-8 bytes, without a terminator.
class Bytes : public std::span<const std::uint8_t> {
 public:
  using std::span<const std::uint8_t>::span;

  constexpr Bytes(std::span<const std::uint8_t> bytes) noexcept : span(bytes) {}
  template <std::convertible_to<std::string_view> Text>
  Bytes(const Text& text) noexcept : Bytes(ofText(text)) {}

  // The same bytes seen as text; they need not be valid UTF-8.
  std::string_view text() const noexcept { return {reinterpret_cast<const char*>(data()), size()}; }

 private:
  static std::span<const std::uint8_t> ofText(std::string_view text) noexcept {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
  }
};

// Returns a copy of `bytes` that owns them.
inline Data toData(Bytes bytes) { return Data(bytes.begin(), bytes.end()); }

}  // namespace tarvex

template <>
inline constexpr bool std::ranges::enable_borrowed_range<tarvex::Bytes> = true;
