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

// Registers the pictures of the window's style sheet: the linker drops a static library's resources
// unless they are initialised. The macro must be outside of any namespace.
static void loadPictures() { Q_INIT_RESOURCE(panel_window); }

namespace qt_toolkit {

namespace {

QString textOf(std::string_view name) {
  return QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
}

// Whether a label shows a picture or a text; in the window file only pictures have scaled contents.
bool showsPicture(const QLabel& label) { return label.hasScaledContents(); }

QWidget* labelNamed(const QWidget& window, std::string_view name, bool withPicture) {
  auto* label = window.findChild<QLabel*>(textOf(name));
  return label && showsPicture(*label) == withPicture ? label : nullptr;
}

// A control stores the address as a void*, so it must be that of the QWidget whatever the class.
QWidget* asWidget(QWidget* widget) { return widget; }

}  // namespace

bool WheelRefusal::eventFilter(QObject*, QEvent* event) {
  if (event->type() != QEvent::Wheel) return false;
  event->ignore();
  return true;
}

// Only events of the window system are spontaneous. sendEvent() clears the flag, so Qt sends a new
// ShortcutOverride before this press, which passes the filter.
bool KeysInOrder::eventFilter(QObject* list, QEvent* event) {
  if (!event->spontaneous()) return false;
  if (event->type() == QEvent::ShortcutOverride) return true;
  if (event->type() != QEvent::KeyPress) return false;
  QCoreApplication::sendEvent(list, event);
  event->accept();  // Qt has already offered the press to the list's parents
  return true;
}

QtNib::QtNib() {
  loadPictures();
  Ui::PanelWindow ui;
  ui.setupUi(&window_);
  // Tab reaches the first menu from here. Otherwise Qt would choose among the controls that are
  // visible when the window opens, and these are the buttons.
  window_.setFocus();
  // By default a scroll area follows the focus only while it moves inside the area, not when it
  // enters it.
  QObject::connect(
      qApp, &QApplication::focusChanged, ui.Scroller,
      [scroller = ui.Scroller](QWidget*, QWidget* now) { scroller->ensureWidgetVisible(now); });
  for (QComboBox* menu : window_.findChildren<QComboBox*>()) {
    menu->installEventFilter(&wheelRefusal_);
    menu->view()->installEventFilter(&keysInOrder_);
    // On Linux Qt reports the value as a menu's name, and screen readers speak the label in place
    // of the name: they find the value only in the description.
    QObject::connect(menu, &QComboBox::currentTextChanged, menu, [menu](const QString& value) {
      const QString purpose = menu->accessibleName();
      menu->setAccessibleDescription(
          value.isEmpty() ? purpose : QStringLiteral("%1: %2").arg(purpose, value));
    });
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
    QObject::connect(menu, &QComboBox::activated, menu, [menu, run](int picked) {
      run();
      if (menu->currentIndex() == picked) return;
      const QString kept = menu->currentText().isEmpty()
                               ? QStringLiteral("not accepted")
                               : QStringLiteral("not accepted, still %1").arg(menu->currentText());
      Announcer::announce(*menu, kept);
    });
  } else if (auto* button = window_.findChild<QAbstractButton*>(textOf(name))) {
    QObject::connect(button, &QAbstractButton::clicked, button, run);
  }
}

}  // namespace qt_toolkit
