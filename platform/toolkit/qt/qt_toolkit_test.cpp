// SPDX-License-Identifier: MIT
// The contract's fixture for the Qt back end, and tests of its own parts: signals, the first paint,
// the window file, resolutions. Needs no display: it uses Qt's offscreen platform.
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDialog>
#include <QFont>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QTest>
#include <QWheelEvent>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/log/memory/memory_log.h"
#include "platform/notices/notices.h"
#include "platform/toolkit/qt/picture.h"
#include "platform/toolkit/qt/section_box.h"
#include "platform/toolkit/qt/testing/contrast.h"
#include "platform/toolkit/toolkit_contract_fixture.h"

namespace {

QWidget* window() {
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->objectName() == "PanelWindow") return widget;
  }
  return nullptr;
}

template <typename Widget>
Widget* find(const char* name) {
  return window()->findChild<Widget*>(QString::fromLatin1(name));
}

void type(QWidget* widget, Qt::Key key) {
  QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
  QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
  QApplication::sendEvent(widget, &press);
  QApplication::sendEvent(widget, &release);
}

// Returns whether the widget accepted the event.
bool turnWheel(QWidget* widget) {
  const QPointF middle(widget->rect().center());
  QWheelEvent turn(middle, widget->mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                   Qt::NoScrollPhase, false);
  QApplication::sendEvent(widget, &turn);
  return turn.isAccepted();
}

}  // namespace

namespace toolkit_contract {

void prepare() { setenv("QT_QPA_PLATFORM", "offscreen", 1); }

int run(NSNibLoader loader) {
  char name[] = "panel-test";
  char* arguments[] = {name, nullptr};
  return NSApplicationMain(1, arguments, loader);
}

void post(std::function<void()> event) {
  QMetaObject::invokeMethod(qApp, std::move(event), Qt::QueuedConnection);
}

std::string textOf(const char* field) { return find<QLabel>(field)->text().toStdString(); }
bool isHidden(const char* control) { return find<QWidget>(control)->isHidden(); }
bool isEnabled(const char* control) { return find<QWidget>(control)->isEnabled(); }
bool showsPicture(const char* view) { return !find<QLabel>(view)->pixmap().isNull(); }

void pickLastItem(const char* menu) {
  auto* control = find<QComboBox>(menu);
  control->showPopup();
  type(control->view(), Qt::Key_End);
  type(control->view(), Qt::Key_Return);
}
void press(const char* button) { find<QPushButton>(button)->click(); }
void closeWindow() { window()->close(); }
void minimizeWindow() { window()->showMinimized(); }
void coverWindow() {
  auto* cover = new QDialog(window());
  cover->show();
  cover->activateWindow();
}
bool isWindowInFront() { return window()->isActiveWindow() && !window()->isMinimized(); }

}  // namespace toolkit_contract

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// The actions of a test: once the application runs, and before that on the window as loaded.
std::function<void()> whenLoaded;
std::function<void()> whenAwake;
std::function<void()> whenRunning;

class Owner : public NSObject, public NSApplicationDelegate {
 public:
  Owner() { NSAppSetDelegate(this); }
  void awakeFromNib() override {
    if (whenAwake) whenAwake();
  }
  void applicationDidFinishLaunching() override { whenRunning(); }
  void applicationWillTerminate() override {}
  bool applicationShouldTerminateAfterLastWindowClosed() override { return true; }
};

class QtToolkit : public testing::Test {
 protected:
  QtToolkit() {
    toolkit_contract::prepare();
    whenLoaded = whenAwake = nullptr;
    whenRunning = NSAppTerminate;
  }

  static int run() {
    return toolkit_contract::run([](NSNib&) -> std::unique_ptr<NSObject> {
      if (whenLoaded) whenLoaded();
      return std::make_unique<Owner>();
    });
  }
};

class QuitSignal : public QtToolkit, public testing::WithParamInterface<int> {};

TEST_P(QuitSignal, EndsTheApplicationWhileItRuns) {
  whenRunning = [] { toolkit_contract::post([] { raise(GetParam()); }); };
  EXPECT_EQ(run(), 0);
}

TEST_P(QuitSignal, EndsAnApplicationThatIsStarting) {
  whenAwake = [] { raise(GetParam()); };
  whenRunning = [] {};
  EXPECT_EQ(run(), 0);
}

TEST_P(QuitSignal, GoesToItsPreviousHandlerAfterwards) {
  static volatile std::sig_atomic_t handled = 0;
  handled = 0;
  const auto former = std::signal(GetParam(), [](int) { handled = 1; });
  run();
  raise(GetParam());
  EXPECT_EQ(handled, 1);
  std::signal(GetParam(), former);
}

TEST_P(QuitSignal, ThatWasIgnoredAtTheStartStaysIgnored) {
  const auto former = std::signal(GetParam(), SIG_IGN);
  struct sigaction during {};
  whenRunning = [&] {
    sigaction(GetParam(), nullptr, &during);
    NSAppTerminate();
  };
  run();
  EXPECT_EQ(during.sa_handler, SIG_IGN);
  std::signal(GetParam(), former);
}

TEST_F(QtToolkit, PrintsItsMessagesWithoutWaitingForAReader) {
  whenRunning = [] {
    memory_log::reset();  // what was printed at the start
    qWarning("a message");
    NSAppTerminate();
  };
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(memory_log::takeErrors(), "a message\n");
}

TEST_F(QtToolkit, AClosedOutputDoesNotEndTheApplication) {
  bool wentOn = false;
  whenRunning = [&] {
    raise(SIGPIPE);
    wentOn = true;
    NSAppTerminate();
  };
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(wentOn);
}

INSTANTIATE_TEST_SUITE_P(QtToolkit, QuitSignal, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& parameter) { return sigabbrev_np(parameter.param); });

