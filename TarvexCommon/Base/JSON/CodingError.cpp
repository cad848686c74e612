#include "TarvexCommon/Base/JSON/CodingError.h"

#include <utility>

namespace tarvex {

CodingErrorContext::CodingErrorContext(CodingPath codingPath, std::string debugDescription)
    : content_(std::make_shared<const Content>(
          Content{std::move(codingPath), std::move(debugDescription)})) {}

DecodingError::DecodingError(Kind kind, CodingErrorContext context)
    : kind_(kind), context_(std::move(context)) {}

DecodingError DecodingError::typeMismatch(CodingErrorContext context) {
  return {Kind::typeMismatch, std::move(context)};
}

DecodingError DecodingError::valueNotFound(CodingErrorContext context) {
  return {Kind::valueNotFound, std::move(context)};
}

DecodingError DecodingError::keyNotFound(std::string_view key, CodingPath object) {
  const std::string quoted = '"' + std::string(key) + '"';
  return {Kind::keyNotFound,
          {std::move(object), "No value associated with key CodingKeys(stringValue: " + quoted +
                                  ", intValue: nil) (" + quoted + ")."}};
}

DecodingError DecodingError::dataCorrupted(CodingErrorContext context) {
  return {Kind::dataCorrupted, std::move(context)};
}

EncodingError::EncodingError(CodingErrorContext context) : context_(std::move(context)) {}

EncodingError EncodingError::invalidValue(CodingErrorContext context) {
  return EncodingError(std::move(context));
}

}  // namespace tarvex
