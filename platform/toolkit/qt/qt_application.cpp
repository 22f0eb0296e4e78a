// SPDX-License-Identifier: MIT
// The application: its main loop, its end, and its use of the desktop.
#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QEvent>
#include <QEventLoop>
#include <QIcon>
#include <QLoggingCategory>
#include <QPixmap>
#include <QScreen>
#include <QSize>
#include <QStringList>
#include <QTimer>
#include <QUrl>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "platform/log/log.h"
#include "platform/notices/notices.h"
#include "platform/toolkit/qt/guarded.h"
#include "platform/toolkit/qt/picture.h"
#include "platform/toolkit/qt/qt_nib.h"
#include "platform/toolkit/qt/quit_signals.h"
#include "platform/toolkit/qt/window_place.h"
#include "platform/toolkit/toolkit.h"

namespace {

constexpr int kFirstPaintLimitMs = 2000;
constexpr const char* kDesktopName =
    "vx310-panel";  // the desktop entry, whose icon a desktop shows
constexpr const char* kIconFile = "vx310-panel.png";  // the icon for window managers without it

NSApplicationDelegate* receiver = nullptr;
bool terminating = false;

bool endsWithItsWindow() {
  return !receiver || receiver->applicationShouldTerminateAfterLastWindowClosed();
}

// Watches for the window's first paint and for its being closed.
class WindowWatch final : public QObject {
 public:
  explicit WindowWatch(QWidget& window) { window.installEventFilter(this); }

  // Waits until the window has been painted, with a limit: a window that starts minimised or on a
  // screen that is off is not painted. The user's input meanwhile waits for the main loop.
  void waitForPaint() {
    if (painted_) return;
    QTimer::singleShot(kFirstPaintLimitMs, &untilPainted_, &QEventLoop::quit);
    untilPainted_.exec(QEventLoop::ExcludeUserInputEvents);
  }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint) {
      painted_ = true;
      untilPainted_.quit();
    }
    if (event->type() == QEvent::Close) {
      qt_toolkit::guarded([] {
        if (endsWithItsWindow()) NSAppTerminate();
      });
    }
    return false;
  }

 private:
  bool painted_ = false;
  QEventLoop untilPainted_;
};

// Turns off the warnings of Qt's bridge to assistive technologies. For each change of a label with
// selectable text, Qt 6.8 prints a warning that labels have no text interface.
void silenceAccessibilityBridge() {
  QLoggingCategory::setFilterRules(QStringLiteral("qt.accessibility.atspi.warning=false"));
}

// Qt itself would wait for a reader of standard error.
void printMessage(QtMsgType type, const QMessageLogContext& context, const QString& text) {
  platform::printError("%s\n", qPrintable(qFormatLogMessage(type, context, text)));
}

// Qt's messages while it looks for a display, as they would be printed.
QStringList displayMessages;

// Qt aborts, after several messages, when it can open no display. Prints one line in their place
// and ends the program.
void endWithoutDisplay(QtMsgType type, const QMessageLogContext& context, const QString& text) {
  if (type == QtFatalMsg) {
    std::string displays;
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
      const char* value = std::getenv(name);
      if (value && *value)
        displays += std::string(displays.empty() ? "" : ", ") + name + "=" + value;
    }
    if (displays.empty()) displays = "neither DISPLAY nor WAYLAND_DISPLAY is set";
    platform::printError("%s: cannot open a display (%s)\n", program_invocation_short_name,
                         displays.c_str());
    std::_Exit(EXIT_FAILURE);
  }
  displayMessages.push_back(qFormatLogMessage(type, context, text));
}

