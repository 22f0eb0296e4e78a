// SPDX-License-Identifier: MIT
// The Qt form of an image of the application's resources.
#pragma once

#include <QPixmap>

#include "platform/toolkit/toolkit.h"

namespace qt_toolkit {

// The picture of `image`; a null one for an empty image.
QPixmap pixmapOf(const NSImage& image);

// The path of a file in the application's resources.
QString resourcePath(const QString& name);

}  // namespace qt_toolkit
