// What the error types of the library have in common: a text for each case that
// is shown to users in their language.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// The texts of one case. With a payload the message has one placeholder, "%@".
struct LocalizedText {
  constexpr LocalizedText(const char* textKey, const char* message, const char* translatorComment)
      : key(textKey), defaultMessage(message), comment(translatorComment) {}

  const char* key;
  const char* defaultMessage;
  const char* comment;  // for translators
};

// What one error says. Copying never throws.
class TARVEX_EXPORT LocalizedMessage {
 public:
  // `text` must live as long as the process.
  explicit LocalizedMessage(const LocalizedText& text) noexcept : text_(&text) {}
  LocalizedMessage(const LocalizedText& text, std::string payload);

  // The message in the user's language, looked up now.
  std::string localized() const;

  // The message in English; looks nothing up.
  const char* english() const noexcept;

  // Empty for a case without payload.
  std::string_view payload() const noexcept;

 private:
  struct Filled {
    std::string payload;
    std::string english;
  };

  const LocalizedText* text_;
  std::shared_ptr<const Filled> filled_;
};

}  // namespace tarvex
