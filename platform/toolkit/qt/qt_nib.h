// SPDX-License-Identifier: MIT
// The panel's window, made from its Designer file. Main thread.
#pragma once

#include <QWidget>

#include "platform/toolkit/qt/announcer.h"
#include "platform/toolkit/qt/desktop_settings.h"
#include "platform/toolkit/toolkit.h"

namespace qt_toolkit {

// Keeps a closed menu from picking items that the user only passes, each of which would re-route
// sound: passes the mouse wheel on to the menu's parent, and lets the keys that step open the list.
class ClosedMenu final : public QObject {
 protected:
  bool eventFilter(QObject* menu, QEvent* event) override;
};

// Makes a menu's open list handle each key once, when its press arrives. By default the list picks
// the item at the ShortcutOverride event before the press. An assistive technology delays presses,
// but not overrides: the list would pick before earlier presses have moved the selection, and again
// when the press arrives with an override of its own.
class KeysInOrder final : public QObject {
 protected:
  bool eventFilter(QObject* list, QEvent* event) override;
};

class QtNib final : public NSNib {
 public:
  // Loads the window without showing it.
  QtNib();

  QWidget& window() { return window_; }
  // Says when the window has another size.
  DesktopSettings& desktopSettings() { return settings_; }

  NSTextField textField(std::string_view name) override;
  NSPopUpButton popUpButton(std::string_view name) override;
  NSImageView imageView(std::string_view name) override;
  NSButton button(std::string_view name) override;
  void connectAction(std::string_view name, Action action) override;

 private:
  ClosedMenu closedMenu_;
  KeysInOrder keysInOrder_;
  QWidget window_;
  DesktopSettings settings_{window_};
  Announcer announcer_{&window_};
};

}  // namespace qt_toolkit
