// The segments of a token in colours, so that one sees where each ends.
#pragma once

#include <QSyntaxHighlighter>

namespace inspector {

// Belongs to the document.
class SegmentColours : public QSyntaxHighlighter {
 public:
  using QSyntaxHighlighter::QSyntaxHighlighter;

 private:
  void highlightBlock(const QString& text) override;
};

}  // namespace inspector
