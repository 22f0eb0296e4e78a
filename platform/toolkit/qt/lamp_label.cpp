// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/lamp_label.h"

#include <QColor>
#include <QPainter>
#include <QPen>
#include <QRectF>

namespace qt_toolkit {

namespace {

constexpr int kLamp = 12;  // side, in pixels
constexpr int kGap = 8;    // between lamp and text

}  // namespace

LampLabel::LampLabel(QWidget* parent) : QLabel(parent) {
  setContentsMargins(kLamp + kGap, 0, 0, 0);
}

void LampLabel::paintEvent(QPaintEvent* event) {
  QLabel::paintEvent(event);
  if (text().isEmpty()) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.translate(0, (height() - kLamp) / 2.0);
  const auto draw = [&](const char* colour) {
    painter.setPen(QPen(QColor(colour), 2, Qt::SolidLine, Qt::RoundCap));
  };
  if (text().startsWith(QLatin1String("valid"))) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor("#4cd471"));
    painter.drawEllipse(QRectF(1, 1, kLamp - 2, kLamp - 2));
  } else if (text().startsWith(QLatin1String("muted"))) {
    painter.fillRect(QRectF(1.5, 1, 3, kLamp - 2), QColor("#f5b83d"));
    painter.fillRect(QRectF(7.5, 1, 3, kLamp - 2), QColor("#f5b83d"));
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