// Call it when the window has been painted: decoding it takes longer than a paint.
void setIcon() {
  constexpr int kSide = 64;  // in the pixels of the screen
  QPixmap icon = qt_toolkit::pixmapOf(NSImage::imageNamed(kIconFile));
  icon.setDevicePixelRatio(1);
  QGuiApplication::setWindowIcon(
      QIcon(icon.scaled(kSide, kSide, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
}

// Makes the window no larger than the screen; its content scrolls then. It may get as small as
// `smallest`.
void fitScreen(QWidget& window, QSize smallest) {
  // The window manager's edges at both sides and title bar; the real ones are known once the window
  // is shown. With a wider frame the content would scroll on a screen of 640 pixels.
  constexpr QSize kFrame(2, 40);
  const QSize room = window.screen()->availableGeometry().size() - kFrame;
  // At a scale of 1.5 Qt asks for a window that grows in steps of two pixels, which the window
  // manager counts from the minimum size. With this many pixels between the two sizes, whole steps
  // lead to the window's own size at every usual scale; else it would be a pixel too low and
  // scroll.
  constexpr int kStep = 24;
  const QSize more = window.maximumSize() - smallest;
  window.setMinimumSize(window.maximumSize() -
                        QSize(more.width() / kStep * kStep, more.height() / kStep * kStep));
  window.resize(window.size().boundedTo(room));
}

}  // namespace

int NSApplicationMain(int argc, char** argv, NSNibLoader loader) {
  // Line-buffered, so that a reader on a pipe sees each line when it is printed.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  silenceAccessibilityBridge();
  qInstallMessageHandler(endWithoutDisplay);
  QApplication application(argc, argv);
  qInstallMessageHandler(printMessage);
  for (const QString& message : std::exchange(displayMessages, {})) {
    platform::printError("%s\n", qPrintable(message));
  }
  QApplication::setQuitOnLastWindowClosed(false);  // the delegate is asked
  terminating = false;
  QGuiApplication::setDesktopFileName(kDesktopName);
  const qt_toolkit::QuitSignals quitSignals(NSAppTerminate);

  qt_toolkit::QtNib nib;
  WindowWatch watch(nib.window());
  auto owner = loader(nib);
  const QSize smallest = nib.window().minimumSize();
  const auto fit = [&] { fitScreen(nib.window(), smallest); };
  QObject::connect(&nib.desktopSettings(), &qt_toolkit::DesktopSettings::rescaledWindow,
                   &nib.window(), fit);
  fit();
  qt_toolkit::restorePlace(nib.window());
  nib.window().show();
  watch.waitForPaint();
  setIcon();
  if (owner) owner->awakeFromNib();
  nib.window().repaint();
  if (receiver) receiver->applicationDidFinishLaunching();
  const int status = terminating ? 0 : QApplication::exec();
  if (receiver) receiver->applicationWillTerminate();
  qt_toolkit::savePlace(nib.window());
  owner.reset();
  receiver = nullptr;
  std::fflush(stdout);  // before QuitSignals ends, while SIGPIPE does not kill the process
  return status;
}

void NSAppSetDelegate(NSApplicationDelegate* delegate) { receiver = delegate; }

void NSAppActivate(std::string_view token) {
  // Qt hands it to the compositor with the next request, and clears it.
  if (!token.empty() && QGuiApplication::platformName() == QLatin1String("wayland"))
    qputenv("XDG_ACTIVATION_TOKEN", QByteArray(token.data(), static_cast<qsizetype>(token.size())));
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (!window->isVisible() || window->windowType() != Qt::Window) continue;
    window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->raise();
    window->activateWindow();
  }
}

void NSAppTerminate() {
  terminating = true;
  // Queued, so that the event being handled is finished first.
  QMetaObject::invokeMethod(
      qApp, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
}

std::string NSBundleMainBundlePath() {
  const QString program = QCoreApplication::applicationDirPath();
  return QDir::cleanPath(program + "/../share/vx310-panel").toStdString();
}

bool NSWorkspaceOpenFile(std::string_view path) {
  const QString file = QString::fromUtf8(path.data(), static_cast<qsizetype>(path.size()));
  const bool opened = QDesktopServices::openUrl(QUrl::fromLocalFile(file));
  setNotice(Notice::kHelpNotOpened, !opened);  // the help page is the only file that is opened
  return opened;
}
