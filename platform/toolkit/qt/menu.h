// SPDX-License-Identifier: MIT
// A menu of the window: a combo box that picks nothing by accident. Main thread.
#pragma once

#include <QComboBox>

namespace qt_toolkit {

// While it is closed, it does not pick items that the user only passes, each of which would
// re-route sound: it leaves the mouse wheel to its parent, and the keys that step open the list.
// The list is made when it is first opened (before Qt 6.8, whose combo boxes make theirs at once),
// and has a tick at the current item. The accessible description is the accessible name with the
// value.
class Menu : public QComboBox {
 public:
  explicit Menu(QWidget* parent = nullptr);

  void showPopup() override;

 protected:
  void changeEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;

 private:
  bool hasList_ = false;
};

}  // namespace qt_toolkit
