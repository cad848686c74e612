// Attributes as bytes and back.
#include <gtest/gtest.h>

#include "TarvexCommon/Platform/AttributeCoding.h"

namespace tarvex {
namespace {

TEST(Attributes, AreReadInFullOrNotAtAll) {
  for (const auto& each : {ItemValue(true), ItemValue(std::int64_t{7}), ItemValue("text"),
                           ItemValue(toData("bytes")), ItemValue(Date())}) {
    const ItemDictionary attributes = {{"name", each}};
    const Data bytes = encoded(attributes);
    EXPECT_EQ(decodedAttributes(bytes), attributes);
    for (std::size_t size = 1; size < bytes.size(); ++size) {
      EXPECT_EQ(decodedAttributes(Bytes(bytes).first(size)), std::nullopt) << size;
    }
  }
}

}  // namespace
}  // namespace tarvex
