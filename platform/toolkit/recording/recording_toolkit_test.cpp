// SPDX-License-Identifier: MIT
#include "platform/toolkit/recording/recording_toolkit.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <utility>

#include "platform/toolkit/toolkit_contract_fixture.h"

namespace toolkit_contract {

void prepare() {
  recording_toolkit::reset();
  recording_toolkit::loadWindow({{kField, recording_toolkit::Kind::kTextField},
                                 {kMenu, recording_toolkit::Kind::kPopUpButton},
                                 {kImageView, recording_toolkit::Kind::kImageView},
                                 {kButton, recording_toolkit::Kind::kButton}});
  recording_toolkit::control(kMenu).itemCount = kMenuItems;
  recording_toolkit::removeImage(kMissingImage);
}

int run(NSNibLoader loader) { return NSApplicationMain(0, nullptr, loader); }

void post(std::function<void()> event) { recording_toolkit::post(std::move(event)); }

std::string textOf(const char* field) { return recording_toolkit::control(field).text; }
bool isHidden(const char* control) { return recording_toolkit::control(control).hidden; }
bool isEnabled(const char* control) { return recording_toolkit::control(control).enabled; }
bool showsPicture(const char* view) { return !recording_toolkit::control(view).image.empty(); }

void pickLastItem(const char* menu) { recording_toolkit::pickItem(menu, kMenuItems - 1); }
void press(const char* button) { recording_toolkit::press(button); }
void closeWindow() { recording_toolkit::closeWindow(); }
// The recording has no other windows: it is in front from the last activation on.
std::size_t activationsBefore = 0;
std::size_t activations() {
  return static_cast<std::size_t>(
      std::ranges::count(recording_toolkit::log(), "application.activate"));
}
void minimizeWindow() { activationsBefore = activations(); }
void coverWindow() { minimizeWindow(); }
bool isWindowInFront() { return activations() > activationsBefore; }

}  // namespace toolkit_contract

namespace {

using recording_toolkit::Kind;
using recording_toolkit::log;
using recording_toolkit::nib;
using testing::ElementsAre;
using testing::IsEmpty;

class RecordingToolkit : public testing::Test {
 protected:
  RecordingToolkit() { recording_toolkit::reset(); }
  ~RecordingToolkit() override { recording_toolkit::reset(); }
};

TEST_F(RecordingToolkit, CallsTheTestForEachOperationUntilTheActionIsEmpty) {
  NSTextField field = nib().textField("Field");
  std::vector<std::string> told;
  recording_toolkit::onOperation([&](const std::string& operation) { told.push_back(operation); });
  field.setHidden(false);
  EXPECT_EQ(told, recording_toolkit::log());
  EXPECT_EQ(told.size(), 1u);
  recording_toolkit::onOperation({});
  field.setHidden(true);
  EXPECT_EQ(told.size(), 1u);
}

TEST_F(RecordingToolkit, RecordsEachOperationInOrder) {
  NSTextField field = nib().textField("Field");
  field.setHidden(false);
  field.setStringValue("none found");
  field.setEnabled(false);
  NSPopUpButton menu = nib().popUpButton("Menu");
  menu.selectItemAtIndex(-3);
  menu.selectItem(nullptr);
  menu.setFrame({{13, 2.5}, {100, 26}});
  menu.superview().display();
  NSImageView view = nib().imageView("View");
  view.setImage(NSImage::imageNamed("VX-310.png"));
  view.setImage(NSImage());
  view.setFrameSize({296, 132});
  view.setFrameOrigin({316, 220});
  view.window().setBackgroundColor(
      NSColor::colorWithPatternImage(NSImage::imageNamed("StripTexture.png")));
  NSWorkspaceOpenFile("/help.html");
  NSAppSetDelegate(nullptr);
  NSAppTerminate();
  EXPECT_THAT(
      log(),
      ElementsAre("Field.setHidden no", "Field.setStringValue \"none found\"",
                  "Field.setEnabled no", "Menu.selectItemAtIndex -3", "Menu.selectItem nothing",
                  "Menu.setFrame (13, 2.5) 100x26", "window.display", "View.setImage VX-310.png",
                  "View.setImage nothing", "View.setFrameSize 296x132",
                  "View.setFrameOrigin (316, 220)", "window.setBackgroundColor StripTexture.png",
                  "workspace.openFile \"/help.html\"", "application.setDelegate nothing",
                  "application.terminate"));
}

TEST_F(RecordingToolkit, AWindowOfGivenControlsHasNoOthers) {
  recording_toolkit::loadWindow({{"Field", Kind::kTextField}});
  EXPECT_NE(nib().textField("Field").object(), nullptr);
  EXPECT_EQ(nib().textField("Other").object(), nullptr);
  EXPECT_EQ(nib().button("Field").object(), nullptr);
}

TEST_F(RecordingToolkit, AControlThatATestMadeGetsTheKindThatTheProgramAsksFor) {
  recording_toolkit::control("Menu").itemCount = 2;
  NSPopUpButton menu = nib().popUpButton("Menu");
  menu.selectItemAtIndex(2);
  EXPECT_EQ(menu.indexOfSelectedItem(), -1);
  EXPECT_NE(menu.object(), nullptr);
  EXPECT_EQ(nib().textField("Menu").object(), nullptr);
}

TEST_F(RecordingToolkit, TheUserCannotUseAHiddenOrDisabledControl) {
  NSPopUpButton menu = nib().popUpButton("Menu");
  NSButton button = nib().button("Button");
  menu.setHidden(true);
  button.setEnabled(false);
  EXPECT_FALSE(recording_toolkit::pickItem("Menu", 0));
  EXPECT_FALSE(recording_toolkit::press("Button"));
  EXPECT_FALSE(recording_toolkit::press("NoButton"));
}

TEST_F(RecordingToolkit, TheUserPicksOnlyExistingItems) {
  nib().popUpButton("Menu");
  recording_toolkit::control("Menu").itemCount = 2;
  EXPECT_TRUE(recording_toolkit::pickItem("Menu", 1));
  EXPECT_FALSE(recording_toolkit::pickItem("Menu", 2));
  EXPECT_EQ(recording_toolkit::control("Menu").selectedItem, 1);
}

TEST_F(RecordingToolkit, AResetForgetsEverything) {
  nib().textField("Field").setStringValue("old");
  recording_toolkit::removeImage("VX-310.png");
  recording_toolkit::setMainBundlePath("/elsewhere");
  recording_toolkit::setOpenFileResult(false);
  recording_toolkit::reset();
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_EQ(recording_toolkit::control("Field").text, "");
  EXPECT_FALSE(NSImage::imageNamed("VX-310.png").empty());
  EXPECT_EQ(NSBundleMainBundlePath(), "/Applications/Panel.app");
  EXPECT_TRUE(NSWorkspaceOpenFile("/any"));
}

}  // namespace
