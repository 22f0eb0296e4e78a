// SPDX-License-Identifier: MIT
// Holds the window file and the program to each other: the names and kinds of the controls, and the
// items of the menus.
#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/kv_panel_nib.h"
#include "app/testing/panel_menus.h"
#include "io/testing/scripted_interface.h"
#include "platform/device_registry/memory/memory_registry.h"
#include "platform/toolkit/qt/qt_nib.h"

namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

// The controls that the program leaves as the window file has them.
constexpr const char* kDecoration[] = {"Heading", "Legend", "InputHeading", "OutputHeading",
                                       "EmptyHint"};

// Text fields that the window file connects and the program never touches.
constexpr const char* kReserved[] = {"AKM00Field", "RxStatusField", "TxStatusField",
                                     "ReceiverStatusField"};

// Hands the program the controls of another nib, and notes the names that it asks for.
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
  std::set<std::string> missing;  // the outlets that the nib lacks, or has as another kind
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

TEST_F(PanelWindow, HasNoOtherControlButDecoration) {
  std::set<std::string> others = namesOfMenusAndButtons();
  others.merge(namesOf<QLabel>());  // texts and pictures
  for (const std::string& name : noted_.outlets) others.erase(name);
  EXPECT_THAT(others, UnorderedElementsAreArray(kDecoration));
}

TEST_F(PanelWindow, HasAnActionForEachMenuAndButtonAndNothingElse) {
  EXPECT_THAT(noted_.actions, ElementsAreArray(namesOfMenusAndButtons()));
}

TEST_F(PanelWindow, OffersTheProgramsItemsInEveryMenu) {
  EXPECT_EQ(namesOf<QComboBox>().size(), std::size(kPanelMenus));
  for (const PanelMenu& menu : kPanelMenus) {
    const auto* widget = qobject_cast<QComboBox*>(find(menu.name));
    ASSERT_NE(widget, nullptr) << menu.name;
    std::vector<std::string> items;
    items.reserve(menu.items.size());
    for (int i = 0; i < widget->count(); ++i) items.push_back(widget->itemText(i).toStdString());
    EXPECT_THAT(items, ElementsAreArray(menu.items)) << menu.name;
  }
}

TEST_F(PanelWindow, NeverShowsTheReservedFields) {
  memory_registry::reset();
  ScriptedInterface interface;
  interface.publish();
  window().show();
  owner_->awakeFromNib();
  auto& delegate = dynamic_cast<NSApplicationDelegate&>(*owner_);
  delegate.applicationDidFinishLaunching();
  EXPECT_TRUE(isShown("KvIoROutLineMenu"));  // the interface has been found
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
