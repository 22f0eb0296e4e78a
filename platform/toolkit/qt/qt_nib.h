// The window as its Designer file gives it.
#pragma once

#include <QWidget>

#include "platform/toolkit/toolkit.h"

namespace qt_toolkit {

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
  QWidget window_;
};

}  // namespace qt_toolkit
