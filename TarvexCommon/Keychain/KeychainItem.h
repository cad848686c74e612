// The catalogue of the secrets that the applications share: in which service and
// access group each one lives, under which label, and whether it is synced.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// A KeychainItemProtocol type describes one stored item. Host applications may
// describe items of their own: any type with these four properties will do.
//
//   serviceName  the keychain service
//   accessGroup  the keychain access group
//   rawLabel     the label part of the account, user + ":" + label
//   isSynced     whether the item is cloud-synchronised, by value; absent leaves
//                the synchronisation key out of every query
template <typename Item>
concept KeychainItemProtocol = requires(const Item& item) {
  { item.serviceName() } -> std::convertible_to<std::string>;
  { item.accessGroup() } -> std::convertible_to<std::string>;
  { item.rawLabel() } -> std::convertible_to<std::string>;
  { item.isSynced() } -> std::same_as<std::optional<bool>>;
};

// One of the four well-known secrets: a plain value, compared by case.
//
//   item             service  access group  label            synced
//   password         devices  devices       "password"       yes
//   containerKey     devices  devices       "container_key"  yes
//   accessTokenAPI   cloud    cloud         "access token"   no
//   refreshTokenAPI  cloud    cloud         "refresh token"  no
class TARVEX_EXPORT KeychainItem {
 public:
  enum class Case { password, containerKey, accessTokenAPI, refreshTokenAPI };

  static const KeychainItem password;
  static const KeychainItem containerKey;
  static const KeychainItem accessTokenAPI;
  static const KeychainItem refreshTokenAPI;

  // All four items, in the order above.
  static const std::array<KeychainItem, 4> allCases;

  std::string serviceName() const;

  // Stops the process when the host's bundle has no "TeamIDPrefix".
  std::string accessGroup() const;

  std::string rawLabel() const;

  // Never absent for an item of the catalogue.
  std::optional<bool> isSynced() const;

  constexpr Case itemCase() const noexcept { return case_; }
  friend constexpr bool operator==(KeychainItem, KeychainItem) = default;

 private:
  explicit constexpr KeychainItem(Case itemCase) noexcept : case_(itemCase) {}

  bool isDeviceSecret() const noexcept;

  Case case_;
};

inline constexpr KeychainItem KeychainItem::password{Case::password};
inline constexpr KeychainItem KeychainItem::containerKey{Case::containerKey};
inline constexpr KeychainItem KeychainItem::accessTokenAPI{Case::accessTokenAPI};
inline constexpr KeychainItem KeychainItem::refreshTokenAPI{Case::refreshTokenAPI};
inline constexpr std::array<KeychainItem, 4> KeychainItem::allCases{
    password, containerKey, accessTokenAPI, refreshTokenAPI};

static_assert(KeychainItemProtocol<KeychainItem>);

}  // namespace tarvex

template <>
struct std::hash<tarvex::KeychainItem> {
  std::size_t operator()(tarvex::KeychainItem item) const noexcept {
    return static_cast<std::size_t>(item.itemCase());
  }
};
