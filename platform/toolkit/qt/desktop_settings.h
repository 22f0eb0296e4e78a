// SPDX-License-Identifier: MIT
// Applies the desktop's settings to the window: the system's font and high contrast. Main thread.
#pragma once

#include <QFont>
#include <QObject>
#include <QPalette>
#include <QPixmap>
#include <QWidget>

namespace qt_toolkit {

// Scales the window to the system's font, and sets the application's style (panel_style.h) and the
// window's colours. The window file's places and sizes are points: one pixel each with a font of 9
// points, more with a larger or wider one.
class DesktopSettings final : public QObject {
  Q_OBJECT

 public:
  // `window` must outlive the object.
  explicit DesktopSettings(QWidget& window);

  // Call it once, before the window is shown. From then on the window follows changes of the
  // settings, soon after each.
  void apply();

 signals:
  // The window and all in it have another size, which may be too large for the screen.
  void rescaledWindow();
  // The window has the settings, so another font perhaps.
  void applied();

 protected:
  bool eventFilter(QObject* window, QEvent* event) override;

 private:
  QWidget& window_;
  QFont font_;  // as applied last
  QPalette palette_;
};

// Fills the window's ground with the tile, or with its colour if the tile is null. On a desktop of
// high contrast the ground stays the desktop's.
void setGround(QWidget& window, const QPixmap& tile);

// The size of a point in the widget's window.
double pixelsPerPoint(const QWidget& widget);

// Whether the palette has texts in black on white or white on black, which only palettes of high
// contrast have: usual ones are softer.
bool isHighContrast(const QPalette& palette);

}  // namespace qt_toolkit
