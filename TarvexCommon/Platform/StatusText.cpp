#include "TarvexCommon/Platform/StatusText.h"

#include <algorithm>
#include <iterator>

namespace tarvex {
namespace {

struct Entry {
  OSStatus status;
  const char* text;
};

constexpr Entry entries[] = {
    {errSecSuccess, "The keychain did what was asked; there is nothing to do."},
    {errSecUnimplemented,
     "The keychain does not know this item class or attribute; leave it out of the request."},
    {errSecDiskFull, "There is no space left for the keychain; free some and try again."},
    {errSecIO,
     "The keychain could not be read or written in time; check its disk, close applications that "
     "keep it busy, and try again."},
    {errSecParam,
     "The request to the keychain is incomplete or has a value of the wrong kind; correct it."},
    {errSecWrPerm, "The keychain is read-only; give yourself the right to write its files."},
    {errSecAllocate, "There is not enough memory for the keychain; close something and try again."},
    {errSecNotAvailable,
     "No keychain can be opened; check that its folder exists, belongs to you alone, and that the "
     "source of its key is there."},
    {errSecAuthFailed, "The keychain's passphrase or key is wrong; try again with the right one."},
    {errSecInvalidKeychain,
     "The keychain file is damaged or of another kind or version; restore it from a backup or "
     "update the application."},
    {errSecDuplicateItem,
     "The keychain already has this item; change it, or remove it before adding another."},
    {errSecItemNotFound, "The keychain has no such item; check what was asked for, or add it."},
    {errSecInteractionNotAllowed, "The keychain is locked; unlock it and try again."},
    {errSecDecode,
     "The value of a keychain item is damaged; remove the item and store its value anew."},
    {errSecMissingEntitlement,
     "The application may not use this access group of the keychain; add the group to those that "
     "its bundle lists."},
};

}  // namespace

std::optional<std::string> statusText(OSStatus status) {
  const auto* entry = std::ranges::find(entries, status, &Entry::status);
  if (entry == std::end(entries)) return std::nullopt;
  return entry->text;
}

}  // namespace tarvex
