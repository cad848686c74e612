// Standard input, the terminal, progress.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Data.h"

namespace tool {

// Writes to stdout. Throws `Failure` where nobody can take it.
void write(std::string_view text);
void writeLine(std::string_view line);

// Returns the content of a file, of stdin for "-". Throws `BadInput`, also at 4 GiB and more.
tarvex::Data readFile(const std::string& path);

// Returns the first line of a file, of stdin for "-", of which nothing more is read. Throws
// `BadInput`.
std::string firstLine(const std::string& path);

// Returns the text without the white space around it.
std::string_view trimmed(std::string_view text);

// Returns the text with control characters, and those that turn the direction of writing, as
// \xNN: whoever wrote it does not command the terminal.
std::string printable(std::string_view text);

// Returns the number of a text, also with fraction and exponent. Throws `BadInput`.
double number(const std::string& text);

// Returns whether a user is there who can be asked.
bool hasTerminal();

// Returns a secret that the user types without echo, or, where stdin is no terminal, all of it
// without a line end at its end. Throws `BadInput`.
std::string readSecret(const std::string& prompt);

// Returns what is typed without echo on the user's own terminal; nothing where there is none.
std::optional<std::string> askTerminal(const std::string& prompt);

// Reads lines of stdin in constant memory.
class Lines {
 public:
  static constexpr std::size_t longest = std::size_t{1} << 20;

  enum class Kind { line, tooLong, end };

  // Reads the next line, without its end; one that is too long is skipped. Throws `BadInput`.
  Kind next(std::string& line);

 private:
  std::string buffer_;
  std::size_t at_ = 0;

  bool fill();
  std::size_t findEnd(bool& isTooLong);
};

// A bar on stderr, or a count where the whole is not known (0). Nothing where stderr is no
// terminal.
class Progress {
 public:
  Progress(std::string title, std::size_t whole);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void advance();

 private:
  using Clock = std::chrono::steady_clock;

  void draw() const;

  std::string title_;
  std::size_t whole_;
  std::size_t done_ = 0;
  bool isShown_;
  Clock::time_point drawn_;
};

}  // namespace tool
