// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/announcer.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QLabel>
#include <QStringList>
#include <chrono>

namespace qt_toolkit {

namespace {

// Orca takes most of this time to handle the events of an arrival, and drops announcements before.
constexpr std::chrono::milliseconds kSettling{2000};
// However often something changes, it is announced after this time.
constexpr std::chrono::milliseconds kLongestWait{6000};

QAccessibleInterface* describe(const QString&, QObject* object) {
  auto* announcer = qobject_cast<Announcer*>(object);
  return announcer ? new QAccessibleWidget(announcer, QAccessible::Notification) : nullptr;
}

QString labelOf(const QWidget& control) {
  for (const QLabel* label : control.window()->findChildren<QLabel*>()) {
    if (label->buddy() == &control) return label->text().remove(QLatin1Char('&'));
  }
  return {};
}

}  // namespace

Announcer::Announcer(QWidget* window) : QWidget(window) {
  QAccessible::installFactory(describe);  // a factory that is installed already is not added again
  resize(0, 0);
  settled_.setSingleShot(true);
  connect(&settled_, &QTimer::timeout, this, &Announcer::speak);
}

void Announcer::announce(const QWidget& control, const QString& text) {
  if (!QAccessible::isActive()) return;
  auto* announcer = control.window()->findChild<Announcer*>({}, Qt::FindDirectChildrenOnly);
  if (!announcer) return;
  const QString label = labelOf(control);
  if (text.isEmpty()) {
    announcer->texts_.remove(label);
    return;
  }
  announcer->texts_[label] = text;
  if (!announcer->settled_.isActive()) announcer->waiting_.start();
  if (!announcer->waiting_.hasExpired(kLongestWait.count())) announcer->settled_.start(kSettling);
}

void Announcer::speak() {
  if (texts_.isEmpty()) return;
  QStringList sentences;
  for (auto text = texts_.cbegin(); text != texts_.cend(); ++text) {
    sentences.push_back(text.key().isEmpty()
                            ? text.value()
                            : QStringLiteral("%1: %2").arg(text.key(), text.value()));
  }
  texts_.clear();
  setAccessibleName(sentences.join(QStringLiteral(". ")));
  QAccessibleEvent shown(this, QAccessible::ObjectShow);
  QAccessible::updateAccessibility(&shown);
}

}  // namespace qt_toolkit
