// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/desktop_settings.h"

#include <QApplication>
#include <QFont>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QRegularExpression>
#include <QString>
#include <algorithm>
#include <cmath>
#include <utility>

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

// The style sheet in pixels and in font sizes, which may not be relative in Qt.
QString scaledSheet(const QString& sheet, double point) {
  static const QRegularExpression length(QStringLiteral("\\b(\\d+(?:\\.\\d+)?)(px|em)\\b"));
  const double em = QFontInfo(QApplication::font()).pointSizeF();
  QString result;
  qsizetype copied = 0;
  auto matches = length.globalMatch(sheet);
  while (matches.hasNext()) {
    const auto match = matches.next();
    const double value = match.captured(1).toDouble();
    result += sheet.mid(copied, match.capturedStart() - copied);
    result += match.captured(2) == QLatin1String("em")
                  ? QStringLiteral("%1pt").arg(value * em)
                  : QStringLiteral("%1px").arg(std::lround(value * point));
    copied = match.capturedEnd();
  }
  return result + sheet.mid(copied);
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
  const double point = pointFor(QApplication::font());
  window.setProperty(kPixelsPerPoint, point);
  QString sheet = window.styleSheet();
  if (isHighContrast(QApplication::palette())) {
    window.setPalette(QApplication::palette());
    sheet += window.property("highContrastColours").toString();
  }
  window.setStyleSheet(scaledSheet(sheet, point));
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
