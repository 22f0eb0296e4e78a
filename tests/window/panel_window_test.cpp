// SPDX-License-Identifier: MIT
// Compares the window file with the program: names and kinds of the controls, and items of the
// menus.
#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/kv_panel_nib.h"
#include "app/panel_tables.h"
#include "io/status_texts.h"
#include "io/testing/scripted_interface.h"
#include "platform/device_registry/memory/memory_registry.h"
#include "platform/toolkit/qt/qt_nib.h"
#include "protocol/options.h"
#include "protocol/records.h"

namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

// Controls of the window file that the program never asks for.
constexpr const char* kDecoration[] = {"Heading",   "Version",   "InputHeading", "OutputHeading",
                                       "StateHint", "EmptyHint", "VirtualHint",  "StatusLine"};

// Text fields that the window file connects and the program never touches.
constexpr const char* kReserved[] = {"AKM00Field", "RxStatusField", "TxStatusField",
                                     "ReceiverStatusField"};

// Forwards to another nib and records the names that the program asks for.
class NotingNib final : public NSNib {
 public:
  explicit NotingNib(NSNib& nib) : nib_(nib) {}

  NSTextField textField(std::string_view name) override { return note(name, nib_.textField(name)); }
  NSPopUpButton popUpButton(std::string_view name) override {
    return note(name, nib_.popUpButton(name));
  }
  NSImageView imageView(std::string_view name) override { return note(name, nib_.imageView(name)); }
  NSButton button(std::string_view name) override { return note(name, nib_.button(name)); }
  void connectAction(std::string_view name, Action action) override {
    actions.emplace(name);
    nib_.connectAction(name, std::move(action));
  }

  std::set<std::string> outlets;
  std::set<std::string> missing;  // outlets that the nib lacks or has as another kind
  std::set<std::string> actions;

 private:
  template <typename Control>
  Control note(std::string_view name, Control control) {
    outlets.emplace(name);
    if (!control.object()) missing.emplace(name);
    return control;
  }

  NSNib& nib_;
};

class PanelWindow : public testing::Test {
 protected:
  static void SetUpTestSuite() { setenv("QT_QPA_PLATFORM", "offscreen", 1); }

  QWidget& window() { return nib_.window(); }

  QWidget* find(const char* name) { return window().findChild<QWidget*>(QString(name)); }

  bool isShown(const char* name) {
    const QWidget* widget = find(name);
    return widget && widget->isVisible();
  }

  template <typename Widget>
  std::set<std::string> namesOf() {
    std::set<std::string> names;
    for (const Widget* widget : window().findChildren<Widget*>()) {
      names.insert(widget->objectName().toStdString());
    }
    return names;
  }

  std::set<std::string> namesOfMenusAndButtons() {
    std::set<std::string> names = namesOf<QComboBox>();
    names.merge(namesOf<QAbstractButton>());
    return names;
  }

 private:
  int argumentCount_ = 1;
  char programName_[11] = "panel-test";
  char* arguments_[2] = {programName_, nullptr};
  QApplication application_{argumentCount_, arguments_};
  qt_toolkit::QtNib nib_;

 protected:
  NotingNib noted_{nib_};
  const std::unique_ptr<NSObject> owner_ = loadPanelNib(noted_);
};

TEST_F(PanelWindow, HasEveryControlThatTheProgramAsksFor) {
  EXPECT_THAT(noted_.missing, IsEmpty());
}

TEST_F(PanelWindow, EveryOtherControlIsDecoration) {
  std::set<std::string> others = namesOfMenusAndButtons();
  others.merge(namesOf<QLabel>());  // texts and pictures
  for (const std::string& name : noted_.outlets) others.erase(name);
  EXPECT_THAT(others, UnorderedElementsAreArray(kDecoration));
}

TEST_F(PanelWindow, HasAnActionForEachMenuAndButtonAndNothingElse) {
  EXPECT_THAT(noted_.actions, ElementsAreArray(namesOfMenusAndButtons()));
}

TEST_F(PanelWindow, EveryMenuHasTheItemsOfTheProgram) {
  EXPECT_EQ(namesOf<QComboBox>().size(), kPanelMenus.size());
  for (const PanelMenu& row : kPanelMenus) {
    const auto* menu = qobject_cast<QComboBox*>(find(row.menu.name));
    ASSERT_NE(menu, nullptr) << row.menu.name;
    std::vector<std::string> shown;
    for (int i = 0; i < menu->count(); ++i) shown.push_back(menu->itemText(i).toStdString());
    EXPECT_THAT(shown, ElementsAreArray(row.items)) << row.menu.name;
  }
}

TEST_F(PanelWindow, TheLampKnowsEachStateOfTheDigitalInputByTheTextOfTheProgram) {
  auto* field = qobject_cast<QLabel*>(find("KvDigitalInputStatusField"));
  const auto lampOf = [&](std::uint32_t lockState) {
    VQ_DigitalStatus status{};
    status.lockState = lockState;
    status.rate = 48000;
    NSTextField(static_cast<QWidget*>(field))
        .setStringValue(digitalInputText(kClockAutomatic, status));
    QImage lamp = field->grab(QRect(0, 0, 14, field->height())).toImage();
    lamp.convertTo(QImage::Format_Mono, Qt::ThresholdDither);  // its shape, whatever its colour
    return lamp;
  };
  std::vector<QImage> lamps;
  for (const auto state : {kLockNone, kLockInvalid, kLockValid, kLockMuted}) {
    const QImage lamp = lampOf(state);
    EXPECT_EQ(std::ranges::count(lamps, lamp), 0) << state;
    lamps.push_back(lamp);
  }
}

TEST_F(PanelWindow, WarnsOfTheConnectionThatTheProgramCallsUnsupported) {
  auto* field = qobject_cast<QLabel*>(find("KvConnectionTypeField"));
  NSTextField shown(static_cast<QWidget*>(field));
  shown.setStringValue(connectionText(false));
  EXPECT_FALSE(field->toolTip().isEmpty());
  shown.setStringValue(connectionText(true));
  EXPECT_TRUE(field->toolTip().isEmpty());
}

TEST_F(PanelWindow, NeverShowsTheReservedFields) {
  memory_registry::reset();
  ScriptedInterface interface;
  interface.publish();
  window().show();
  owner_->awakeFromNib();
  auto& delegate = dynamic_cast<NSApplicationDelegate&>(*owner_);
  delegate.applicationDidFinishLaunching();
  EXPECT_TRUE(isShown("KvIoROutLineMenu"));  // the panel has found the interface
  for (const char* name : kReserved) {
    EXPECT_FALSE(isShown(name)) << name;
    QWidget* field = find(name);
    EXPECT_TRUE(field && field->size().isEmpty()) << name;
    const QAccessibleInterface* read = QAccessible::queryAccessibleInterface(field);
    EXPECT_TRUE(read && read->state().invisible && read->text(QAccessible::Name).isEmpty()) << name;
  }
  delegate.applicationWillTerminate();
}

}  // namespace
