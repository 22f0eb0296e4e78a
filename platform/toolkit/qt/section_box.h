// SPDX-License-Identifier: MIT
// A titled part of the window that hides itself while all its controls are hidden.
#pragma once

#include <QGroupBox>

namespace qt_toolkit {

// Shown while at least one of its controls is shown, hidden otherwise: the program shows and hides
// single controls, and the frame with its heading follows. Widgets whose part
// (panel_style.h) is "heading" do not count as controls.
class SectionBox : public QGroupBox {
  Q_OBJECT

 public:
  using QGroupBox::QGroupBox;

 signals:
  // Emitted when the box hides itself (true) or shows itself (false).
  void emptied(bool empty);

 protected:
  void childEvent(QChildEvent* event) override;
  bool eventFilter(QObject* child, QEvent* event) override;

 private:
  bool hasShownControl() const;
};

}  // namespace qt_toolkit
