#include "IndentedJSON.h"

#include <algorithm>

namespace inspector {
namespace {

constexpr std::size_t deepestIndentation = 16;

// Takes valid JSON, a character at a time.
class Indenter {
 public:
  void take(char character) {
    if (isInString_) return takeOfString(character);
    switch (character) {
      case ' ':
      case '\t':
      case '\n':
      case '\r': return;
      case ':': text_ += ": "; return;
      case ',': text_ += ','; return breakLine();
      case '}':
      case ']': return close(character);
      default: begin(character);
    }
  }

  std::string text() && { return std::move(text_); }

 private:
  void takeOfString(char character) {
    text_ += character;
    isInString_ = isEscaped_ || character != '"';
    isEscaped_ = !isEscaped_ && character == '\\';
  }

  void begin(char character) {
    if (isAfterOpening_) breakLine();
    text_ += character;
    isInString_ = character == '"';
    isAfterOpening_ = character == '{' || character == '[';
    if (isAfterOpening_) ++depth_;
  }

  void close(char character) {
    --depth_;
    if (!isAfterOpening_) breakLine();
    isAfterOpening_ = false;
    text_ += character;
  }

  void breakLine() {
    text_ += '\n';
    text_.append(2 * std::min(depth_, deepestIndentation), ' ');
  }

  std::string text_;
  std::size_t depth_ = 0;
  bool isAfterOpening_ = false;  // of an object or array, which may be empty
  bool isInString_ = false;
  bool isEscaped_ = false;
};

}  // namespace

std::string indented(std::string_view json) {
  Indenter indenter;
  for (const char character : json) indenter.take(character);
  return std::move(indenter).text();
}

}  // namespace inspector
