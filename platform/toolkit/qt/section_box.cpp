// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/section_box.h"

#include <QChildEvent>
#include <algorithm>

namespace qt_toolkit {

void SectionBox::childEvent(QChildEvent* event) {
  if (event->added()) event->child()->installEventFilter(this);
  QGroupBox::childEvent(event);
}

bool SectionBox::eventFilter(QObject* child, QEvent* event) {
  // Qt sends these when a control is shown or hidden, even while the box itself is hidden.
  if (event->type() == QEvent::ShowToParent || event->type() == QEvent::HideToParent) {
    const bool empty = !hasShownControl();
    if (empty != isHidden()) {
      setHidden(empty);
      emit emptied(empty);
    }
  }
  return QGroupBox::eventFilter(child, event);
}

bool SectionBox::hasShownControl() const {
  const auto widgets = findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
  return std::any_of(widgets.begin(), widgets.end(), [](const QWidget* widget) {
    return !widget->isHidden() && widget->property("part") != QLatin1String("heading");
  });
}

}  // namespace qt_toolkit
