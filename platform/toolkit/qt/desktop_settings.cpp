// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/desktop_settings.h"

#include <QApplication>
#include <QBrush>
#include <QEvent>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QMetaObject>
#include <QString>
#include <QVariant>
#include <algorithm>
#include <cmath>

#include "platform/toolkit/qt/panel_style.h"

namespace qt_toolkit {

namespace {

// Properties of the window.
constexpr const char* kPixelsPerPoint = "pixelsPerPoint";
constexpr const char* kTile = "tile";

// The window file is drawn for DejaVu Sans of 12 pixels, in which the sample has this width.
constexpr double kDrawnForPixels = 12;
constexpr double kDrawnForSampleWidth = 255.625;
constexpr const char* kSample = "abcdefghijklmnopqrstuvwxyz 0123456789";

// Large enough for the height and for the width of the font's texts. The picture, which is drawn
// for one pixel per point, is never made smaller.
double pointFor(const QFont& font) {
  const double height = QFontInfo(font).pixelSize() / kDrawnForPixels;
  const double width =
      QFontMetricsF(font).horizontalAdvance(QLatin1String(kSample)) / kDrawnForSampleWidth;
  return std::max({1.0, height, width});
}

// A length in whole points of `from` pixels each, in points of `to` pixels.
int rescaled(int length, double from, double to) {
  return static_cast<int>(std::lround(std::round(length / from) * to));
}

QSize rescaled(QSize size, double from, double to) {
  const auto length = [&](int old) {
    return old < QWIDGETSIZE_MAX ? rescaled(old, from, to) : old;
  };
  return {length(size.width()), length(size.height())};
}

// Rescales the edges, so that neighbours stay neighbours.
void rescale(QWidget& widget, double from, double to) {
  widget.setMinimumSize(rescaled(widget.minimumSize(), from, to));
  widget.setMaximumSize(rescaled(widget.maximumSize(), from, to));
  const QRect place = widget.geometry();
  const QPoint topLeft(rescaled(place.left(), from, to), rescaled(place.top(), from, to));
  const QPoint end(rescaled(place.left() + place.width(), from, to),
                   rescaled(place.top() + place.height(), from, to));
  widget.setGeometry(QRect(topLeft, QSize(end.x() - topLeft.x(), end.y() - topLeft.y())));
}

bool isOfWindowFile(const QWidget& widget) {
  const QString name = widget.objectName();
  return !name.isEmpty() && !name.startsWith(QLatin1String("qt_"));
}

// Shows the window's tile; on a desktop of high contrast the ground is the desktop's.
void showGround(QWidget& window) {
  if (isHighContrast(QApplication::palette())) return;
  QPalette palette = window.palette();
  QBrush fill(palette.color(QPalette::Window));  // the colour below the tile
  const auto tile = window.property(kTile).value<QPixmap>();
  if (!tile.isNull()) fill.setTexture(tile);
  palette.setBrush(QPalette::Window, fill);
  window.setPalette(palette);
}

}  // namespace

DesktopSettings::DesktopSettings(QWidget& window) : window_(window) {
  window.installEventFilter(this);
}

void DesktopSettings::apply() {
  font_ = QApplication::font();
  palette_ = QApplication::palette();
  // The application's font as the window has it: before a Wayland compositor has told its screens,
  // Qt counts the application's font with other dots per inch.
  const double point = pointFor(QFont(font_, &window_));
  const double former = pixelsPerPoint(window_);
  window_.setProperty(kPixelsPerPoint, point);
  QApplication::setStyle(new PanelStyle(point));  // which the application owns
  setWindowColours(window_);
  showGround(window_);
  if (point != former) {
    for (QWidget* widget : window_.findChildren<QWidget*>()) {
      if (isOfWindowFile(*widget)) rescale(*widget, former, point);
    }
    window_.setMaximumSize(rescaled(window_.maximumSize(), former, point));
    window_.resize(window_.maximumSize());
    emit rescaledWindow();
  }
  emit applied();
}

// Queued, since the widgets have the change only after the event.
bool DesktopSettings::eventFilter(QObject*, QEvent* event) {
  const auto follow = [this] {
    if (font_ != QApplication::font() || palette_ != QApplication::palette()) apply();
  };
  switch (event->type()) {
    case QEvent::ApplicationFontChange:
    case QEvent::ApplicationPaletteChange:
    case QEvent::ThemeChange:
      QMetaObject::invokeMethod(this, follow, Qt::QueuedConnection);
      break;
    default:
      break;
  }
  return false;
}

void setGround(QWidget& window, const QPixmap& tile) {
  window.setProperty(kTile, tile);
  showGround(window);
}

double pixelsPerPoint(const QWidget& widget) {
  return std::max(1.0, widget.window()->property(kPixelsPerPoint).toDouble());
}

bool isHighContrast(const QPalette& palette) {
  const auto [darker, brighter] = std::minmax({palette.color(QPalette::Window).lightness(),
                                               palette.color(QPalette::WindowText).lightness()});
  return darker <= 2 && brighter >= 253;
}

}  // namespace qt_toolkit
