// Attributes as bytes, to be sealed. Internal.
#pragma once

#include <optional>

#include "TarvexCommon/Platform/ItemValue.h"

namespace tarvex {

// An entry is a name and a value: the length of the name in a byte, the name, the kind of the
// value in a byte, and what belongs to the kind: a boolean in a byte; a whole number or the
// bits of a date in eight, big-endian; a text or bytes behind their length in four. Attributes
// are of no other kind.
Data encoded(const ItemDictionary& attributes);

// Returns nothing when the bytes are not of this form.
std::optional<ItemDictionary> decodedAttributes(Bytes bytes);

}  // namespace tarvex
