#include "TarvexCommon/Common/LocalizedMessage.h"

#include <utility>

#include "TarvexCommon/Common/LocalizedString.h"

namespace tarvex {

LocalizedMessage::LocalizedMessage(const LocalizedText& text, std::string payload) : text_(&text) {
  std::string english = filled(text.defaultMessage, payload);
  filled_ = std::make_shared<const Filled>(Filled{std::move(payload), std::move(english)});
}

std::string LocalizedMessage::localized() const {
  std::string text = localizedLibraryString(text_->key, text_->defaultMessage, text_->comment);
  return filled_ ? filled(text, filled_->payload) : text;
}

const char* LocalizedMessage::english() const noexcept {
  return filled_ ? filled_->english.c_str() : text_->defaultMessage;
}

std::string_view LocalizedMessage::payload() const noexcept {
  return filled_ ? std::string_view(filled_->payload) : std::string_view();
}

}  // namespace tarvex