// A program whose reader has gone must not be killed by the last line that it printed.
TEST_F(QtToolkit, AllOutputIsWrittenBeforeTheProgramEnds) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::fflush(stdout);
  const int standardOutput = dup(STDOUT_FILENO);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[0]);
  close(ends[1]);
  static volatile std::sig_atomic_t handled = 0;
  handled = 0;
  const auto former = std::signal(SIGPIPE, [](int) { handled = 1; });
  whenRunning = [] {
    std::printf("an unfinished line");
    NSAppTerminate();
  };
  run();
  std::fflush(stdout);  // as exit() does
  dup2(standardOutput, STDOUT_FILENO);
  close(standardOutput);
  std::clearerr(stdout);
  std::signal(SIGPIPE, former);
  EXPECT_EQ(handled, 0);
}

TEST_F(QtToolkit, ALineIsWrittenWhenItIsPrinted) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::fflush(stdout);
  const int standardOutput = dup(STDOUT_FILENO);
  dup2(ends[1], STDOUT_FILENO);
  whenRunning = [&] {
    std::fputs("a line\n", stdout);
    int waiting = 0;
    ioctl(ends[0], FIONREAD, &waiting);
    EXPECT_EQ(waiting, 7);
    NSAppTerminate();
  };
  run();
  dup2(standardOutput, STDOUT_FILENO);
  for (const int descriptor : {standardOutput, ends[0], ends[1]}) close(descriptor);
}

class PaintWatch : public QObject {
 public:
  std::vector<std::string>* steps = nullptr;
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint) steps->push_back("painted");
    return false;
  }
};

TEST_F(QtToolkit, TheWindowIsPaintedBeforeItsOwnerAwakes) {
  std::vector<std::string> steps;
  PaintWatch watch;
  watch.steps = &steps;
  whenLoaded = [&] { window()->installEventFilter(&watch); };
  whenAwake = [&] {
    EXPECT_THAT(steps, Contains("painted"));
    steps.clear();
    steps.push_back("awake");
  };
  run();
  EXPECT_EQ(steps.front(), "awake");
}

