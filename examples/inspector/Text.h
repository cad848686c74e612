// Texts that somebody else wrote, so that they can be shown.
#pragma once

#include <QString>
#include <string_view>

namespace inspector {

// Returns UTF-8 text with every character that is not seen or that moves others, such as
// U+202E, as "\u202e", the way JSON writes it. Line breaks stay; bytes that are not UTF-8
// become U+FFFD. Letters from right to left do not move what follows the quotation mark
// behind them: there is a mark, U+200E, between the two.
QString visibly(std::string_view text);

// The same with "\u000a" for a line break.
QString inOneLine(std::string_view text);

}  // namespace inspector
