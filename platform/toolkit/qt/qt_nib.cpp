// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/qt_nib.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QEvent>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QStyledItemDelegate>
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

// Draws an open list with a tick at the menu's current item.
class TickDelegate final : public QStyledItemDelegate {
 public:
  explicit TickDelegate(QComboBox* menu) : QStyledItemDelegate(menu), menu_(menu) {}

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override {
    QStyledItemDelegate::paint(painter, option, index);
    if (index.row() != menu_->currentIndex()) return;
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QRect place = menu_->view()->style()->subElementRect(QStyle::SE_ItemViewItemDecoration,
                                                               &item, menu_->view());
    const bool selected = item.state.testFlag(QStyle::State_Selected);
    const int side = item.decorationSize.width();
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(
        menu_->palette().color(selected ? QPalette::HighlightedText : QPalette::Text), side / 7.0));
    painter->translate(place.topLeft());
    const QPointF corners[] = {
        {side * 0.15, side * 0.55}, {side * 0.4, side * 0.8}, {side * 0.85, side * 0.2}};
    painter->drawPolyline(corners, 3);
    painter->restore();
  }

 protected:
  // Leaves room for the tick before each text.
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(option, index);
    const int side = option->fontMetrics.height() * 3 / 4;
    option->features |= QStyleOptionViewItem::HasDecoration;
    option->decorationSize = QSize(side, side);
  }

 private:
  QComboBox* menu_;
};

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

bool ClosedMenu::eventFilter(QObject* menu, QEvent* event) {
  if (event->type() == QEvent::Wheel) {
    event->ignore();
    return true;
  }
  if (event->type() != QEvent::KeyPress) return false;
  const auto* press = static_cast<QKeyEvent*>(event);
  auto* closed = static_cast<QComboBox*>(menu);
  switch (press->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
      closed->showPopup();
      return true;
    default:
      break;
  }
  // Letters move to an item that begins with them.
  const QString text = press->text();
  if (text.isEmpty() || !text[0].isPrint() || text[0].isSpace()) return false;
  if ((press->modifiers() & (Qt::AltModifier | Qt::ControlModifier)) != 0) return false;
  closed->showPopup();
  QCoreApplication::sendEvent(closed->view(), event);
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
  QObject::connect(&settings_, &DesktopSettings::rescaledWindow, &window_,
                   [this] { fitTexts(window_); });
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
  for (QComboBox* menu : window_.findChildren<QComboBox*>()) {
    menu->installEventFilter(&closedMenu_);
    menu->setItemDelegate(new TickDelegate(menu));
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
      setNotice(Notice::kChoiceRefused, false);
      run();
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