// Launching may take long: meanwhile the window shows the state after awakeFromNib.
TEST_F(QtToolkit, TheWindowIsPaintedBetweenAwakingAndTheEndOfLaunching) {
  std::vector<std::string> steps;
  PaintWatch watch;
  watch.steps = &steps;
  whenLoaded = [&] { window()->installEventFilter(&watch); };
  whenAwake = [&] { steps.clear(); };
  whenRunning = [&] {
    EXPECT_THAT(steps, Contains("painted"));
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheWindowIsDarkFromItsFirstPaintWithAnyDesktopColours) {
  whenLoaded = [] {
    EXPECT_LT(window()->palette().color(QPalette::Window).lightness(), 80);
    const QColor painted = window()->grab().toImage().pixelColor(10, 300);
    EXPECT_EQ(painted, window()->palette().color(QPalette::Window));
  };
  run();
}

TEST_F(QtToolkit, TheBackgroundIsTheTileOrElseTheWindowsOwnColour) {
  whenRunning = [] {
    const auto background = [] { return window()->grab().toImage().copy(0, 80, 16, 200); };
    const QImage own = background();
    NSWindow(window()).setBackgroundColor(
        NSColor::colorWithPatternImage(NSImage::imageNamed("StripTexture.png")));
    EXPECT_NE(background(), own);
    NSWindow(window()).setBackgroundColor(
        NSColor::colorWithPatternImage(NSImage::imageNamed("Missing.png")));
    EXPECT_EQ(background(), own);
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, AViewThatIsDisplayedIsPaintedAtOnce) {
  std::vector<std::string> steps;
  PaintWatch watch;
  watch.steps = &steps;
  whenRunning = [&] {
    const NSView view = NSTextField(find<QWidget>("KvDeviceBitmap")).superview();
    static_cast<QWidget*>(view.object())->installEventFilter(&watch);
    NSView(view).display();
    EXPECT_THAT(steps, Contains("painted"));
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheWindowAsLoadedIsTheEmptyPanel) {
  whenLoaded = [] {
    for (const QLabel* label : window()->findChildren<QLabel*>()) {
      const std::string name = label->objectName().toStdString();
      if (name.starts_with("Kv") && name != "KvPanelSubTitle" && name != "KvDeviceBitmap") {
        EXPECT_TRUE(label->testAttribute(Qt::WA_WState_ExplicitShowHide) && label->isHidden())
            << name;
      }
    }
    for (const QComboBox* menu : window()->findChildren<QComboBox*>()) {
      EXPECT_TRUE(menu->testAttribute(Qt::WA_WState_ExplicitShowHide) && menu->isHidden())
          << menu->objectName().toStdString();
    }
  };
  run();
}

TEST_F(QtToolkit, EveryTitleIsTheLabelOfItsControl) {
  whenRunning = [] {
    for (const QLabel* label : window()->findChildren<QLabel*>(QRegularExpression("Title$"))) {
      if (label->objectName() == "KvPanelSubTitle") continue;
      EXPECT_NE(label->buddy(), nullptr) << label->objectName().toStdString();
    }
    for (const QComboBox* menu : window()->findChildren<QComboBox*>()) {
      EXPECT_FALSE(menu->accessibleName().isEmpty()) << menu->objectName().toStdString();
    }
    NSAppTerminate();
  };
  run();
}

// Checked at the sizes and in the widest typeface of the window file. A driver or an interface may
// report a longer name or version, which is then cut and shown in a tool tip.
TEST_F(QtToolkit, TheLongestTextsFit) {
  whenRunning = [] {
    const auto fits = [](const char* name, const char* text) {
      const auto* widget = find<QWidget>(name);
      EXPECT_LE(widget->fontMetrics().horizontalAdvance(QString::fromLatin1(text)),
                widget->contentsRect().width())
          << name;
    };
    fits("KvConnectionTypeField", "USB 1.1 (unsupported) ");
    fits("KvDigitalInputStatusField", "muted 176.4 kHz");
    fits("KvDigitalInputStatusField", "no valid signal");
    fits("KvFirmwareVersionField", "Wednesday MMMMM");
    fits("KvDriverVersionField", "255.255.255");
    fits("KvSampleClockSourceField", "digital input");
    fits("KvDeviceField", "VANTREL VX-310 MMMMM");
    for (const QLabel* label : window()->findChildren<QLabel*>()) {
      EXPECT_LE(label->fontMetrics().horizontalAdvance(label->text()), label->width())
          << label->objectName().toStdString();
    }
    for (const QComboBox* menu : window()->findChildren<QComboBox*>()) {
      EXPECT_LE(menu->minimumSizeHint().width(), menu->width()) << menu->objectName().toStdString();
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, ATextIsCutAnewForASmallerFont) {
  whenRunning = [] {
    auto* label = find<QLabel>("KvDeviceField");
    NSTextField(static_cast<QWidget*>(label))
        .setStringValue("The interface in the upper half of the rack");
    const QString usual = label->text();
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * 0.75);
    QApplication::setFont(font);
    EXPECT_TRUE(QTest::qWaitFor([&] { return label->text().size() > usual.size(); }, 5000));
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, ATextThatDoesNotFitIsCutAndItsToolTipHasTheWholeText) {
  whenRunning = [] {
    auto* label = find<QLabel>("KvDeviceField");
    NSTextField field(static_cast<QWidget*>(label));
    field.setStringValue("VX-310");
    EXPECT_EQ(label->toolTip(), "");
    field.setStringValue("The <b>interface</b> in the upper half of the rack & its \"name\"");
    EXPECT_EQ(label->toolTip(),
              "<p>The &lt;b&gt;interface&lt;/b&gt; in the upper half of the rack &amp; its "
              "&quot;name&quot;</p>");
    EXPECT_TRUE(label->text().startsWith("The <b>interface</b> "));
    EXPECT_TRUE(label->text().endsWith(QChar(0x2026)));
    EXPECT_LE(label->fontMetrics().horizontalAdvance(label->text()), label->width());
    EXPECT_EQ(QAccessible::queryAccessibleInterface(label)->text(QAccessible::Name),
              "The <b>interface</b> in the upper half of the rack & its \"name\"");
    field.setStringValue("none found");
    EXPECT_EQ(label->text(), "none found");
    EXPECT_EQ(label->toolTip(), "");
    EXPECT_EQ(label->accessibleName(), "");
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheFieldsTextsCanBeSelectedWithTheMouseAndAreNoTabStops) {
  whenRunning = [] {
    const auto fields = window()->findChildren<QLabel*>(QRegularExpression("^Kv.*Field$"));
    EXPECT_EQ(fields.size(), 8);
    for (const QLabel* field : fields) {
      EXPECT_TRUE(field->textInteractionFlags() & Qt::TextSelectableByMouse);
      EXPECT_FALSE(field->focusPolicy() & Qt::TabFocus) << field->objectName().toStdString();
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheLampOfEachDigitalInputStateHasAShapeOfItsOwn) {
  whenRunning = [] {
    auto* field = find<QLabel>("KvDigitalInputStatusField");
    field->show();
    std::vector<QImage> lamps;
    for (const char* text : {"valid 44.1 kHz", "muted 44.1 kHz", "no valid signal", "no signal"}) {
      NSTextField(static_cast<QWidget*>(field)).setStringValue(text);
      QImage lamp = field->grab(QRect(0, 0, 14, field->height())).toImage();
      // Black for the ground and white for the lamp, whatever its colour.
      for (int y = 0; y < lamp.height(); ++y) {
        for (int x = 0; x < lamp.width(); ++x) {
          lamp.setPixelColor(x, y, lamp.pixelColor(x, y).value() > 128 ? Qt::white : Qt::black);
        }
      }
      for (const QImage& other : lamps) EXPECT_NE(lamp, other) << text;
      lamps.push_back(lamp);
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, AnUnsupportedConnectionIsAmberAndItsToolTipHasTheReason) {
  whenRunning = [] {
    auto* label = find<QLabel>("KvConnectionTypeField");
    label->show();
    NSTextField field(static_cast<QWidget*>(label));
    field.setStringValue("USB 2.0");
    const QColor usual = label->palette().color(QPalette::WindowText);
    EXPECT_EQ(label->toolTip(), "");
    field.setStringValue("USB 1.1 (unsupported) ");
    EXPECT_EQ(label->palette().color(QPalette::WindowText), QColor("#f5b83d"));
    EXPECT_TRUE(label->toolTip().contains("USB 2.0 port"));
    field.setStringValue("USB 2.0");
    EXPECT_EQ(label->palette().color(QPalette::WindowText), usual);
    EXPECT_EQ(label->toolTip(), "");
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheStateComesFirstInTheLargestTypeAndIsWiderThanHalfTheWindow) {
  whenRunning = [] {
    const auto isState = [](const QLabel* field) {
      return field->parentWidget()->objectName() == "StateSection";
    };
    const auto fields = window()->findChildren<QLabel*>(QRegularExpression("^Kv.*Field$"));
    for (const QLabel* state : fields) {
      if (!isState(state)) continue;
      for (const QLabel* other : fields) {
        if (isState(other)) continue;
        EXPECT_GT(state->font().pointSizeF(), other->font().pointSizeF());
        EXPECT_LT(state->mapTo(window(), QPoint()).y(), other->mapTo(window(), QPoint()).y());
      }
    }
    const auto right = [](const char* name) {
      const auto* widget = find<QWidget>(name);
      return widget->mapTo(window(), QPoint(widget->width(), 0)).x();
    };
    EXPECT_GT(right("KvDigitalInputStatusField") -
                  find<QWidget>("KvSampleRateField")->mapTo(window(), QPoint()).x(),
              window()->width() / 2);
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, WithoutAStateThePanelSaysThatItWaits) {
  whenRunning = [] {
    const auto* hint = find<QLabel>("StateHint");
    EXPECT_TRUE(hint->isVisible());
    find<QWidget>("KvSampleClockSourceField")->show();
    EXPECT_TRUE(hint->isHidden());
    find<QWidget>("KvSampleClockSourceField")->hide();
    EXPECT_TRUE(hint->isVisible());
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheConnectionStandsInABadgeThatEndsWithItsText) {
  whenRunning = [] {
    auto* label = find<QLabel>("KvConnectionTypeField");
    label->show();
    // Left and right end of what the line in the middle of the label shows.
    const auto ends = [label](const char* text) {
      NSTextField(static_cast<QWidget*>(label)).setStringValue(text);
      const QImage line = label->grab(QRect(0, label->height() / 2, label->width(), 1)).toImage();
      const QRgb ground = line.pixel(line.width() - 1, 0);
      int left = 0;
      while (left < line.width() && line.pixel(left, 0) == ground) ++left;
      int right = line.width() - 1;
      while (right > left && line.pixel(right, 0) == ground) --right;
      return std::pair(left, right);
    };
    EXPECT_EQ(ends("").first, label->width()) << "a badge without a text";
    const int text = label->fontMetrics().horizontalAdvance("USB 2.0");
    const auto [left, right] = ends("USB 2.0");
    EXPECT_LE(left, 1);
    EXPECT_GT(right, text + 8);
    EXPECT_LT(right, text + 24);
    EXPECT_GT(ends("USB 1.1 (unsupported) ").second, right + 40);
    EXPECT_LT(ends("USB 1.1 (unsupported) ").second, label->width() - 1);
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheEdgesOfControlsStandOutAndTheFocusIsTwoPixelsWide) {
  whenRunning = [] {
    window()->activateWindow();
    find<QWidget>("KvIoRInCh1And2Menu")->show();
    for (const char* name : {"KvIoRInCh1And2Menu", "CloseButton", "Help"}) {
      auto* control = find<QWidget>(name);
      // The colours down the middle: two pixels of the ground, then the control's edge.
      const auto colours = [&] {
        const QPoint above = control->mapTo(window(), QPoint(control->width() / 2, -2));
        const QImage strip = window()->grab(QRect(above, QSize(1, 6))).toImage();
        std::vector<QColor> down;
        for (int y = 0; y < 6; ++y) down.push_back(strip.pixelColor(0, y));
        return down;
      };
      window()->setFocus();
      EXPECT_GE(contrast(colours()[2], colours()[0]), 3) << name;
      const QColor usual = colours()[2];
      control->setFocus();
      EXPECT_NE(colours()[2], usual) << name;
      EXPECT_EQ(colours()[2], colours()[3]) << name;
      EXPECT_GE(contrast(colours()[2], colours()[0]), 3) << name;
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheWheelOverAClosedMenuDoesNotChangeIt) {
  whenRunning = [] {
    auto* menu = find<QComboBox>("KvIoRInCh1And2Menu");
    menu->show();
    for (const bool focused : {false, true}) {
      menu->setCurrentIndex(1);
      if (focused) menu->setFocus();
      EXPECT_FALSE(turnWheel(menu));
      EXPECT_EQ(menu->currentIndex(), 1);
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, AKeyThatWouldChangeAClosedMenuOpensIt) {
  whenRunning = [] {
    window()->activateWindow();
    auto* menu = find<QComboBox>("KvIoRInCh1And2Menu");
    int picks = 0;
    QObject::connect(menu, &QComboBox::activated, menu, [&] { ++picks; });
    menu->show();
    menu->setCurrentIndex(1);
    for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Up, Qt::Key_PageDown, Qt::Key_PageUp,
                              Qt::Key_Home, Qt::Key_End, Qt::Key_D}) {
      menu->setFocus();
      QTest::keyClick(menu, key);
      EXPECT_TRUE(menu->view()->isVisible()) << key;
      menu->hidePopup();
      EXPECT_EQ(menu->currentIndex(), 1);
    }
    EXPECT_EQ(picks, 0);
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, EachMenuIsReachedWithAMnemonicOfItsOwn) {
  whenRunning = [] {
    window()->activateWindow();
    for (QComboBox* menu : window()->findChildren<QComboBox*>()) {
      const QString titleName = menu->objectName().replace("Menu", "Title");
      auto* title = window()->findChild<QLabel*>(titleName);
      menu->show();
      if (title) title->show();
    }
    for (const QLabel* title : window()->findChildren<QLabel*>()) {
      const auto* menu = qobject_cast<QComboBox*>(title->buddy());
      if (!menu) continue;
      const qsizetype at = title->text().indexOf('&') + 1;
      EXPECT_GT(at, 0) << title->objectName().toStdString();
      if (at == 0) continue;
      QTest::keyClick(window(), title->text()[at].toLatin1(), Qt::AltModifier);
      EXPECT_EQ(QApplication::focusWidget(), menu) << title->objectName().toStdString();
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheWindowHasTheFocusFirstAndTabGoesToTheFirstMenu) {
  whenRunning = [] {
    window()->activateWindow();
    EXPECT_EQ(QApplication::focusWidget(), window());
    find<QComboBox>("KvIoRInCh1And2Menu")->show();
    QTest::keyClick(window()->windowHandle(), Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), find<QComboBox>("KvIoRInCh1And2Menu"));
    NSAppTerminate();
  };
  run();
}

QLabel* show(const char* name, const char* text) {
  auto* field = find<QLabel>(name);
  field->show();
  NSTextField(static_cast<QWidget*>(field)).setStringValue(text);
  return field;
}

// What the panel copies of a window that shows these values.
std::string fillWindow() {
  show("KvSampleRateField", "48 kHz");
  show("KvConnectionTypeField", "USB 1.1 (unsupported) ");
  show("KvDriverVersionField", "2.05");
  for (const char* name : {"KvSampleClockSourceMenu", "KvIoROutLineMenu"}) {
    auto* menu = find<QComboBox>(name);
    menu->show();
    menu->setCurrentIndex(0);
  }
  return "VX-310 Control Panel " + find<QLabel>("Version")->text().mid(8).toStdString() +
         "\nSample rate: 48 kHz\nConnection type: USB 1.1 (unsupported)\nDriver version: 2.05"
         "\nLine outputs: Playback 1/2\nSample clock: Automatic";
}

std::string clipboard() { return QGuiApplication::clipboard()->text().toStdString(); }

TEST_F(QtToolkit, CopyTakesTheSelectedTextOrElseTheVersionAndEveryValueOnDisplay) {
  whenRunning = [] {
    window()->activateWindow();
    const std::string details = fillWindow();
    QTest::keyClick(window()->windowHandle(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(clipboard(), details);
    auto* rate = find<QLabel>("KvSampleRateField");
    rate->setFocus();
    rate->setSelection(0, 2);
    QTest::keyClick(window()->windowHandle(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(clipboard(), "48");
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, F6StepsThroughTheValuesAndCopyTakesTheOneItSelects) {
  whenRunning = [] {
    window()->activateWindow();
    show("KvSampleRateField", "48 kHz");
    show("KvDeviceField", "The interface in the upper half of the rack on the left");
    show("KvConnectionTypeField", "USB 2.0");
    show("KvDriverVersionField", "2.05");
    find<QWidget>("KvIoRInCh1And2Menu")->show();
    const auto copied = [](Qt::Key key, Qt::KeyboardModifier modifier) {
      QTest::keyClick(window()->windowHandle(), key, modifier);
      QTest::keyClick(window()->windowHandle(), Qt::Key_C, Qt::ControlModifier);
      return clipboard();
    };
    for (const char* value : {"48 kHz", "The interface in the upper half of the rack on the left",
                              "USB 2.0", "2.05", "48 kHz"}) {
      EXPECT_EQ(copied(Qt::Key_F6, Qt::NoModifier), value);
    }
    EXPECT_EQ(copied(Qt::Key_F6, Qt::ShiftModifier), "2.05");
    QTest::keyClick(window()->windowHandle(), Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), find<QWidget>("KvIoRInCh1And2Menu"));
    EXPECT_EQ(copied(Qt::Key_F6, Qt::ShiftModifier), "2.05") << "from a menu";
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, ARingMarksTheValueThatHasTheFocus) {
  whenRunning = [] {
    window()->activateWindow();
    const QLabel* rate = show("KvSampleRateField", "48 kHz");
    // The colours from left to right, up to the middle of the label's edge.
    const auto colours = [rate] {
      const QPoint left = rate->mapTo(window(), QPoint(-6, rate->height() / 2));
      const QImage strip = window()->grab(QRect(left, QSize(6, 1))).toImage();
      std::vector<QColor> across;
      for (int x = 0; x < 6; ++x) across.push_back(strip.pixelColor(x, 0));
      return across;
    };
    const std::vector<QColor> usual = colours();
    EXPECT_EQ(usual, std::vector<QColor>(6, usual[0]));
    QTest::keyClick(window()->windowHandle(), Qt::Key_F6);
    EXPECT_GE(contrast(colours()[2], colours()[0]), 3);
    EXPECT_EQ(colours()[2], colours()[3]);
    NSControl(find<QWidget>("KvSampleRateField")).setHidden(true);
    EXPECT_EQ(colours(), usual);
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, ACopyEndsWithTheStatusLine) {
  whenRunning = [] {
    window()->activateWindow();
    const std::string details = fillWindow();
    setNotice(Notice::kDriverAbsent, true);
    QCoreApplication::processEvents();
    QTest::keyClick(window()->windowHandle(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(clipboard(), details + "\nThe driver service is not running");
    setNotice(Notice::kDriverAbsent, false);
    NSAppTerminate();
  };
  run();
}

// Opens the menu of a part of the window and returns the texts of its items.
std::vector<std::string> itemsOfMenuAt(QWidget* part, QMenu** menu) {
  QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(1, 1),
                          part->mapToGlobal(QPoint(1, 1)));
  QApplication::sendEvent(part, &event);
  *menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
  std::vector<std::string> items;
  if (!*menu) return items;
  for (const QAction* action : (*menu)->actions()) {
    if (action->isVisible()) items.push_back(action->text().remove('&').toStdString());
  }
  return items;
}

TEST_F(QtToolkit, TheMenuOfEveryPartOfTheWindowCopiesTheDetails) {
  whenRunning = [] {
    window()->activateWindow();
    const std::string details = fillWindow();
    auto* rate = find<QLabel>("KvSampleRateField");
    for (QWidget* part : {static_cast<QWidget*>(rate), find<QWidget>("KvIoROutLineMenu"),
                          find<QWidget>("KvDeviceBitmap"), window()}) {
      QMenu* menu = nullptr;
      EXPECT_THAT(itemsOfMenuAt(part, &menu), ElementsAre("Copy details\tCtrl+C", "Help", "Close"))
          << part->objectName().toStdString();
      if (!menu) continue;
      QGuiApplication::clipboard()->clear();
      menu->actions().at(1)->trigger();
      EXPECT_EQ(clipboard(), details);
      menu->close();
    }
    rate->setFocus();
    rate->setSelection(3, 3);
    QMenu* menu = nullptr;
    EXPECT_THAT(itemsOfMenuAt(rate, &menu),
                ElementsAre("Copy value\tCtrl+C", "Copy details\tCtrl+C", "Help", "Close"));
    if (menu) {
      menu->actions().at(1)->trigger();
      EXPECT_EQ(clipboard(), details);
      menu->actions().at(0)->trigger();
      EXPECT_EQ(clipboard(), "kHz");
      menu->close();
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, EveryMenuHasASentenceThatSaysWhatItDoesAsItsToolTip) {
  whenRunning = [] {
    for (const QComboBox* menu : window()->findChildren<QComboBox*>()) {
      EXPECT_TRUE(menu->toolTip().endsWith('.')) << menu->objectName().toStdString();
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheWindowShowsThePanelsVersion) {
  whenRunning = [] {
    const auto* version = find<QLabel>("Version");
    EXPECT_TRUE(version->isVisible());
    EXPECT_TRUE(
        QRegularExpression("^Version \\d+\\.\\d+\\.\\d+$").match(version->text()).hasMatch())
        << version->text().toStdString();
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheEmptyPanelSaysHowToConnectTheVirtualInterface) {
  whenRunning = [] {
    const auto* hint = find<QLabel>("VirtualHint");
    EXPECT_TRUE(hint->isVisible());
    EXPECT_TRUE(hint->text().contains("vx310ctl sim plug"));
    EXPECT_LE(hint->sizeHint().width(), hint->width());
    find<QWidget>("KvIoROutLineMenu")->show();
    EXPECT_FALSE(hint->isVisible());
    NSAppTerminate();
  };
  run();
}

// A window manager shows it in some tens of pixels.
TEST_F(QtToolkit, TheWindowsIconIsNoLargerThanAWindowManagerNeeds) {
  whenRunning = [] {
    EXPECT_THAT(QGuiApplication::windowIcon().availableSizes(), ElementsAre(QSize(64, 64)));
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, AnOpenListHasATickAtTheCurrentItemOnly) {
  whenRunning = [] {
    auto* menu = find<QComboBox>("KvIoRInCh1And2Menu");
    menu->show();
    menu->setCurrentIndex(2);
    menu->showPopup();
    menu->view()->setCurrentIndex({});  // no item is drawn as selected
    const QImage list = menu->view()->viewport()->grab().toImage();
    std::vector<bool> ticked;
    for (int row = 0; row < menu->count(); ++row) {
      QRect place = menu->view()->visualRect(menu->model()->index(row, 0));
      place.setWidth(16);
      const QImage left = list.copy(place);
      bool marked = false;
      for (int y = 2; y < left.height() - 2; ++y) {
        for (int x = 2; x < left.width(); ++x) marked |= left.pixel(x, y) != left.pixel(2, 2);
      }
      ticked.push_back(marked);
    }
    EXPECT_THAT(ticked, ElementsAre(false, false, true, false));
    menu->hidePopup();
    NSAppTerminate();
  };
  run();
}

// Takes every key press before the window gets it and delivers it later, as the bus of assistive
// technologies does.
class AssistiveTechnology : public QObject {
 public:
  AssistiveTechnology() { qApp->installEventFilter(this); }
  bool eventFilter(QObject* window, QEvent* event) override {
    if (!window->isWindowType() || event->type() != QEvent::KeyPress || !event->spontaneous()) {
      return false;
    }
    taken_.emplace_back(window, event->clone());
    return true;
  }
  void handOn() {
    for (const auto& [window, press] : taken_) QCoreApplication::sendEvent(window, press.get());
    taken_.clear();
  }

 private:
  std::vector<std::pair<QObject*, std::unique_ptr<QEvent>>> taken_;
};

// Types `keys` into the open menu's list and returns the picks. The action resets the menu after
// each pick, as happens when an interface refuses the choice.
std::vector<int> picksBy(std::vector<Qt::Key> keys, bool assisted) {
  static std::vector<int> picks;
  picks.clear();
  whenRunning = [&] {
    auto* menu = find<QComboBox>(toolkit_contract::kMenu);
    menu->show();
    menu->showPopup();
    QWindow* list = menu->view()->window()->windowHandle();
    std::optional<AssistiveTechnology> technology;
    if (assisted) technology.emplace();
    for (const Qt::Key key : keys) QTest::keyClick(list, key);
    if (assisted) technology->handOn();
    EXPECT_FALSE(list->isVisible());
    NSAppTerminate();
  };
  toolkit_contract::run([](NSNib& nib) -> std::unique_ptr<NSObject> {
    nib.connectAction(toolkit_contract::kMenu,
                      [menu = nib.popUpButton(toolkit_contract::kMenu)]() mutable {
                        picks.push_back(menu.indexOfSelectedItem());
                        menu.selectItemAtIndex(0);
                      });
    return std::make_unique<Owner>();
  });
  return picks;
}

TEST_F(QtToolkit, TheKeysPickOnce) {
  EXPECT_THAT(picksBy({Qt::Key_End, Qt::Key_Return}, false), ElementsAre(3));
  EXPECT_THAT(picksBy({Qt::Key_End, Qt::Key_Up, Qt::Key_Enter}, false), ElementsAre(2));
}

TEST_F(QtToolkit, TheKeysPickOnceAndInOrderWhenAnAssistiveTechnologyDelaysThem) {
  EXPECT_THAT(picksBy({Qt::Key_End, Qt::Key_Return}, true), ElementsAre(3));
  EXPECT_THAT(picksBy({Qt::Key_End, Qt::Key_Up, Qt::Key_Enter}, true), ElementsAre(2));
}

TEST_F(QtToolkit, EscapeClosesAMenuAndPicksNothing) {
  EXPECT_THAT(picksBy({Qt::Key_End, Qt::Key_Escape}, false), IsEmpty());
  EXPECT_THAT(picksBy({Qt::Key_End, Qt::Key_Escape}, true), IsEmpty());
}

TEST_F(QtToolkit, ReturnPressesTheButtonThatHasTheFocus) {
  std::vector<std::string> pressed;
  whenRunning = [&] {
    for (const char* name : {"Help", "CloseButton"}) {
      auto* button = find<QPushButton>(name);
      QObject::connect(button, &QPushButton::clicked, button,
                       [&, name] { pressed.push_back(name); });
      type(button, Qt::Key_Return);
    }
    NSAppTerminate();
  };
  run();
  EXPECT_THAT(pressed, ElementsAre("Help", "CloseButton"));
}

// The user goes on typing into a menu that has just been hidden, with its list open or closed.
TEST_F(QtToolkit, KeysForAMenuThatVanishedPressNoButtonAndChangeNoOtherMenu) {
  std::vector<std::string> pressed;
  whenRunning = [&] {
    window()->activateWindow();
    for (const char* name : {"Help", "CloseButton"}) {
      auto* button = find<QPushButton>(name);
      QObject::connect(button, &QPushButton::clicked, button,
                       [&, name] { pressed.push_back(name); });
    }
    auto* menu = find<QComboBox>("KvIoRInCh1And2Menu");
    auto* other = find<QComboBox>("KvIoRInCh3And4Menu");
    for (const bool othersVanishToo : {false, true}) {
      for (const bool open : {false, true}) {
        menu->show();
        other->show();
        other->setCurrentIndex(3);
        menu->setFocus();
        if (open) menu->showPopup();
        NSControl(static_cast<QWidget*>(menu)).setHidden(true);
        if (othersVanishToo) NSControl(static_cast<QWidget*>(other)).setHidden(true);
        EXPECT_EQ(window()->focusWidget(), window());
        window()->activateWindow();
        for (const Qt::Key key : {Qt::Key_Home, Qt::Key_Down, Qt::Key_Return, Qt::Key_Space}) {
          QTest::keyClick(window()->windowHandle(), key);
        }
        EXPECT_EQ(other->currentIndex(), 3);
      }
    }
    NSAppTerminate();
  };
  run();
  EXPECT_THAT(pressed, IsEmpty());
}

TEST_F(QtToolkit, TheFocusStaysOnAControlWhenAnotherVanishes) {
  whenRunning = [] {
    window()->activateWindow();
    auto* menu = find<QComboBox>("KvIoRInCh1And2Menu");
    auto* other = find<QComboBox>("KvIoRInCh3And4Menu");
    menu->show();
    other->show();
    menu->setFocus();
    NSControl(static_cast<QWidget*>(other)).setHidden(true);
    EXPECT_EQ(QApplication::focusWidget(), menu);
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, AFocusedMenuThatIsDisabledLeavesTheFocusToTheWindow) {
  whenRunning = [] {
    window()->activateWindow();
    auto* menu = find<QComboBox>("KvIoRInCh1And2Menu");
    menu->show();
    menu->setFocus();
    NSControl(static_cast<QWidget*>(menu)).setEnabled(false);
    EXPECT_EQ(QApplication::focusWidget(), window());
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, AMenuIsReachedWithTabAfterTheFocusedOneVanished) {
  whenRunning = [] {
    window()->activateWindow();
    auto* menu = find<QComboBox>("KvIoRInCh1And2Menu");
    menu->show();
    menu->setFocus();
    NSControl(static_cast<QWidget*>(menu)).setHidden(true);
    menu->show();
    QTest::keyClick(window()->windowHandle(), Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), menu);
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheStandardKeysPressTheCloseButtonAndEscapeDoesNot) {
  int presses = 0;
  whenRunning = [&] {
    window()->activateWindow();
    auto* button = find<QPushButton>("CloseButton");
    QObject::connect(button, &QPushButton::clicked, button, [&] { ++presses; });
    for (const Qt::Key key : {Qt::Key_W, Qt::Key_Q}) {
      QTest::keyClick(window(), key, Qt::ControlModifier);
    }
    EXPECT_EQ(presses, 2);
    QTest::keyClick(window(), Qt::Key_Escape);
    EXPECT_EQ(presses, 2);
    EXPECT_TRUE(window()->isVisible());
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, TheStatusLineShowsTheMostImportantNoticeAndIsHiddenWithoutOne) {
  whenRunning = [] {
    auto* line = find<QLabel>("StatusLine");
    const auto shown = [line] {
      QCoreApplication::processEvents();  // a notice may come from any thread
      return line->isHidden() ? "" : line->text().toStdString();
    };
    EXPECT_EQ(shown(), "");
    setNotice(Notice::kHelpNotOpened, true);
    EXPECT_EQ(shown(), "The help page could not be opened");
    setNotice(Notice::kAudioDeviceAbsent, true);
    EXPECT_EQ(shown(), "The help page could not be opened") << "no interface is shown";
    find<QWidget>("KvIoRInCh1And2Menu")->show();
    EXPECT_EQ(shown(), "No audio device: routing cannot be changed");
    EXPECT_TRUE(line->toolTip().contains("PipeWire"));
    EXPECT_GE(line->width(), line->sizeHint().width());
    setNotice(Notice::kDriverAbsent, true);
    EXPECT_EQ(shown(), "The driver service is not running");
    const QAccessibleInterface* read = QAccessible::queryAccessibleInterface(line);
    EXPECT_EQ(read->role(), QAccessible::StatusBar);
    EXPECT_EQ(read->text(QAccessible::Name), line->text());
    EXPECT_TRUE(read->text(QAccessible::Description).contains("systemctl"));
    setNotice(Notice::kDriverAbsent, false);
    setNotice(Notice::kAudioDeviceAbsent, false);
    setNotice(Notice::kHelpNotOpened, false);
    EXPECT_EQ(shown(), "");
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, ARoutingPickedWithoutAnAudioDeviceStaysUnconfirmedWhenOneComes) {
  static constexpr const char* kMenus[] = {"KvSampleClockSourceMenu", "KvIoROutLineMenu"};
  const auto loader = [](NSNib& nib) -> std::unique_ptr<NSObject> {
    for (const char* name : kMenus) nib.connectAction(name, [] {});
    return std::make_unique<Owner>();
  };
  whenRunning = [] {
    setNotice(Notice::kAudioDeviceAbsent, true);
    for (const char* name : kMenus) {
      auto* menu = find<QComboBox>(name);
      menu->show();
      menu->setCurrentIndex(1);
      emit menu->activated(1);
      EXPECT_EQ(hasNotice(Notice::kRoutingUnconfirmed), menu->property("isRouting").toBool())
          << name;
    }
    setNotice(Notice::kAudioDeviceAbsent, false);
    EXPECT_TRUE(hasNotice(Notice::kRoutingUnconfirmed));
    NSAppTerminate();
  };
  EXPECT_EQ(toolkit_contract::run(loader), 0);
}

TEST_F(QtToolkit, NoticesOfChoicesEndWithTheMenus) {
  whenRunning = [] {
    auto* menu = find<QWidget>("KvIoRInCh1And2Menu");
    menu->show();
    setNotice(Notice::kChoiceRefused, true);
    setNotice(Notice::kRoutingUnconfirmed, true);
    menu->hide();
    EXPECT_FALSE(hasNotice(Notice::kChoiceRefused));
    EXPECT_FALSE(hasNotice(Notice::kRoutingUnconfirmed));
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, ASectionSignalsOnlyChanges) {
  whenRunning = [] {
    std::vector<bool> told;
    auto* section = find<qt_toolkit::SectionBox>("OutputSection");
    QObject::connect(section, &qt_toolkit::SectionBox::emptied, section,
                     [&](bool empty) { told.push_back(empty); });
    for (const bool hidden : {false, true}) {
      find<QWidget>("KvIoROutLineMenu")->setHidden(hidden);
      find<QWidget>("KvIoROutDigitalMenu")->setHidden(hidden);
    }
    EXPECT_THAT(told, ElementsAre(false, true));
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, ASectionIsShownWhileOneOfItsControlsIs) {
  whenRunning = [] {
    auto* section = find<QWidget>("OutputSection");
    auto* hint = find<QWidget>("EmptyHint");
    EXPECT_TRUE(section->isHidden());
    EXPECT_FALSE(hint->isHidden());
    find<QWidget>("KvIoROutLineMenu")->setHidden(false);
    EXPECT_FALSE(section->isHidden());
    EXPECT_TRUE(hint->isHidden());
    find<QWidget>("KvIoROutDigitalTitle")->setHidden(false);
    find<QWidget>("KvIoROutLineMenu")->setHidden(true);
    EXPECT_FALSE(section->isHidden());
    find<QWidget>("KvIoROutDigitalTitle")->setHidden(true);
    EXPECT_TRUE(section->isHidden());
    EXPECT_FALSE(hint->isHidden());
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, PointsCountFromTheLowerLeftCorner) {
  whenRunning = [] {
    auto* picture = find<QWidget>("KvDeviceBitmap");
    NSView view(picture);
    view.setFrame({{316, 0}, {296, 132}});
    EXPECT_EQ(picture->geometry().bottom() + 1, picture->parentWidget()->height());
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, ThePictureHasItsPositionFromTheStart) {
  whenRunning = [] {
    EXPECT_EQ(NSView(find<QWidget>("KvDeviceBitmap")).frame(), (NSRect{{316, 220}, {296, 132}}));
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, AWindowWithRoomEnoughShowsAllOfItsContent) {
  whenRunning = [] {
    auto* content = find<QWidget>("Content");
    EXPECT_EQ(content->visibleRegion().boundingRect(), content->rect());
    EXPECT_EQ(window()->size(), window()->maximumSize());
    NSAppTerminate();
  };
  run();
}

// The offscreen platform's screen is 800 pixels wide and high.
TEST_F(QtToolkit, AWindowOnASmallScreenFitsItAndScrollsToEachControl) {
  setenv("QT_SCALE_FACTOR", "2", 1);
  whenRunning = [] {
    EXPECT_LT(window()->frameGeometry().height(), window()->screen()->availableSize().height());
    EXPECT_LE(window()->width(), window()->screen()->availableSize().width());
    window()->activateWindow();
    auto* close = find<QWidget>("CloseButton");
    close->setFocus();
    QApplication::processEvents();  // scrolls
    EXPECT_EQ(close->visibleRegion().boundingRect(), close->rect());
    auto* lowest = find<QComboBox>("KvSampleClockSourceMenu");
    lowest->show();
    EXPECT_TRUE(lowest->visibleRegion().isEmpty());
    find<QWidget>("Help")->setFocus();
    type(QApplication::focusWidget(), Qt::Key_Backtab);
    EXPECT_TRUE(lowest->hasFocus());
    QApplication::processEvents();
    EXPECT_EQ(lowest->visibleRegion().boundingRect(), lowest->rect());
    NSAppTerminate();
  };
  run();
  unsetenv("QT_SCALE_FACTOR");
}

TEST_F(QtToolkit, TheScrolledPartHasTheColoursOfTheWindowFile) {
  whenRunning = [] {
    const QImage painted = window()->grab().toImage();
    const QPoint display = find<QWidget>("Display")->mapTo(window(), QPoint(290, 150));
    EXPECT_EQ(painted.pixelColor(display), QColor("#14171b"));
    EXPECT_EQ(painted.pixelColor(10, 300), window()->palette().color(QPalette::Window));
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, ThePanelsPicturesExist) {
  whenRunning = [] {
    for (const char* name : {"StripTexture.png", "VX-310.png", "None.bmp"}) {
      EXPECT_FALSE(NSImage::imageNamed(name).empty()) << name;
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, APictureIsLoadedInTheResolutionOfTheScreen) {
  setenv("QT_SCALE_FACTOR", "2", 1);
  whenRunning = [] {
    const QPixmap picture = qt_toolkit::pixmapOf(NSImage::imageNamed("VX-310.png"));
    EXPECT_EQ(picture.devicePixelRatio(), 2);
    EXPECT_EQ(picture.size(), QSize(592, 264));
    NSAppTerminate();
  };
  run();
  unsetenv("QT_SCALE_FACTOR");
}

TEST_F(QtToolkit, ThePictureIsReadAsTheNameOfItsImage) {
  whenRunning = [] {
    auto* label = find<QLabel>("KvDeviceBitmap");
    NSImageView view(static_cast<QWidget*>(label));
    for (const char* name : {"VX-310", "None"}) {
      view.setImage(NSImage::imageNamed(std::string(name) + (name[0] == 'N' ? ".bmp" : ".png")));
      EXPECT_EQ(QAccessible::queryAccessibleInterface(label)->text(QAccessible::Name), name);
    }
    NSAppTerminate();
  };
  run();
}

TEST_F(QtToolkit, AnExceptionOfAnActionIsCaught) {
  const auto loader = [](NSNib& nib) -> std::unique_ptr<NSObject> {
    nib.connectAction("Help", [] { throw std::runtime_error("from the action"); });
    return std::make_unique<Owner>();
  };
  whenRunning = [] {
    toolkit_contract::press("Help");
    NSAppTerminate();
  };
  EXPECT_EQ(toolkit_contract::run(loader), 0);
}

}  // namespace
