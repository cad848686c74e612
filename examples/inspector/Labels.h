// The two kinds of labels in the window.
#pragma once

#include <QLabel>

namespace inspector {

// Returns a label for text that somebody else wrote: nothing in it is markup, and it can be
// selected with the mouse and the keyboard.
inline QLabel* plainLabel(const char* name) {
  auto* label = new QLabel;
  label->setObjectName(name);
  label->setTextFormat(Qt::PlainText);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  label->setWordWrap(true);
  return label;
}

// Returns the label of a field, whose mnemonic leads into the field.
inline QLabel* labelFor(QWidget* field, const char* text) {
  auto* label = new QLabel(text);
  label->setBuddy(field);
  return label;
}

}  // namespace inspector
