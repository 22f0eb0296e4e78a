// SPDX-License-Identifier: MIT
// A field for the state of a digital input, with a lamp before its text.
#pragma once

#include <QLabel>

namespace qt_toolkit {

// The lamp follows the text's beginning. Each state has a shape of its own besides its colour: a
// disc for "valid", two bars for "muted", a cross for "no valid", a ring for any other text.
class LampLabel : public QLabel {
  Q_OBJECT

 public:
  explicit LampLabel(QWidget* parent = nullptr);

 protected:
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  void leaveRoom();
};

}  // namespace qt_toolkit
