// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/qt_nib.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QPalette>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <functional>
#include <utility>

#include "platform/notices/notices.h"
#include "platform/toolkit/qt/guarded.h"
#include "platform/toolkit/qt/values.h"
#include "ui_panel_window.h"

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

// The menu of the window and of everything in it.
void showMenu(QWidget& window, QAction& copyValue, const QPoint& place) {
  copyValue.setVisible(selectedValue(window));
  auto* menu = new QMenu(&window);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  QPalette colours = window.palette();  // without its tile
  colours.setBrush(QPalette::Window, colours.base());
  menu->setPalette(colours);
  menu->addActions(window.actions());
  menu->popup(window.mapToGlobal(place));
}

void addKey(QWidget& window, const QKeySequence& key, std::function<void()> action) {
  QObject::connect(new QShortcut(key, &window), &QShortcut::activated, &window, std::move(action));
}

// Shows the ring around `focused` if that is a value; menus and buttons draw the focus themselves.
void surroundValue(QWidget& ring, const QWidget* focused) {
  constexpr int kSide = 4;  // points between ring and text
  const auto* value = qobject_cast<const QLabel*>(focused);
  ring.setVisible(value);
  if (!value) return;
  const int side = static_cast<int>(kSide * pixelsPerPoint(ring));
  ring.setGeometry(
      QRect(value->mapTo(ring.parentWidget(), QPoint()), value->size()).adjusted(-side, 0, 0, 0));
}

// Makes the footer move sideways with the content, in a window that is narrower than both.
QScrollArea* letFooterScroll(const Ui::PanelWindow& ui) {
  auto* area = new QScrollArea;
  area->setObjectName(QStringLiteral("FooterScroller"));
  delete ui.Rows->replaceWidget(ui.Footer, area);
  area->setWidget(ui.Footer);
  area->setFixedHeight(ui.Footer->height());
  area->setFrameShape(QFrame::NoFrame);
  area->setFocusPolicy(Qt::NoFocus);
  area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  QScrollBar* bar = ui.Scroller->horizontalScrollBar();
  QScrollBar* follower = area->horizontalScrollBar();
  QObject::connect(bar, &QScrollBar::valueChanged, follower, &QScrollBar::setValue);
  QObject::connect(follower, &QScrollBar::valueChanged, bar, &QScrollBar::setValue);
  return area;
}

// The window's menu, and the keys that do what no control does.
void addMenuAndKeys(QWidget& window, const Ui::PanelWindow& ui) {
  // By default a value has a menu of its own, and a combo box keeps the event to itself.
  for (QWidget* part : window.findChildren<QWidget*>())
    part->setContextMenuPolicy(Qt::NoContextMenu);
  QObject::connect(&window, &QWidget::customContextMenuRequested, &window,
                   [&window, copyValue = ui.CopyValue](const QPoint& place) {
                     showMenu(window, *copyValue, place);
                   });
  const auto copySelected = [&window] {
    const QLabel* value = selectedValue(window);
    if (value) copyValue(*value);
    return value;
  };
  QObject::connect(ui.CopyValue, &QAction::triggered, &window, copySelected);
  QObject::connect(ui.CopyDetails, &QAction::triggered, &window,
                   [&window] { copyDetails(window); });
  addKey(window, QKeySequence::Copy, [&window, copySelected] {
    if (!copySelected()) copyDetails(window);
  });
  addKey(window, Qt::Key_F6, [&window] { stepToValue(window, false); });
  addKey(window, Qt::SHIFT | Qt::Key_F6, [&window] { stepToValue(window, true); });
  addKey(window, Qt::CTRL | Qt::Key_Q, [button = ui.CloseButton] { button->click(); });
}

// A control stores the address as a void*, so it must be that of the QWidget whatever the class.
QWidget* asWidget(QWidget* widget) { return widget; }

// Cuts the values' texts anew to their width.
void fitTexts(const QWidget& window) {
  for (QLabel* value : valuesOf(window))
    NSTextField(asWidget(value)).setStringValue(wholeText(*value).toStdString());
}

}  // namespace

QtNib::QtNib() {
  Ui::PanelWindow ui;
  ui.setupUi(&window_);
  settings_.apply();
  QScrollArea* footer = letFooterScroll(ui);
  for (QScrollArea* area : {ui.Scroller, footer}) {  // else they hide the window's ground
    area->viewport()->setAutoFillBackground(false);
    area->widget()->setAutoFillBackground(false);
  }
  ui.Version->setText(QStringLiteral("Version %1").arg(VX310_VERSION));
  addMenuAndKeys(window_, ui);
  ui.ValueRing->setAttribute(Qt::WA_TransparentForMouseEvents);
  QObject::connect(qApp, &QApplication::focusChanged, ui.ValueRing,
                   [ring = ui.ValueRing](QWidget*, QWidget* now) { surroundValue(*ring, now); });
  QObject::connect(&settings_, &DesktopSettings::applied, &window_, [this] { fitTexts(window_); });
  // Tab reaches the first menu from here. Otherwise Qt would choose among the controls that are
  // visible when the window opens, and these are the buttons.
  window_.setFocus();
  // By default a scroll area follows the focus only while it moves inside the area, not when it
  // enters it. Queued, since the area that the focus leaves scrolls back to its own control first.
  QObject::connect(
      qApp, &QApplication::focusChanged, ui.Scroller,
      [scroller = ui.Scroller, footer] {
        QWidget* now = QApplication::focusWidget();
        scroller->ensureWidgetVisible(now);
        footer->ensureWidgetVisible(now);
      },
      Qt::QueuedConnection);
  QObject::connect(ui.InputSection, &SectionBox::emptied, ui.StatusLine,
                   [line = ui.StatusLine](bool empty) { line->setMenusShown(!empty); });
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
      setNotice(Notice::kChoiceRefused, false);
      run();
      // Without an audio device the routing was not written. The line says so until one is.
      if (menu->property("isRouting").toBool() && hasNotice(Notice::kAudioDeviceAbsent))
        setNotice(Notice::kRoutingUnconfirmed, true);
      if (menu->currentIndex() == picked) return;
      setNotice(Notice::kChoiceRefused, true);
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
