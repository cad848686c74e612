#include "SegmentColours.h"

#include <QGuiApplication>
#include <QPalette>

namespace inspector {
namespace {

// Of header, claims and signature; another segment is none of a token.
constexpr int hues[] = {265, 205, 160};

// Dark on a light desktop, light on a dark one.
QColor colourOf(int segment) {
  const QPalette palette = QGuiApplication::palette();
  if (segment >= static_cast<int>(std::size(hues))) return palette.color(QPalette::Text);
  const bool isLight = palette.color(QPalette::Base).lightness() > 127;
  return QColor::fromHsl(hues[segment], 170, isLight ? 80 : 175);
}

}  // namespace

// The state of a line is the number of segments that end in it or before.
void SegmentColours::highlightBlock(const QString& text) {
  int segment = qMax(previousBlockState(), 0);
  for (int i = 0; i < text.size(); ++i) {
    if (text.at(i) == '.') ++segment;
    else setFormat(i, 1, colourOf(segment));
  }
  setCurrentBlockState(segment);
}

}  // namespace inspector
