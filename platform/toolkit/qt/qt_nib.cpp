// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/qt_nib.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QEvent>
#include <QLabel>
#include <utility>

#include "platform/toolkit/qt/guarded.h"
#include "ui_panel_window.h"

// The pictures of the window's style sheet, which a static library does not bring along by itself.
// (The macro wants to stand outside of any namespace.)
static void loadPictures() { Q_INIT_RESOURCE(panel_window); }

namespace qt_toolkit {

namespace {

QString textOf(std::string_view name) {
  return QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
}

// A label shows a picture or a text; the window file says which by scaling its contents.
bool showsPicture(const QLabel& label) { return label.hasScaledContents(); }

QWidget* labelNamed(const QWidget& window, std::string_view name, bool withPicture) {
  auto* label = window.findChild<QLabel*>(textOf(name));
  return label && showsPicture(*label) == withPicture ? label : nullptr;
}

// Controls keep a QWidget's address, so that they get it back from any kind of widget.
QWidget* asWidget(QWidget* widget) { return widget; }

}  // namespace

bool WheelRefusal::eventFilter(QObject*, QEvent* event) {
  if (event->type() != QEvent::Wheel) return false;
  event->ignore();
  return true;
}

// Only the window system's events are spontaneous: sendEvent() clears that flag, so Qt sends a new
// ShortcutOverride before this press.
bool KeysInOrder::eventFilter(QObject* list, QEvent* event) {
  if (!event->spontaneous()) return false;
  if (event->type() == QEvent::ShortcutOverride) return true;
  if (event->type() != QEvent::KeyPress) return false;
  QCoreApplication::sendEvent(list, event);
  event->accept();  // Qt has offered it to the widgets around the list
  return true;
}

QtNib::QtNib() {
  loadPictures();
  Ui::PanelWindow ui;
  ui.setupUi(&window_);
  // By itself a scroller follows the focus only within what it scrolls, not into it.
  QObject::connect(
      qApp, &QApplication::focusChanged, ui.Scroller,
      [scroller = ui.Scroller](QWidget*, QWidget* now) { scroller->ensureWidgetVisible(now); });
  for (QComboBox* menu : window_.findChildren<QComboBox*>()) {
    menu->installEventFilter(&wheelRefusal_);
    menu->view()->installEventFilter(&keysInOrder_);
  }
}

NSTextField QtNib::textField(std::string_view name) {
  return NSTextField(labelNamed(window_, name, false));
}

NSPopUpButton QtNib::popUpButton(std::string_view name) {
  return NSPopUpButton(asWidget(window_.findChild<QComboBox*>(textOf(name))));
}

NSImageView QtNib::imageView(std::string_view name) {
  return NSImageView(labelNamed(window_, name, true));
}

NSButton QtNib::button(std::string_view name) {
  return NSButton(asWidget(window_.findChild<QAbstractButton*>(textOf(name))));
}

void QtNib::connectAction(std::string_view name, Action action) {
  const auto run = [action = std::move(action)] { guarded(action); };
  if (auto* menu = window_.findChild<QComboBox*>(textOf(name))) {
    QObject::connect(menu, &QComboBox::activated, menu, run);
  } else if (auto* button = window_.findChild<QAbstractButton*>(textOf(name))) {
    QObject::connect(button, &QAbstractButton::clicked, button, run);
  }
}

}  // namespace qt_toolkit
