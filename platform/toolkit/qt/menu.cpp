// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/menu.h"

#include <QAbstractItemView>
#include <QCoreApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QWheelEvent>

namespace qt_toolkit {

namespace {

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

// Makes an open list handle each key once, when its press arrives. By default the list picks the
// item at the ShortcutOverride event before the press. An assistive technology delays presses, but
// not overrides: the list would pick before earlier presses have moved the selection, and again
// when the press arrives with an override of its own.
class KeysInOrder final : public QObject {
 public:
  using QObject::QObject;

 protected:
  // Only events of the window system are spontaneous. sendEvent() clears the flag, so Qt sends a
  // new ShortcutOverride before this press, which passes the filter.
  bool eventFilter(QObject* list, QEvent* event) override {
    if (!event->spontaneous()) return false;
    if (event->type() == QEvent::ShortcutOverride) return true;
    if (event->type() != QEvent::KeyPress) return false;
    QCoreApplication::sendEvent(list, event);
    event->accept();  // Qt has already offered the press to the list's parents
    return true;
  }
};

}  // namespace

Menu::Menu(QWidget* parent) : QComboBox(parent) {
  // On Linux Qt reports the value as a menu's name, and screen readers speak the label in place of
  // the name: they find the value only in the description.
  connect(this, &QComboBox::currentTextChanged, this, [this](const QString& value) {
    const QString purpose = accessibleName();
    setAccessibleDescription(value.isEmpty() ? purpose
                                             : QStringLiteral("%1: %2").arg(purpose, value));
  });
}

void Menu::showPopup() {
  if (!hasList_) {
    hasList_ = true;
    setItemDelegate(new TickDelegate(this));
    view()->installEventFilter(new KeysInOrder(this));
  }
  QComboBox::showPopup();
}

void Menu::changeEvent(QEvent* event) {
  if (event->type() == QEvent::StyleChange && !hasList_) {
    // QComboBox would choose a new delegate for the list, and make the list for that.
    QWidget::changeEvent(event);  // NOLINT(bugprone-parent-virtual-call)
  } else {
    QComboBox::changeEvent(event);
  }
}

void Menu::keyPressEvent(QKeyEvent* event) {
  switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
      showPopup();
      return;
    default:
      break;
  }
  // Letters move to an item that begins with them.
  const QString text = event->text();
  const bool isLetter = !text.isEmpty() && text[0].isPrint() && !text[0].isSpace() &&
                        (event->modifiers() & (Qt::AltModifier | Qt::ControlModifier)) == 0;
  if (!isLetter) {
    QComboBox::keyPressEvent(event);
    return;
  }
  showPopup();
  QCoreApplication::sendEvent(view(), event);
}

void Menu::wheelEvent(QWheelEvent* event) { event->ignore(); }

}  // namespace qt_toolkit
