// SPDX-License-Identifier: MIT
// Remembers where on the screen the window was. Main thread.
#pragma once

#include <QWidget>

namespace qt_toolkit {

// Moves the window to the saved place if its middle would be on a screen; call it before the window
// is shown. On Wayland only the compositor places windows.
void restorePlace(QWidget& window);

// Saves the place in $XDG_STATE_HOME/vantrel/panel-window, else below $HOME/.local/state. Does
// nothing if the folder cannot be written. Also right after the window was closed.
void savePlace(const QWidget& window);

}  // namespace qt_toolkit
