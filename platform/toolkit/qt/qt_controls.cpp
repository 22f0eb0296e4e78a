// SPDX-License-Identifier: MIT
// The controls: each refers to a widget of the window.
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QPalette>
#include <QStyle>
#include <QWidget>
#include <cmath>

#include "platform/toolkit/qt/announcer.h"
#include "platform/toolkit/qt/desktop_settings.h"
#include "platform/toolkit/qt/picture.h"
#include "platform/toolkit/qt/values.h"
#include "platform/toolkit/toolkit.h"

namespace {

using qt_toolkit::Announcer;

// QtNib makes every control from a widget of the right class, so the casts are safe.
QWidget* widgetOf(const NSView& view) { return static_cast<QWidget*>(view.object()); }
QLabel* labelOf(const NSView& view) { return static_cast<QLabel*>(widgetOf(view)); }
QComboBox* menuOf(const NSView& view) { return static_cast<QComboBox*>(widgetOf(view)); }

int pixels(const QWidget& widget, double points) {
  return static_cast<int>(std::lround(points * qt_toolkit::pixelsPerPoint(widget)));
}

// Whole points, so that a frame is read as it was set.
double points(const QWidget& widget, int pixels) {
  return std::round(pixels / qt_toolkit::pixelsPerPoint(widget));
}

// Converts y: points count from the parent's lower left corner, pixels from its upper left corner.
int flipped(const QWidget& widget, int y, int height) {
  const QWidget* enclosing = widget.parentWidget();
  return (enclosing ? enclosing->height() : 0) - y - height;
}

// The text, cut at its end to the width of the label.
QString fitting(const QLabel& label, const QString& text) {
  label.ensurePolished();
  return label.fontMetrics().elidedText(text, Qt::ElideRight, label.contentsRect().width());
}

// Qt guesses whether a tool tip is markup. Markup wraps long lines, so make it markup.
QString asMarkup(const QString& text) {
  return QStringLiteral("<p>%1</p>").arg(text.toHtmlEscaped());
}

// Colours a text of the kind "USB 1.1 (unsupported)" in a label that has a reason for it, gives the
// reason to assistive technologies, and returns it; else the usual colour and an empty text.
QString showSupport(QLabel& label, const QString& text) {
  const QString reason = label.property("unsupported").toString();
  if (reason.isEmpty()) return {};
  const bool unsupported = text.contains(QLatin1String("(unsupported)"));
  label.setProperty("warning", unsupported);
  label.style()->polish(&label);
  const QString title = label.accessibleDescription().section(QStringLiteral(": "), 0, 0);
  label.setAccessibleDescription(unsupported ? title + QStringLiteral(": ") + reason : title);
  return unsupported ? reason : QString();
}

// Call before the control is hidden or disabled. If the user is typing into it, closes its list and
// moves the focus to the window, which ignores the keys that follow. Qt would move it to the next
// control, a button or another menu, and the keys would press that or change its item.
void leave(QWidget& widget) {
  QWidget* window = widget.window();
  if (window->focusWidget() != &widget) return;
  if (auto* menu = qobject_cast<QComboBox*>(&widget)) menu->hidePopup();
  window->setFocus();
}

}  // namespace

NSView NSView::superview() const {
  const QWidget* widget = widgetOf(*this);
  return NSView(widget ? widget->parentWidget() : nullptr);
}

NSRect NSView::frame() const {
  const QWidget* widget = widgetOf(*this);
  if (!widget) return {};
  const QRect place = widget->geometry();
  return {
      {points(*widget, place.x()), points(*widget, flipped(*widget, place.y(), place.height()))},
      {points(*widget, place.width()), points(*widget, place.height())}};
}

void NSView::setFrame(NSRect frame) {
  QWidget* widget = widgetOf(*this);
  if (!widget) return;
  const int height = pixels(*widget, frame.size.height);
  widget->setGeometry(pixels(*widget, frame.origin.x),
                      flipped(*widget, pixels(*widget, frame.origin.y), height),
                      pixels(*widget, frame.size.width), height);
}

void NSView::display() {
  if (QWidget* widget = widgetOf(*this)) widget->repaint();
}

void NSWindow::setBackgroundColor(const NSColor& color) {
  if (auto* window = static_cast<QWidget*>(object_))
    qt_toolkit::setGround(*window, qt_toolkit::pixmapOf(color.pattern));
}

void NSControl::setHidden(bool hidden) {
  QWidget* widget = widgetOf(*this);
  if (!widget) return;
  if (hidden) leave(*widget);
  widget->setHidden(hidden);
}

void NSControl::setEnabled(bool enabled) {
  QWidget* widget = widgetOf(*this);
  if (!widget) return;
  if (!enabled) leave(*widget);
  widget->setEnabled(enabled);
}

NSWindow NSControl::window() const {
  const QWidget* widget = widgetOf(*this);
  return NSWindow(widget ? widget->window() : nullptr);
}

void NSTextField::setStringValue(std::string_view text) {
  QLabel* label = labelOf(*this);
  if (!label) return;
  label->setTextFormat(Qt::PlainText);  // a device's texts are never markup
  const QString former = qt_toolkit::wholeText(*label);
  const QString whole = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
  label->setText(fitting(*label, whole));
  const bool fits = label->text() == whole;
  const QString reason = showSupport(*label, whole);
  label->setToolTip(fits && reason.isEmpty() ? QString() : asMarkup(fits ? reason : whole));
  label->setAccessibleName(fits ? QString() : whole);
  if (label->property("announced").toBool() && !former.isEmpty() && !whole.isEmpty() &&
      whole != former) {
    Announcer::announce(*label, whole.trimmed());
  }
}

void NSPopUpButton::selectItemAtIndex(std::int32_t index) {
  QComboBox* menu = menuOf(*this);
  if (menu) menu->setCurrentIndex(index >= 0 && index < menu->count() ? index : -1);
}

void NSPopUpButton::selectItem(std::nullptr_t) { selectItemAtIndex(-1); }

std::int32_t NSPopUpButton::indexOfSelectedItem() const {
  const QComboBox* menu = menuOf(*this);
  return menu ? menu->currentIndex() : 0;
}

void NSImageView::setImage(const NSImage& image) {
  QLabel* label = labelOf(*this);
  if (!label) return;
  label->setPixmap(qt_toolkit::pixmapOf(image));
  label->setAccessibleName(qt_toolkit::nameOf(image));
}

void NSImageView::setFrameSize(NSSize size) { setFrame({frame().origin, size}); }

void NSImageView::setFrameOrigin(NSPoint origin) { setFrame({origin, frame().size}); }
