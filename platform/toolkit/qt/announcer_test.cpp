// SPDX-License-Identifier: MIT
// What a screen reader is told. An announcement waits until the changes have settled, so these
// tests need time to pass: seconds each.
#include "platform/toolkit/qt/announcer.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QApplication>
#include <QEventLoop>
#include <QLabel>
#include <QTimer>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using qt_toolkit::Announcer;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

// Far longer than any announcement waits.
constexpr milliseconds kPatience{30'000};

bool assistiveTechnologyRuns = true;
// What notifications were shown.
std::vector<std::string> shown;
QEventLoop* waiting = nullptr;

}  // namespace

// These two take the places of Qt's own, which do nothing without an accessibility bus.
bool QAccessible::isActive() { return assistiveTechnologyRuns; }
void QAccessible::updateAccessibility(QAccessibleEvent* event) {
  QAccessibleInterface* interface = event->accessibleInterface();
  if (event->type() != QAccessible::ObjectShow || !interface ||
      interface->role() != QAccessible::Notification) {
    return;
  }
  shown.push_back(interface->text(QAccessible::Name).toStdString());
  if (waiting) waiting->quit();
}

namespace {

class Announcements : public testing::Test {
 protected:
  Announcements() {
    state_.setBuddy(&stateValue_);
    menuLabel_.setBuddy(&menu_);
    shown.clear();
  }

  // Handles events until there is a further announcement; false when there is none in time.
  static bool waitForOne() {
    QEventLoop loop;
    waiting = &loop;
    const std::size_t before = shown.size();
    QTimer::singleShot(kPatience, &loop, &QEventLoop::quit);
    loop.exec();
    waiting = nullptr;
    return shown.size() > before;
  }

  QWidget window_;
  QWidget box_{&window_};
  QLabel state_{QStringLiteral("&Digital input"), &box_};
  QLabel stateValue_{&box_};
  QLabel menuLabel_{QStringLiteral("Sample cloc&k"), &box_};
  QLabel menu_{&box_};
  QLabel alone_{&box_};  // without a label
  Announcer announcer_{&window_};
};

TEST_F(Announcements, AreSpokenTogetherOnceNothingChangesAnyMoreWithTheirLabelsAndLastTexts) {
  Announcer::announce(stateValue_, QStringLiteral("no signal"));
  Announcer::announce(menu_, QStringLiteral("Internal"));
  Announcer::announce(stateValue_, QStringLiteral("valid"));
  Announcer::announce(alone_, QStringLiteral("No driver"));
  EXPECT_THAT(shown, IsEmpty());
  EXPECT_TRUE(waitForOne());
  EXPECT_THAT(shown, ElementsAre("No driver. Digital input: valid. Sample clock: Internal"));
}

TEST_F(Announcements, AreSpokenOnceEach) {
  Announcer::announce(menu_, QStringLiteral("Internal"));
  EXPECT_TRUE(waitForOne());
  Announcer::announce(stateValue_, QStringLiteral("valid"));
  EXPECT_TRUE(waitForOne());
  EXPECT_THAT(shown, ElementsAre("Sample clock: Internal", "Digital input: valid"));
}

TEST_F(Announcements, AreTakenBackByAnEmptyText) {
  Announcer::announce(stateValue_, QStringLiteral("valid"));
  Announcer::announce(menu_, QStringLiteral("Internal"));
  Announcer::announce(stateValue_, QString());
  EXPECT_TRUE(waitForOne());
  EXPECT_THAT(shown, ElementsAre("Sample clock: Internal"));
}

TEST_F(Announcements, AreSpokenAlsoWhileChangesGoOn) {
  QTimer changes;
  int number = 0;
  QObject::connect(&changes, &QTimer::timeout,
                   [&] { Announcer::announce(stateValue_, QString::number(++number)); });
  changes.start(milliseconds(200));
  EXPECT_TRUE(waitForOne());
  EXPECT_GT(number, 1);
}

TEST_F(Announcements, OfAWindowWithoutAnAnnouncerAreDropped) {
  QWidget other;
  QLabel text(&other);
  Announcer::announce(text, QStringLiteral("lost"));
  Announcer::announce(menu_, QStringLiteral("Internal"));
  EXPECT_TRUE(waitForOne());
  EXPECT_THAT(shown, ElementsAre("Sample clock: Internal"));
}

TEST_F(Announcements, AreDroppedWhileNoAssistiveTechnologyRuns) {
  assistiveTechnologyRuns = false;
  Announcer::announce(stateValue_, QStringLiteral("valid"));
  assistiveTechnologyRuns = true;
  Announcer::announce(menu_, QStringLiteral("Internal"));
  EXPECT_TRUE(waitForOne());
  EXPECT_THAT(shown, ElementsAre("Sample clock: Internal"));
}

TEST_F(Announcements, ThatAreAllTakenBackAreNotSpoken) {
  Announcer::announce(stateValue_, QStringLiteral("valid"));
  Announcer::announce(stateValue_, QString());
  // The second one of another window is spoken after the first would have been.
  QWidget other;
  QLabel text(&other);
  const Announcer announcer(&other);
  for (const char* spoken : {"first", "second"}) {
    Announcer::announce(text, QString::fromLatin1(spoken));
    EXPECT_TRUE(waitForOne());
  }
  EXPECT_THAT(shown, ElementsAre("first", "second"));
}

}  // namespace

int main(int count, char** words) {
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  testing::InitGoogleTest(&count, words);
  QApplication application(count, words);
  return RUN_ALL_TESTS();
}
