// The item service: secrets and keys as items with attributes.
//
// A query names the class of an item, what its attributes must be, how many
// matches to take (`kSecMatchLimit`) and what to return of them
// (`kSecReturn...`). Where `kSecAttrSynchronizable` is absent it sees only
// items that are not synchronised; where the access group is absent, those of
// all groups of the process. Accessibility is kept and returned but takes no
// part in matching; `kSecUseDataProtectionKeychain` changes nothing, there is
// one store.
//
// Each operation answers `errSecSuccess` or one of these, of the first three any that
// applies:
//
//   errSecParam               no class, a value of a wrong type, nothing to change
//   errSecUnimplemented       a class or key that it does not know
//   errSecMissingEntitlement  an access group that is not the process's
//   errSecItemNotFound        no match (not SecItemAdd)
//   errSecDuplicateItem       the item is there, or the changed one
//   errSecDecode              a key is asked for and its bytes are none
//
// or a status of the store itself: not available, locked, damaged, full, without memory.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/ItemValue.h"

namespace tarvex {

using OSStatus = std::int32_t;

inline constexpr OSStatus errSecSuccess = 0;
inline constexpr OSStatus errSecUnimplemented = -4;  // a class or key that is not known
inline constexpr OSStatus errSecDiskFull = -34;
inline constexpr OSStatus errSecIO = -36;
inline constexpr OSStatus errSecParam = -50;   // missing class, value of a wrong type
inline constexpr OSStatus errSecWrPerm = -61;  // the store is read-only
inline constexpr OSStatus errSecAllocate = -108;
inline constexpr OSStatus errSecNotAvailable = -25291;     // no store can be opened
inline constexpr OSStatus errSecAuthFailed = -25293;       // wrong passphrase or key
inline constexpr OSStatus errSecInvalidKeychain = -25295;  // not a store, or a damaged one
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
inline constexpr OSStatus errSecInteractionNotAllowed = -25308;  // locked
inline constexpr OSStatus errSecDecode = -26275;                 // an item's value is damaged
inline constexpr OSStatus errSecMissingEntitlement = -34018;     // a foreign access group

// Keys of the dictionaries, and the values that have names.
inline constexpr char kSecClass[] = "class";
inline constexpr char kSecClassGenericPassword[] = "genp";
inline constexpr char kSecClassKey[] = "keys";

inline constexpr char kSecAttrService[] = "svce";
inline constexpr char kSecAttrAccount[] = "acct";
inline constexpr char kSecAttrAccessGroup[] = "agrp";
inline constexpr char kSecAttrSynchronizable[] = "sync";
inline constexpr char kSecAttrSynchronizableAny[] = "syna";
inline constexpr char kSecAttrLabel[] = "labl";
inline constexpr char kSecAttrCreationDate[] = "cdat";
inline constexpr char kSecAttrModificationDate[] = "mdat";
inline constexpr char kSecAttrAccessible[] = "pdmn";
inline constexpr char kSecAttrAccessibleAfterFirstUnlock[] = "ck";
inline constexpr char kSecAttrAccessibleWhenUnlocked[] = "ak";

inline constexpr char kSecAttrApplicationTag[] = "atag";
inline constexpr char kSecAttrApplicationLabel[] = "klbl";  // hash of the public key
inline constexpr char kSecAttrKeyType[] = "type";
inline constexpr char kSecAttrKeyTypeECSECPrimeRandom[] = "73";
inline constexpr char kSecAttrKeyClass[] = "kcls";
inline constexpr char kSecAttrKeyClassPublic[] = "0";
inline constexpr char kSecAttrKeyClassPrivate[] = "1";
inline constexpr char kSecAttrKeySizeInBits[] = "bsiz";
inline constexpr char kSecAttrIsPermanent[] = "perm";
inline constexpr char kSecAttrIsExtractable[] = "extr";
inline constexpr char kSecPrivateKeyAttrs[] = "private";
inline constexpr char kSecPublicKeyAttrs[] = "public";

inline constexpr char kSecValueData[] = "v_Data";
inline constexpr char kSecReturnData[] = "r_Data";
inline constexpr char kSecReturnAttributes[] = "r_Attributes";
inline constexpr char kSecReturnRef[] = "r_Ref";
inline constexpr char kSecMatchLimit[] = "m_Limit";
inline constexpr char kSecMatchLimitOne[] = "m_LimitOne";
inline constexpr char kSecMatchLimitAll[] = "m_LimitAll";
inline constexpr char kSecUseDataProtectionKeychain[] = "nleg";

// An item service, a function for each operation; one that is left out answers
// `errSecUnimplemented`, or nothing. Where `result` is null nothing is made to
// be returned. A failure leaves everything as it was.
struct ItemService {
  std::function<OSStatus(const ItemDictionary& attributes, ItemValue* result)> add = {};
  std::function<OSStatus(const ItemDictionary& query, ItemValue* result)> copyMatching = {};
  std::function<OSStatus(const ItemDictionary& query, const ItemDictionary& changes)> update = {};
  std::function<OSStatus(const ItemDictionary& query)> remove = {};
  std::function<std::optional<std::string>(OSStatus status)> copyErrorMessage = {};
};

// Adds one item, to the process's first access group unless it names one.
// Passwords are told apart by account, service, access group and
// synchronisation; keys by key class, tag, hash of the public key, access group
// and synchronisation.
[[nodiscard]] TARVEX_EXPORT OSStatus SecItemAdd(const ItemDictionary& attributes,
                                                ItemValue* result = nullptr);

// Finds the oldest match, or all of them, oldest first. The result is the
// value's bytes for `kSecReturnData`, the key for `kSecReturnRef`, a dictionary
// for `kSecReturnAttributes` (with the bytes under `kSecValueData` when both
// are asked for); with `kSecMatchLimitAll` a list of these, even of one.
[[nodiscard]] TARVEX_EXPORT OSStatus SecItemCopyMatching(const ItemDictionary& query,
                                                         ItemValue* result = nullptr);

// Changes attributes or the value of all matches, whatever the limit, or of
// none.
[[nodiscard]] TARVEX_EXPORT OSStatus SecItemUpdate(const ItemDictionary& query,
                                                   const ItemDictionary& changes);

// Removes all matches, or the oldest one with `kSecMatchLimitOne`.
[[nodiscard]] TARVEX_EXPORT OSStatus SecItemDelete(const ItemDictionary& query);

// Returns the service's text for a status, in English; nothing when it has none.
TARVEX_EXPORT std::optional<std::string> SecCopyErrorMessageString(OSStatus status);

}  // namespace tarvex
