// SPDX-License-Identifier: MIT
// A titled part of the window that is there only while it has something in it.
#pragma once

#include <QFrame>

namespace qt_toolkit {

// Shows itself while at least one of the controls in it is shown, and hides otherwise. The program
// shows and hides single controls; frames and headings follow. Headings, which are always shown,
// bear the dynamic property "heading" and do not count.
class SectionBox : public QFrame {
  Q_OBJECT

 public:
  using QFrame::QFrame;

 signals:
  // Emitted when the box hides (true) or shows (false) itself.
  void emptied(bool empty);

 protected:
  void childEvent(QChildEvent* event) override;
  bool eventFilter(QObject* child, QEvent* event) override;

 private:
  bool hasShownControl() const;
};

}  // namespace qt_toolkit
