#include "Text.h"

#include <QList>
#include <utility>

namespace inspector {
namespace {

constexpr QChar leftToRightMark(0x200e);

bool isSeen(char32_t character) {
  const QChar::Category category = QChar::category(character);
  return QChar::isPrint(character) && category != QChar::Separator_Line &&
         category != QChar::Separator_Paragraph;
}

bool runsFromRightToLeft(char32_t character) {
  const QChar::Direction direction = QChar::direction(character);
  return direction == QChar::DirR || direction == QChar::DirAL || direction == QChar::DirAN;
}

QString escaped(char32_t character) {
  QString text;
  for (const char16_t unit : QChar::fromUcs4(character)) {
    text += QString("\\u%1").arg(static_cast<unsigned>(unit), 4, 16, QChar('0'));
  }
  return text;
}

}  // namespace

QString visibly(std::string_view text) {
  const auto size = static_cast<qsizetype>(text.size());
  QString seen;
  bool movesOthers = false;
  for (const char32_t character : QString::fromUtf8(text.data(), size).toUcs4()) {
    if (character == U'"' && std::exchange(movesOthers, false)) seen += leftToRightMark;
    movesOthers = movesOthers || runsFromRightToLeft(character);
    if (character == U'\n' || isSeen(character)) seen += QChar::fromUcs4(character);
    else seen += escaped(character);
  }
  return seen;
}

QString inOneLine(std::string_view text) { return visibly(text).replace('\n', escaped(U'\n')); }

}  // namespace inspector
