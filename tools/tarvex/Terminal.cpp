#include "Terminal.h"

#include <bsd/readpassphrase.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <system_error>
#include <utility>

#include "Tool.h"

namespace tool {
namespace {

std::string reason() { return std::generic_category().message(errno); }

// A file that is closed, unless it is stdin.
class Input {
 public:
  explicit Input(std::string path)
      : path_(std::move(path)),
        descriptor_(path_ == "-" ? STDIN_FILENO : open(path_.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (descriptor_ < 0) refuse(reason());
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  ~Input() {
    if (descriptor_ != STDIN_FILENO) close(descriptor_);
  }

  // Returns how many bytes were read; 0 at the end.
  std::size_t readSome(char* to, std::size_t size) const {
    ssize_t count = 0;
    do count = read(descriptor_, to, size);
    while (count < 0 && errno == EINTR);
    if (count < 0) refuse(reason());
    return static_cast<std::size_t>(count);
  }

  [[noreturn]] void refuse(const std::string& why) const { throw BadInput(path_ + ": " + why); }

 private:
  std::string path_;
  int descriptor_;
};

// Returns the length of the control character that the text begins with; 0 where it is none.
std::size_t controlSize(std::string_view text) {
  const auto byte = [&](std::size_t i) { return i < text.size() ? text[i] & 0xFF : 0; };
  const auto isIn = [](int value, int first, int last) { return value >= first && value <= last; };
  if (byte(0) < 0x20 || byte(0) == 0x7F) return 1;
  if (byte(0) == 0xC2 && isIn(byte(1), 0x80, 0x9F)) return 2;  // U+0080 to U+009F
  if (byte(0) != 0xE2) return 0;
  const bool turnsDirection =
      (byte(1) == 0x80 && (isIn(byte(2), 0x8E, 0x8F) || isIn(byte(2), 0xAA, 0xAE))) ||
      (byte(1) == 0x81 && isIn(byte(2), 0xA6, 0xA9));
  return turnsDirection ? 3 : 0;
}

std::string escaped(char byte) {
  constexpr std::string_view hex = "0123456789abcdef";
  return {'\\', 'x', hex[(byte >> 4) & 15], hex[byte & 15]};
}

}  // namespace

void write(std::string_view text) {
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!isWritten) throw Failure("writing failed: " + reason());
}

void writeLine(std::string_view line) {
  write(line);
  write("\n");
}

tarvex::Data readFile(const std::string& path) {
  const Input input(path);
  tarvex::Data content;
  std::array<char, 65536> piece;
  while (const std::size_t size = input.readSome(piece.data(), piece.size())) {
    content.insert(content.end(), piece.data(), piece.data() + size);
    if (content.size() > std::numeric_limits<std::uint32_t>::max()) {
      input.refuse("4 GiB or more cannot be read");
    }
  }
  return content;
}

std::string firstLine(const std::string& path) {
  const Input input(path);
  std::string line;
  for (char c = 0; input.readSome(&c, 1) == 1 && c != '\n';) line += c;
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t control = controlSize(text);
    for (const char byte : text.substr(0, control)) result += escaped(byte);
    if (control == 0) result += text.front();
    text.remove_prefix(std::max<std::size_t>(control, 1));
  }
  return result;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view white = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(white), text.size()));
  while (!text.empty() && white.find(text.back()) != std::string_view::npos) text.remove_suffix(1);
  return text;
}

double number(const std::string& text) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, value);
  if (read.ec != std::errc() || read.ptr != end) throw BadInput("not a number: " + text);
  return value;
}

std::string readSecret(const std::string& prompt) {
  if (isatty(STDIN_FILENO) == 1) {
    if (auto typed = askTerminal(prompt)) return *std::move(typed);
    throw BadInput("there is no terminal to type at");
  }
  const tarvex::Data content = readFile("-");
  std::string_view text = tarvex::Bytes(content).text();
  if (text.ends_with('\n')) text.remove_suffix(1);
  if (text.ends_with('\r')) text.remove_suffix(1);
  return std::string(text);
}

bool hasTerminal() { return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1; }

std::optional<std::string> askTerminal(const std::string& prompt) {
  std::array<char, 4096> typed;
  const char* answer =
      readpassphrase((prompt + ": ").c_str(), typed.data(), typed.size(), RPP_REQUIRE_TTY);
  std::optional<std::string> result;
  if (answer != nullptr) result = answer;
  explicit_bzero(typed.data(), typed.size());
  // The terminal itself cuts longer lines.
  if (result && result->size() + 1 == typed.size()) {
    throw BadInput("what was typed is too long; give it by stdin");
  }
  return result;
}

// Whoever waits for the answers to what was read gets them first.
bool Lines::fill() {
  if (std::fflush(stdout) != 0) throw Failure("writing failed: " + reason());
  buffer_.erase(0, at_);
  at_ = 0;
  std::array<char, 65536> piece;
  const std::size_t size = Input("-").readSome(piece.data(), piece.size());
  buffer_.append(piece.data(), size);
  return size > 0;
}

std::size_t Lines::findEnd(bool& isTooLong) {
  std::size_t searched = 0;
  for (;;) {
    const std::size_t end = buffer_.find('\n', at_ + searched);
    if (end != std::string::npos) return end;
    if (buffer_.size() - at_ > longest) {
      isTooLong = true;
      at_ = buffer_.size();
    }
    searched = buffer_.size() - at_;
    if (!fill()) return buffer_.size();
  }
}

Lines::Kind Lines::next(std::string& line) {
  bool isTooLong = false;
  const std::size_t end = findEnd(isTooLong);
  if (end == buffer_.size() && end == at_ && !isTooLong) return Kind::end;
  isTooLong = isTooLong || end - at_ > longest;
  line.assign(buffer_, at_, end - at_);
  at_ = std::min(end + 1, buffer_.size());
  if (line.ends_with('\r')) line.pop_back();
  return isTooLong ? Kind::tooLong : Kind::line;
}

Progress::Progress(std::string title, std::size_t whole)
    : title_(std::move(title)), whole_(whole), isShown_(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (!isShown_) return;
  draw();
  std::fputc('\n', stderr);
}

void Progress::advance() {
  ++done_;
  if (!isShown_ || Clock::now() - drawn_ < std::chrono::milliseconds(100)) return;
  drawn_ = Clock::now();
  draw();
}

void Progress::draw() const {
  if (whole_ == 0) {
    std::fprintf(stderr, "\r%s: %zu", title_.c_str(), done_);
    return;
  }
  constexpr std::size_t width = 40;
  const std::size_t full = std::min(done_, whole_) * width / whole_;
  std::fprintf(stderr, "\r%s [%-40s] %zu/%zu", title_.c_str(), std::string(full, '#').c_str(),
               done_, whole_);
}

}  // namespace tool
