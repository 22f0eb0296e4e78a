// SPDX-License-Identifier: MIT
// A field whose text stands in a badge.
#pragma once

#include <QLabel>

namespace qt_toolkit {

// Draws a rounded frame in the text's colour around its text, from the label's left edge to the
// text's end.
class BadgeLabel : public QLabel {
  Q_OBJECT

 public:
  explicit BadgeLabel(QWidget* parent = nullptr);

 protected:
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  void leaveRoom();
};

}  // namespace qt_toolkit
