// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/values.h"

#include <QClipboard>
#include <QComboBox>
#include <QGuiApplication>
#include <QLabel>
#include <QStringList>
#include <algorithm>

#include "platform/toolkit/qt/status_line.h"

namespace qt_toolkit {

QString wholeText(const QLabel& label) {
  return label.accessibleName().isEmpty() ? label.text() : label.accessibleName();
}

QList<QLabel*> valuesOf(const QWidget& window) {
  QList<QLabel*> values;
  for (const QLabel* title : window.findChildren<QLabel*>()) {
    if (auto* value = qobject_cast<QLabel*>(title->buddy())) values.push_back(value);
  }
  return values;
}

QLabel* selectedValue(const QWidget& window) {
  auto* value = qobject_cast<QLabel*>(window.focusWidget());
  return value && value->hasSelectedText() ? value : nullptr;
}

void stepToValue(const QWidget& window, bool backwards) {
  QList<QLabel*> values = valuesOf(window);
  values.removeIf([](const QLabel* value) { return value->isHidden(); });
  if (values.isEmpty()) return;
  if (backwards) std::ranges::reverse(values);
  const qsizetype now = values.indexOf(window.focusWidget());  // -1: the focus is elsewhere
  QLabel* next = values[(now + 1) % values.size()];
  next->setFocus(Qt::ShortcutFocusReason);
  next->setSelection(0, static_cast<int>(next->text().size()));
}

void copyValue(const QLabel& value) {
  const QString selected = value.selectedText();
  QGuiApplication::clipboard()->setText(selected == value.text() ? wholeText(value).trimmed()
                                                                 : selected);
}

void copyDetails(const QWidget& window) {
  QStringList lines{QStringLiteral("%1 %2").arg(window.windowTitle(), VX310_VERSION)};
  for (const QLabel* title : window.findChildren<QLabel*>()) {
    const QWidget* control = title->buddy();
    if (!control || control->isHidden()) continue;
    const auto* menu = qobject_cast<const QComboBox*>(control);
    const auto* field = qobject_cast<const QLabel*>(control);
    const QString value = menu ? menu->currentText() : field ? wholeText(*field).trimmed() : "";
    if (value.isEmpty()) continue;
    lines.push_back(QStringLiteral("%1: %2").arg(title->text().remove(QLatin1Char('&')), value));
  }
  const auto* status = window.findChild<StatusLine*>();
  if (status && !status->isHidden()) lines.push_back(status->text());
  QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
}

}  // namespace qt_toolkit
