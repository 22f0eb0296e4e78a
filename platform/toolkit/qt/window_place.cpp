// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/window_place.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QList>
#include <QPoint>
#include <QString>
#include <optional>

namespace qt_toolkit {

namespace {

bool placesItsWindows() { return QGuiApplication::platformName() == QLatin1String("xcb"); }

QString placeFile() {
  const QString folder = qEnvironmentVariable("XDG_STATE_HOME");
  return (QDir::isAbsolutePath(folder) ? folder : QDir::homePath() + "/.local/state") +
         "/vantrel/panel-window";
}

// The file has the coordinates of the window's upper left corner: "320 240".
std::optional<QPoint> savedPlace() {
  constexpr qint64 kLongest = 64;
  QFile file(placeFile());
  if (!file.open(QIODevice::ReadOnly)) return {};
  const QList<QByteArray> numbers = file.read(kLongest).trimmed().split(' ');
  if (numbers.size() != 2) return {};
  bool isNumber[2] = {};
  const QPoint place(numbers[0].toShort(&isNumber[0]), numbers[1].toShort(&isNumber[1]));
  if (!isNumber[0] || !isNumber[1]) return {};
  return place;
}

}  // namespace

void restorePlace(QWidget& window) {
  if (!placesItsWindows()) return;
  const auto place = savedPlace();
  const QPoint middle(window.width() / 2, window.height() / 2);
  if (place && QGuiApplication::screenAt(*place + middle)) window.move(*place);
}

void savePlace(const QWidget& window) {
  if (!placesItsWindows()) return;
  const QString path = placeFile();
  if (!QDir().mkpath(QFileInfo(path).path())) return;
  QFile file(path);  // not waited for until it is on the disk: the place is no loss
  if (!file.open(QIODevice::WriteOnly)) return;
  file.write(QByteArray::number(window.x()) + ' ' + QByteArray::number(window.y()) + '\n');
}

}  // namespace qt_toolkit
