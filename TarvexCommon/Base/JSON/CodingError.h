// The errors of the structured JSON coder.
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// Where in a document a value stands, outermost first: member keys as they are,
// elements as "Index 0".
using CodingPath = std::vector<std::string>;

// What a coding error says: where, and why in English, for developers.
class TARVEX_EXPORT CodingErrorContext {
 public:
  CodingErrorContext(CodingPath codingPath, std::string debugDescription);

  const CodingPath& codingPath() const noexcept { return content_->codingPath; }
  const std::string& debugDescription() const noexcept { return content_->debugDescription; }

 private:
  struct Content {
    CodingPath codingPath;
    std::string debugDescription;
  };
  std::shared_ptr<const Content> content_;  // copying an exception must not throw
};

// A text that could not be read as the wanted type.
//
//   kind           example of debugDescription                            codingPath to
//   typeMismatch   Expected to decode Double but found a string instead.  the value
//   valueNotFound  Cannot get value of type String -- found null value instead
//                                                                         the value
//   keyNotFound    No value associated with key CodingKeys(stringValue: "alg",
//                  intValue: nil) ("alg").                                the object
//   dataCorrupted  The given data was not valid JSON.                     empty, or the
//                                                                         container
class TARVEX_EXPORT DecodingError final : public std::exception {
 public:
  enum class Kind { typeMismatch, valueNotFound, keyNotFound, dataCorrupted };

  static DecodingError typeMismatch(CodingErrorContext context);
  static DecodingError valueNotFound(CodingErrorContext context);
  static DecodingError keyNotFound(std::string_view key, CodingPath object);
  static DecodingError dataCorrupted(CodingErrorContext context);

  // The error of a custom rule that does not accept a value; the path is the
  // one of the container that the rule reads from.
  template <typename Container>
  static DecodingError dataCorruptedError(const Container& in, std::string debugDescription) {
    return dataCorrupted({in.codingPath(), std::move(debugDescription)});
  }

  Kind kind() const noexcept { return kind_; }
  const CodingPath& codingPath() const noexcept { return context_.codingPath(); }
  const std::string& debugDescription() const noexcept { return context_.debugDescription(); }
  const char* what() const noexcept override { return debugDescription().c_str(); }

 private:
  DecodingError(Kind kind, CodingErrorContext context);

  Kind kind_;
  CodingErrorContext context_;
};

// A value that JSON cannot hold, or a type that does not encode itself as it
// should: a number that is not finite ("Unable to encode Double.nan directly in
// JSON."), a text that is not UTF-8, nothing encoded at all.
class TARVEX_EXPORT EncodingError final : public std::exception {
 public:
  enum class Kind { invalidValue };

  static EncodingError invalidValue(CodingErrorContext context);

  Kind kind() const noexcept { return Kind::invalidValue; }
  const CodingPath& codingPath() const noexcept { return context_.codingPath(); }
  const std::string& debugDescription() const noexcept { return context_.debugDescription(); }
  const char* what() const noexcept override { return debugDescription().c_str(); }

 private:
  explicit EncodingError(CodingErrorContext context);

  CodingErrorContext context_;
};

}  // namespace tarvex
