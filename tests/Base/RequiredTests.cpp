#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Base/Required.h"

namespace tarvex {
namespace {

struct Arguments {
  std::string text;
  Required<bool> isChecked;
};

template <typename T>
concept LeavesFieldOut = requires {
  T{.text = "a"};
};

static_assert(!LeavesFieldOut<Arguments>);
static_assert(!std::default_initializable<Required<std::string>>);
static_assert(!std::convertible_to<int*, Required<std::string>>);

TEST(Required, GivesItsValueAway) {
  Required<std::unique_ptr<int>> owner = std::make_unique<int>(7);
  const std::unique_ptr<int> taken = std::move(owner).get();
  EXPECT_EQ(*taken, 7);
}

std::string at(int line, const std::string& message) {
  return "RequiredTests.cpp:" + std::to_string(line) + ": Fatal error: " + message + "\n";
}

TEST(FatalErrorDeathTest, SaysWhereTheCallerStands) {
  EXPECT_DEATH(fatalError("No team prefix: 100%s"), at(__LINE__, "No team prefix: 100%s"));
  EXPECT_DEATH(require(false), at(__LINE__, "Assertion failed"));
  const std::string noValue = "Unexpectedly found nil while unwrapping an Optional value";
  EXPECT_DEATH(unwrap(std::optional<int>()), at(__LINE__, noValue));
}

}  // namespace
}  // namespace tarvex
