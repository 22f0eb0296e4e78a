// SPDX-License-Identifier: MIT
// The window as its Designer file gives it.
#pragma once

#include <QWidget>

#include "platform/toolkit/toolkit.h"

namespace qt_toolkit {

// Leaves the wheel to what is around a widget. A closed menu would otherwise take the next item,
// and so re-route sound, when the pointer happens to be over it.
class WheelRefusal final : public QObject {
 protected:
  bool eventFilter(QObject* widget, QEvent* event) override;
};

// Has a menu's open list act on a key once, when its press arrives. By itself the list picks at the
// shortcut override before the press. An assistive technology that looks at presses first holds
// them back, but no overrides: the list would pick before older presses have moved it, and pick
// again when the press comes along with an override of its own.
class KeysInOrder final : public QObject {
 protected:
  bool eventFilter(QObject* list, QEvent* event) override;
};

class QtNib final : public NSNib {
 public:
  // Loads the window, which is not shown yet.
  QtNib();

  QWidget& window() { return window_; }

  NSTextField textField(std::string_view name) override;
  NSPopUpButton popUpButton(std::string_view name) override;
  NSImageView imageView(std::string_view name) override;
  NSButton button(std::string_view name) override;
  void connectAction(std::string_view name, Action action) override;

 private:
  WheelRefusal wheelRefusal_;
  KeysInOrder keysInOrder_;
  QWidget window_;
};

}  // namespace qt_toolkit
