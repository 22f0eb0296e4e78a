// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/lamp_label.h"

#include <QApplication>
#include <QColor>
#include <QEvent>
#include <QFontInfo>
#include <QPainter>
#include <QPen>
#include <QRectF>
#include <cmath>

#include "platform/toolkit/qt/desktop_settings.h"

namespace qt_toolkit {

namespace {

constexpr int kLamp = 12;     // side, as drawn below
constexpr int kGap = 8;       // between lamp and text
constexpr double kFont = 14;  // size of the font beside it

// The text's size relative to the one that the lamp is drawn for.
double ratioOf(const QFont& font) { return QFontInfo(font).pixelSize() / kFont; }

}  // namespace

LampLabel::LampLabel(QWidget* parent) : QLabel(parent) { leaveRoom(); }

void LampLabel::leaveRoom() {
  setContentsMargins(static_cast<int>(std::ceil((kLamp + kGap) * ratioOf(font()))), 0, 0, 0);
}

void LampLabel::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::FontChange) leaveRoom();
}

void LampLabel::paintEvent(QPaintEvent* event) {
  QLabel::paintEvent(event);
  if (text().isEmpty()) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const double ratio = ratioOf(font());
  painter.translate(0, (height() - kLamp * ratio) / 2.0);
  painter.scale(ratio, ratio);
  const bool plain = isHighContrast(QApplication::palette());
  const auto colour = [&](const char* usual) {
    return plain ? palette().color(QPalette::WindowText) : QColor(usual);
  };
  const auto draw = [&](const char* usual) {
    painter.setPen(QPen(colour(usual), 2, Qt::SolidLine, Qt::RoundCap));
  };
  if (text().startsWith(QLatin1String("valid"))) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour("#4cd471"));
    painter.drawEllipse(QRectF(1, 1, kLamp - 2, kLamp - 2));
  } else if (text().startsWith(QLatin1String("muted"))) {
    painter.fillRect(QRectF(1.5, 1, 3, kLamp - 2), colour("#f5b83d"));
    painter.fillRect(QRectF(7.5, 1, 3, kLamp - 2), colour("#f5b83d"));
  } else if (text().startsWith(QLatin1String("no valid"))) {
    draw("#ff7a70");
    painter.drawLine(QPointF(2, 2), QPointF(kLamp - 2, kLamp - 2));
    painter.drawLine(QPointF(2, kLamp - 2), QPointF(kLamp - 2, 2));
  } else {
    draw("#a7b1bb");
    painter.drawEllipse(QRectF(2, 2, kLamp - 4, kLamp - 4));
  }
}

}  // namespace qt_toolkit
