// SPDX-License-Identifier: MIT
// A window of the panel's size with one line of text: what start and memory cost with the toolkit
// alone.
#include <QApplication>
#include <QLabel>
#include <cstdlib>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QLabel window(QStringLiteral("VX-310 Control Panel"));
  window.resize(argc > 2 ? std::atoi(argv[1]) : 300, argc > 2 ? std::atoi(argv[2]) : 300);
  window.show();
  return QApplication::exec();
}
