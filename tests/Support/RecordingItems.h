// An item service on top of another one: records its calls and fails on demand.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "TarvexCommon/Platform/Memory/MemoryItemService.h"

namespace tarvex {

struct RecordedCall {
  std::string name;
  ItemDictionary query;
  ItemDictionary changes = {};

  friend bool operator==(const RecordedCall&, const RecordedCall&) = default;
};

class RecordingItems {
 public:
  explicit RecordingItems(ItemService items = memoryItemService()) : items_(std::move(items)) {}

  // The service to install; it must not outlive this.
  ItemService service() {
    return {.add = recorded("add", items_.add),
            .copyMatching = recorded("copyMatching", items_.copyMatching),
            .update = recorded("update", items_.update),
            .remove = recorded("remove", items_.remove),
            .copyErrorMessage = [](OSStatus status) -> std::optional<std::string> {
              if (status == unexplained) return std::nullopt;
              return "status " + std::to_string(status);
            }};
  }

  static constexpr OSStatus unexplained = 7;  // a status without a text

  std::vector<RecordedCall> calls;
  std::map<std::string, OSStatus> failures;  // of the calls with these names

 private:
  // A look-up that wants no result is called "exists".
  static RecordedCall callOf(std::string name, const ItemDictionary& query, ItemValue* result) {
    return {name == "copyMatching" && result == nullptr ? "exists" : std::move(name), query};
  }
  static RecordedCall callOf(std::string name, const ItemDictionary& query,
                             const ItemDictionary& changes = {}) {
    return {std::move(name), query, changes};
  }

  template <typename... Arguments>
  std::function<OSStatus(Arguments...)> recorded(const char* name,
                                                 std::function<OSStatus(Arguments...)> operation) {
    return [this, name, operation](Arguments... arguments) {
      const std::string called = calls.emplace_back(callOf(name, arguments...)).name;
      const auto failure = failures.find(called);
      return failure == failures.end() ? operation(arguments...) : failure->second;
    };
  }

  ItemService items_;
};

}  // namespace tarvex
