// SPDX-License-Identifier: MIT
// Applies the desktop's settings to the window: the system's font and high contrast. Main thread.
#pragma once

#include <QPalette>
#include <QWidget>

namespace qt_toolkit {

// Scales the window to the system's font, and sets the application's style (panel_style.h) and the
// window's colours. The window file's places and sizes are points: one pixel each with a font of 9
// points, more with a larger or wider one. Call it once, before the window is shown.
void applyDesktopSettings(QWidget& window);

// The size of a point in the widget's window.
double pixelsPerPoint(const QWidget& widget);

// Whether the palette has texts in black on white or white on black, which only palettes of high
// contrast have: usual ones are softer.
bool isHighContrast(const QPalette& palette);

}  // namespace qt_toolkit
