// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/picture.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <algorithm>
#include <cmath>

namespace qt_toolkit {

namespace {

constexpr int kHighestResolution = 3;  // "NAME@3x.png"

// What an NSImage of this back end refers to.
struct Picture {
  QPixmap pixmap;
  QString name;
};

const Picture& pictureOf(const NSImage& image) {
  return *static_cast<const Picture*>(image.picture().get());
}

QString pathOfResolution(const QString& path, int resolution) {
  const QFileInfo file(path);
  return resolution == 1 ? path
                         : QStringLiteral("%1/%2@%3x.%4")
                               .arg(file.path(), file.completeBaseName())
                               .arg(resolution)
                               .arg(file.suffix());
}

// The format is the file's suffix. Detecting it would load the plug-ins of all other formats, whose
// libraries stay in memory.
QPixmap load(const QString& path, int resolution) {
  const QString file = pathOfResolution(path, resolution);
  if (!QFileInfo::exists(file)) return {};  // the reader would print a warning
  QImageReader reader(file, QFileInfo(file).suffix().toLatin1());
  reader.setAutoDetectImageFormat(false);
  QPixmap picture = QPixmap::fromImageReader(&reader);
  picture.setDevicePixelRatio(resolution);
  return picture;
}

// Loads the resolution of the sharpest screen; if it is missing, the next finer one; if all finer
// ones are missing, the next coarser one.
QPixmap loadForScreens(const QString& path) {
  const int wanted =
      std::clamp(static_cast<int>(std::ceil(qGuiApp->devicePixelRatio())), 1, kHighestResolution);
  for (int resolution = wanted; resolution <= kHighestResolution; ++resolution) {
    if (QPixmap picture = load(path, resolution); !picture.isNull()) return picture;
  }
  for (int resolution = wanted - 1; resolution >= 1; --resolution) {
    if (QPixmap picture = load(path, resolution); !picture.isNull()) return picture;
  }
  return {};
}

}  // namespace

QString resourcePath(const QString& name) {
  return QString::fromStdString(NSBundleMainBundlePath()) + "/Contents/Resources/" + name;
}

QPixmap pixmapOf(const NSImage& image) {
  return image.empty() ? QPixmap() : pictureOf(image).pixmap;
}

QString nameOf(const NSImage& image) { return image.empty() ? QString() : pictureOf(image).name; }

}  // namespace qt_toolkit

NSImage NSImage::imageNamed(std::string_view name) {
  const QString file = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
  QPixmap picture = qt_toolkit::loadForScreens(qt_toolkit::resourcePath(file));
  if (picture.isNull()) return {};
  return NSImage(std::make_shared<const qt_toolkit::Picture>(
      qt_toolkit::Picture{picture, QFileInfo(file).completeBaseName()}));
}
