// SPDX-License-Identifier: MIT
// What the window's controls show, as text. Main thread.
#pragma once

#include <QList>
#include <QString>
#include <QWidget>

class QLabel;

namespace qt_toolkit {

// The text that the label was given, also if it shows only its beginning.
QString wholeText(const QLabel& label);

// The labels that show a value beside a title, in the order of the window file.
QList<QLabel*> valuesOf(const QWidget& window);

// The value of which the user has selected a part; null for none.
QLabel* selectedValue(const QWidget& window);

// Moves the focus to the next value on display, or to the one before, and selects it whole.
void stepToValue(const QWidget& window, bool backwards);

// Puts the selected part of a value on the clipboard. Of a value that is cut and wholly selected,
// the whole text.
void copyValue(const QLabel& value);

// Puts the panel's version, every value on display with its title and the status line on the
// clipboard, a line each.
void copyDetails(const QWidget& window);

}  // namespace qt_toolkit
