// SPDX-License-Identifier: MIT
// Images of the application's resources as Qt pixmaps. Main thread.
#pragma once

#include <QPixmap>

#include "platform/toolkit/toolkit.h"

namespace qt_toolkit {

// The pixmap of `image`; a null pixmap for an empty image.
QPixmap pixmapOf(const NSImage& image);

// The name of the resource that `image` was loaded from, without its suffix; empty for an empty
// image.
QString nameOf(const NSImage& image);

// The path of a file in the application's resources.
QString resourcePath(const QString& name);

}  // namespace qt_toolkit
