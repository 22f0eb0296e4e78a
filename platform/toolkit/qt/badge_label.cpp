// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/badge_label.h"

#include <QColor>
#include <QEvent>
#include <QFontMetrics>
#include <QMargins>
#include <QPainter>
#include <QPen>
#include <QRectF>
#include <cmath>

namespace qt_toolkit {

namespace {

// Relative to the height of the font.
constexpr double kSide = 0.5;  // between the frame and the text's ends
constexpr double kRounding = 0.35;

constexpr int kFillAlpha = 30;  // of 255

}  // namespace

BadgeLabel::BadgeLabel(QWidget* parent) : QLabel(parent) { leaveRoom(); }

void BadgeLabel::leaveRoom() {
  const int side = static_cast<int>(std::ceil(fontMetrics().height() * kSide));
  setContentsMargins(side, 0, side, 0);
}

void BadgeLabel::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::FontChange) leaveRoom();
}

void BadgeLabel::paintEvent(QPaintEvent* event) {
  const QString shown = text().trimmed();
  if (!shown.isEmpty()) {
    const QFontMetrics font = fontMetrics();
    const QMargins room = contentsMargins();
    const int width = room.left() + font.horizontalAdvance(shown) + room.right();
    const int height = font.height() * 5 / 4;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor colour = palette().color(QPalette::WindowText);
    QColor fill = colour;
    fill.setAlpha(kFillAlpha);
    painter.setPen(QPen(colour, 1));
    painter.setBrush(fill);
    const double rounding = font.height() * kRounding;
    painter.drawRoundedRect(QRectF(0.5, (this->height() - height) / 2.0, width - 1, height - 1),
                            rounding, rounding);
  }
  QLabel::paintEvent(event);
}

}  // namespace qt_toolkit
