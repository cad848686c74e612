// PEM text (RFC 7468): bytes as base64 between two lines that name them. Internal.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Wiped.h"

namespace tarvex {

struct PEMBlock {
  std::string label;  // "PUBLIC KEY"
  bool isEncrypted;   // as its headers say (RFC 1421); the bytes are left as they are
  Wiped<Data> bytes;
};

// Returns the blocks of a text in their order, or nothing when one of them is damaged. What
// stands before, between and behind them is passed over.
std::optional<std::vector<PEMBlock>> readPEM(Bytes text);

// Returns a block, in lines of 64 characters; `bytes` is not empty.
std::string writePEM(const char* label, Bytes bytes);

}  // namespace tarvex
