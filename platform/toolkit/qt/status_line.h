// SPDX-License-Identifier: MIT
// The line that says what keeps the panel from working. Main thread.
#pragma once

#include <QLabel>

namespace qt_toolkit {

// Shows the most important notice (platform/notices), with what to do as its tool tip; hidden while
// there is none. One line at a time. What concerns the interface's choices is shown only while the
// window has menus for them.
class StatusLine : public QLabel {
  Q_OBJECT

 public:
  explicit StatusLine(QWidget* parent = nullptr);
  ~StatusLine() override;

  // Call when the interface's menus were shown or hidden. Notices of choices end with the menus.
  void setMenusShown(bool shown);

 private:
  void showNotice();

  bool menusShown_ = false;
};

}  // namespace qt_toolkit
