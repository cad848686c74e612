// The place of a value while it is read or written: a link to the place around
// it, so that a path costs nothing until an error needs it. Internal to the coder.
#pragma once

#include <cstddef>
#include <string_view>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/JSON/CodingError.h"

namespace tarvex::coding {

class TARVEX_EXPORT CodingPlace {
 public:
  CodingPlace() noexcept = default;  // the document itself
  CodingPlace(const CodingPlace& around, std::string_view key) noexcept
      : around_(&around), key_(key) {}
  CodingPlace(const CodingPlace& around, std::size_t index) noexcept
      : around_(&around), index_(index), isElement_(true) {}

  CodingPath path() const;

 private:
  const CodingPlace* around_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
  bool isElement_ = false;
};

}  // namespace tarvex::coding
