// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/desktop_settings.h"

#include <QApplication>
#include <QFont>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QString>
#include <algorithm>
#include <cmath>

#include "platform/toolkit/qt/panel_style.h"

namespace qt_toolkit {

namespace {

constexpr const char* kPixelsPerPoint = "pixelsPerPoint";  // a property of the window

// The window file is drawn for DejaVu Sans of 12 pixels, in which the sample has this width.
constexpr double kDrawnForPixels = 12;
constexpr double kDrawnForSampleWidth = 255.625;
constexpr const char* kSample = "abcdefghijklmnopqrstuvwxyz 0123456789";

int scaled(int length, double ratio) { return static_cast<int>(std::lround(length * ratio)); }

// Large enough for the height and for the width of the font's texts. The picture, which is drawn
// for one pixel per point, is never made smaller.
double pointFor(const QFont& font) {
  const double height = QFontInfo(font).pixelSize() / kDrawnForPixels;
  const double width =
      QFontMetricsF(font).horizontalAdvance(QLatin1String(kSample)) / kDrawnForSampleWidth;
  return std::max({1.0, height, width});
}

// Scales the edges, so that neighbours stay neighbours.
void scaleGeometry(QWidget& widget, double point) {
  if (widget.minimumWidth() > 0 || widget.minimumHeight() > 0)
    widget.setMinimumSize(scaled(widget.minimumWidth(), point),
                          scaled(widget.minimumHeight(), point));
  if (widget.maximumWidth() < QWIDGETSIZE_MAX)
    widget.setMaximumSize(scaled(widget.maximumWidth(), point),
                          scaled(widget.maximumHeight(), point));
  const QRect place = widget.geometry();
  const QPoint topLeft(scaled(place.left(), point), scaled(place.top(), point));
  const QPoint end(scaled(place.left() + place.width(), point),
                   scaled(place.top() + place.height(), point));
  widget.setGeometry(QRect(topLeft, QSize(end.x() - topLeft.x(), end.y() - topLeft.y())));
}

}  // namespace

void applyDesktopSettings(QWidget& window) {
  // The application's font as the window has it: before a Wayland compositor has told its screens,
  // Qt counts the application's font with other dots per inch.
  const double point = pointFor(QFont(QApplication::font(), &window));
  window.setProperty(kPixelsPerPoint, point);
  QApplication::setStyle(new PanelStyle(point));  // which the application owns
  setWindowColours(window);
  if (point == 1) return;
  const QSize smallest = window.minimumSize();  // for small screens
  for (QWidget* widget : window.findChildren<QWidget*>()) {
    if (!widget->objectName().startsWith(QLatin1String("qt_"))) scaleGeometry(*widget, point);
  }
  scaleGeometry(window, point);
  window.setMinimumSize(smallest);
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
