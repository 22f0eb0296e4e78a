// SPDX-License-Identifier: MIT
// The panel's window, made from its Designer file. Main thread.
#pragma once

#include <QWidget>

#include "platform/toolkit/qt/announcer.h"
#include "platform/toolkit/qt/desktop_settings.h"
#include "platform/toolkit/toolkit.h"

namespace qt_toolkit {

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
  QWidget window_;
  DesktopSettings settings_{window_};
  Announcer announcer_{&window_};
};

}  // namespace qt_toolkit
