// SPDX-License-Identifier: MIT
// Tells the users of assistive technologies what changed on its own. Main thread.
#pragma once

#include <QElapsedTimer>
#include <QMap>
#include <QString>
#include <QTimer>
#include <QWidget>

namespace qt_toolkit {

// An invisible part of the window with the role of a notification. Screen readers speak a
// notification when it is shown, wherever the focus is.
class Announcer : public QWidget {
  Q_OBJECT

 public:
  explicit Announcer(QWidget* window);

  // Announces `text` with the label of `control`, if it has one: "Digital input: no signal". An
  // empty text takes back what the control has not announced yet. The announcement
  // waits until nothing else was announced for a moment, with the last text of each control: screen
  // readers drop notifications among the many events of an interface that comes or goes. Does
  // nothing if no assistive technology runs or the control's window has no announcer.
  static void announce(const QWidget& control, const QString& text);

 private:
  void speak();

  QTimer settled_;
  QElapsedTimer waiting_;         // since the first text that waits
  QMap<QString, QString> texts_;  // by the control's label
};

}  // namespace qt_toolkit
