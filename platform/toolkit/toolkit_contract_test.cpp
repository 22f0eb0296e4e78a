// SPDX-License-Identifier: MIT
// The contract of every toolkit. Compiled once for each back end.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/toolkit/toolkit.h"
#include "platform/toolkit/toolkit_contract_fixture.h"

namespace {

using namespace toolkit_contract;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Not;
using testing::StartsWith;

using Steps = std::vector<std::string>;

// The actions that a test gives the window's owner. The loader is a plain function pointer without
// user data, so the plan is global.
struct Plan {
  std::function<void(NSNib&)> loading = [](NSNib&) {};
  std::function<void(NSNib&)> awaking = [](NSNib&) {};
  std::function<void(NSNib&)> running = [](NSNib&) { NSAppTerminate(); };
  std::function<void()> terminating = [] {};
  bool hasDelegate = true;
  bool endsWithItsWindow = true;
  Steps steps;
};

Plan* plan = nullptr;

class Owner : public NSObject, public NSApplicationDelegate {
 public:
  explicit Owner(NSNib& nib) : nib_(nib) {
    if (plan->hasDelegate) NSAppSetDelegate(this);
    plan->steps.push_back("loaded");
    plan->loading(nib_);
  }
  ~Owner() override { plan->steps.push_back("destroyed"); }

  void awakeFromNib() override {
    plan->steps.push_back("awakeFromNib");
    plan->awaking(nib_);
    if (!plan->hasDelegate) plan->running(nib_);
  }
  void applicationDidFinishLaunching() override {
    plan->steps.push_back("applicationDidFinishLaunching");
    plan->running(nib_);
  }
  void applicationWillTerminate() override {
    plan->steps.push_back("applicationWillTerminate");
    plan->terminating();
  }
  bool applicationShouldTerminateAfterLastWindowClosed() override {
    plan->steps.push_back("asked");
    return plan->endsWithItsWindow;
  }

 private:
  NSNib& nib_;
};

class Toolkit : public testing::Test {
 protected:
  Toolkit() {
    prepare();
    ::plan = &plan;
  }
  ~Toolkit() override { ::plan = nullptr; }

  int run() {
    return toolkit_contract::run(
        [](NSNib& nib) -> std::unique_ptr<NSObject> { return std::make_unique<Owner>(nib); });
  }

  // Runs the program and calls the function with the window's controls.
  void runFor(const std::function<void(NSNib&)>& action) {
    plan.running = [&](NSNib& nib) {
      action(nib);
      NSAppTerminate();
    };
    EXPECT_EQ(run(), 0);
  }

  Plan plan;
};

TEST_F(Toolkit, TheApplicationStartsAndEndsInOrder) {
  plan.running = [this](NSNib&) {
    post([this] {
      plan.steps.push_back("event");
      NSAppTerminate();
    });
  };
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(plan.steps, ElementsAre("loaded", "awakeFromNib", "applicationDidFinishLaunching",
                                      "event", "applicationWillTerminate", "destroyed"));
}

TEST_F(Toolkit, TerminatingLetsTheEventBeingHandledFinish) {
  plan.running = [this](NSNib&) {
    post([this] {
      NSAppTerminate();
      plan.steps.push_back("rest of the event");
    });
  };
  run();
  EXPECT_THAT(plan.steps,
              ElementsAre("loaded", "awakeFromNib", "applicationDidFinishLaunching",
                          "rest of the event", "applicationWillTerminate", "destroyed"));
}

TEST_F(Toolkit, TerminatingInAwakeFromNibStillStartsAndEndsInOrder) {
  plan.awaking = [](NSNib&) { NSAppTerminate(); };
  plan.running = [](NSNib&) {};
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(plan.steps, ElementsAre("loaded", "awakeFromNib", "applicationDidFinishLaunching",
                                      "applicationWillTerminate", "destroyed"));
}

TEST_F(Toolkit, TerminatingTwiceIsTerminatingOnce) {
  plan.running = [](NSNib&) {
    NSAppTerminate();
    NSAppTerminate();
  };
  run();
  EXPECT_THAT(plan.steps, ElementsAre("loaded", "awakeFromNib", "applicationDidFinishLaunching",
                                      "applicationWillTerminate", "destroyed"));
}

TEST_F(Toolkit, ClosingTheWindowEndsTheApplicationIfItsDelegateAgrees) {
  plan.running = [](NSNib&) { post(closeWindow); };
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(plan.steps, ElementsAre("loaded", "awakeFromNib", "applicationDidFinishLaunching",
                                      "asked", "applicationWillTerminate", "destroyed"));
}

TEST_F(Toolkit, ClosingTheWindowLeavesTheApplicationRunningIfItsDelegateDoesNotAgree) {
  plan.endsWithItsWindow = false;
  plan.running = [this](NSNib&) {
    post([this] {
      closeWindow();
      post([this] {
        plan.steps.push_back("still running");
        NSAppTerminate();
      });
    });
  };
  run();
  EXPECT_THAT(plan.steps,
              ElementsAre("loaded", "awakeFromNib", "applicationDidFinishLaunching", "asked",
                          "still running", "applicationWillTerminate", "destroyed"));
}

TEST_F(Toolkit, ClosingTheWindowEndsAnApplicationWithoutADelegate) {
  plan.hasDelegate = false;
  plan.running = [](NSNib&) { post(closeWindow); };
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(plan.steps, ElementsAre("loaded", "awakeFromNib", "destroyed"));
}

TEST_F(Toolkit, ActivatingBringsTheWindowToTheFrontWithATokenOrNone) {
  for (const std::string token : {"", "token"}) {
    for (const auto hide : {minimizeWindow, coverWindow}) {
      plan.running = [&](NSNib&) {
        post([&] {
          hide();
          post([&] {
            EXPECT_FALSE(isWindowInFront());
            NSAppActivate(token);
            post([] {
              EXPECT_TRUE(isWindowInFront());
              NSAppTerminate();
            });
          });
        });
      };
      EXPECT_EQ(run(), 0);
    }
  }
}

TEST_F(Toolkit, ActivatingWithoutAWindowDoesNothing) {
  NSAppActivate("");
  NSAppActivate("token");
  EXPECT_EQ(run(), 0);
  NSAppActivate("");
  EXPECT_EQ(plan.steps.size(), 5u);
}

TEST_F(Toolkit, ActivatingWhileTheWindowIsLoadedLeavesTheStartAsItIs) {
  plan.loading = [](NSNib&) { NSAppActivate("token"); };
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(plan.steps, ElementsAre("loaded", "awakeFromNib", "applicationDidFinishLaunching",
                                      "applicationWillTerminate", "destroyed"));
}

TEST_F(Toolkit, AnApplicationRunsAgainAfterItEnded) {
  run();
  plan.steps.clear();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(plan.steps.size(), 5u);
}

TEST_F(Toolkit, AFieldShowsItsText) {
  runFor([](NSNib& nib) {
    NSTextField field = nib.textField(kField);
    field.setStringValue("VX-310 \xC3\xA9 & <b>co</b>");
    EXPECT_EQ(textOf(kField), "VX-310 \xC3\xA9 & <b>co</b>");
    field.setStringValue("");
    EXPECT_EQ(textOf(kField), "");
  });
}

TEST_F(Toolkit, AControlIsHiddenAndShown) {
  runFor([](NSNib& nib) {
    NSTextField field = nib.textField(kField);
    field.setHidden(true);
    EXPECT_TRUE(isHidden(kField));
    field.setHidden(false);
    EXPECT_FALSE(isHidden(kField));
  });
}

TEST_F(Toolkit, AControlIsDisabledAndEnabledWhetherShownOrNot) {
  runFor([](NSNib& nib) {
    NSPopUpButton menu = nib.popUpButton(kMenu);
    menu.setHidden(true);
    menu.setEnabled(false);
    EXPECT_FALSE(isEnabled(kMenu));
    EXPECT_TRUE(isHidden(kMenu));
    menu.setEnabled(true);
    EXPECT_TRUE(isEnabled(kMenu));
  });
}

TEST_F(Toolkit, CopiesReferToTheSameControl) {
  runFor([](NSNib& nib) {
    NSTextField copy = nib.textField(kField);
    nib.textField(kField).setStringValue("from the other");
    copy.setHidden(true);
    EXPECT_EQ(textOf(kField), "from the other");
    EXPECT_TRUE(isHidden(kField));
  });
}

TEST_F(Toolkit, AMenuSelectsEachOfItsItems) {
  runFor([](NSNib& nib) {
    NSPopUpButton menu = nib.popUpButton(kMenu);
    for (std::int32_t item = 0; item < kMenuItems; ++item) {
      menu.selectItemAtIndex(item);
      EXPECT_EQ(menu.indexOfSelectedItem(), item);
    }
  });
}

TEST_F(Toolkit, AMenuKeepsItsSelectionWhileItIsHiddenAndDisabled) {
  runFor([](NSNib& nib) {
    NSPopUpButton menu = nib.popUpButton(kMenu);
    menu.selectItemAtIndex(2);
    menu.setEnabled(false);
    menu.setHidden(true);
    EXPECT_EQ(menu.indexOfSelectedItem(), 2);
  });
}

TEST_F(Toolkit, AnIndexOutsideTheItemsClearsTheSelection) {
  runFor([](NSNib& nib) {
    NSPopUpButton menu = nib.popUpButton(kMenu);
    for (const std::int32_t index : {kMenuItems, -1, -2, INT32_MAX, INT32_MIN}) {
      menu.selectItemAtIndex(1);
      menu.selectItemAtIndex(index);
      EXPECT_EQ(menu.indexOfSelectedItem(), -1) << index;
    }
  });
}

TEST_F(Toolkit, SelectingNothingClearsTheSelection) {
  runFor([](NSNib& nib) {
    NSPopUpButton menu = nib.popUpButton(kMenu);
    menu.selectItemAtIndex(1);
    menu.selectItem(nullptr);
    EXPECT_EQ(menu.indexOfSelectedItem(), -1);
  });
}

TEST_F(Toolkit, TheUsersPickSelectsTheItemAndRunsTheAction) {
  Steps picks;
  plan.loading = [&](NSNib& nib) {
    NSPopUpButton menu = nib.popUpButton(kMenu);
    nib.connectAction(
        kMenu, [&picks, menu] { picks.push_back(std::to_string(menu.indexOfSelectedItem())); });
  };
  runFor([](NSNib& nib) {
    nib.popUpButton(kMenu).setHidden(false);
    nib.popUpButton(kMenu).selectItemAtIndex(0);
    pickLastItem(kMenu);
  });
  EXPECT_THAT(picks, ElementsAre(std::to_string(kMenuItems - 1)));
}

TEST_F(Toolkit, AnItemThatTheProgramSelectsRunsNoAction) {
  bool acted = false;
  plan.loading = [&](NSNib& nib) { nib.connectAction(kMenu, [&] { acted = true; }); };
  runFor([](NSNib& nib) {
    NSPopUpButton menu = nib.popUpButton(kMenu);
    menu.setHidden(false);
    menu.selectItemAtIndex(2);
    menu.selectItemAtIndex(99);
    menu.selectItem(nullptr);
  });
  EXPECT_FALSE(acted);
}

TEST_F(Toolkit, APressedButtonRunsItsAction) {
  int presses = 0;
  plan.loading = [&](NSNib& nib) { nib.connectAction(kButton, [&] { ++presses; }); };
  runFor([](NSNib&) {
    press(kButton);
    press(kButton);
  });
  EXPECT_EQ(presses, 2);
}

TEST_F(Toolkit, ADisabledButtonRunsNoAction) {
  int presses = 0;
  plan.loading = [&](NSNib& nib) { nib.connectAction(kButton, [&] { ++presses; }); };
  runFor([](NSNib& nib) {
    nib.button(kButton).setEnabled(false);
    press(kButton);
  });
  EXPECT_EQ(presses, 0);
}

TEST_F(Toolkit, AnActionMayEndTheApplication) {
  plan.loading = [](NSNib& nib) { nib.connectAction(kButton, NSAppTerminate); };
  plan.running = [](NSNib&) { post([] { press(kButton); }); };
  EXPECT_EQ(run(), 0);
}

TEST_F(Toolkit, TheFrameOfAViewIsTheOneThatWasSet) {
  runFor([](NSNib& nib) {
    NSImageView view = nib.imageView(kImageView);
    const NSRect frame{{13, 45}, {200, 100}};
    view.setFrame(frame);
    EXPECT_EQ(view.frame(), frame);
  });
}

TEST_F(Toolkit, ResizingKeepsTheLowerLeftCornerAndMovingKeepsTheSize) {
  runFor([](NSNib& nib) {
    NSImageView view = nib.imageView(kImageView);
    view.setFrame({{10, 20}, {30, 40}});
    view.setFrameSize({296, 132});
    EXPECT_EQ(view.frame(), (NSRect{{10, 20}, {296, 132}}));
    view.setFrameOrigin({316, 220});
    EXPECT_EQ(view.frame(), (NSRect{{316, 220}, {296, 132}}));
  });
}

TEST_F(Toolkit, AnImageViewShowsAnImageAndIsEmptiedByAnEmptyOne) {
  runFor([](NSNib& nib) {
    NSImageView view = nib.imageView(kImageView);
    view.setImage(NSImage::imageNamed(kImage));
    EXPECT_TRUE(showsPicture(kImageView));
    view.setImage(NSImage());
    EXPECT_FALSE(showsPicture(kImageView));
  });
}

TEST_F(Toolkit, AMissingImageIsEmpty) {
  runFor([](NSNib&) {
    EXPECT_FALSE(NSImage::imageNamed(kImage).empty());
    EXPECT_TRUE(NSImage::imageNamed(kMissingImage).empty());
  });
}

TEST_F(Toolkit, AWindowTakesABackgroundOrNone) {
  runFor([](NSNib& nib) {
    NSWindow window = nib.button(kButton).window();
    window.setBackgroundColor(NSColor::colorWithPatternImage(NSImage::imageNamed(kImage)));
    window.setBackgroundColor(NSColor::colorWithPatternImage(NSImage()));
  });
}

TEST_F(Toolkit, TheEnclosingViewIsRedrawn) {
  runFor([](NSNib& nib) { nib.textField(kField).superview().display(); });
}

TEST_F(Toolkit, AnUnknownNameGivesAnEmptyControl) {
  runFor([](NSNib& nib) {
    EXPECT_EQ(nib.textField("NoSuchField").object(), nullptr);
    EXPECT_EQ(nib.popUpButton("NoSuchMenu").object(), nullptr);
    EXPECT_EQ(nib.imageView("NoSuchView").object(), nullptr);
    EXPECT_EQ(nib.button("NoSuchButton").object(), nullptr);
    nib.connectAction("NoSuchButton", [] { FAIL(); });
  });
}

TEST_F(Toolkit, ANameOfAnotherKindGivesAnEmptyControl) {
  runFor([](NSNib& nib) {
    nib.textField(kField);
    nib.popUpButton(kMenu);
    nib.imageView(kImageView);
    nib.button(kButton);
    EXPECT_EQ(nib.textField(kMenu).object(), nullptr);
    EXPECT_EQ(nib.textField(kImageView).object(), nullptr);
    EXPECT_EQ(nib.imageView(kField).object(), nullptr);
    EXPECT_EQ(nib.popUpButton(kButton).object(), nullptr);
    EXPECT_EQ(nib.button(kMenu).object(), nullptr);
  });
}

TEST(EmptyControl, IgnoresEveryCallAndReturnsZeros) {
  NSTextField().setStringValue("nobody");
  NSPopUpButton menu;
  menu.selectItemAtIndex(1);
  menu.selectItem(nullptr);
  menu.setHidden(false);
  menu.setEnabled(true);
  menu.setFrame({{1, 2}, {3, 4}});
  menu.display();
  menu.superview().display();
  menu.window().setBackgroundColor(NSColor());
  NSImageView view;
  view.setImage(NSImage());
  view.setFrameSize({1, 1});
  view.setFrameOrigin({1, 1});
  EXPECT_EQ(menu.indexOfSelectedItem(), 0);
  EXPECT_EQ(menu.frame(), NSRect());
  EXPECT_EQ(view.frame(), NSRect());
}

TEST_F(Toolkit, TheWindowDestroysItsActions) {
  auto held = std::make_shared<int>(0);
  plan.loading = [&](NSNib& nib) {
    nib.connectAction(kButton, [held] { ++*held; });
    nib.connectAction(kMenu, [held] { ++*held; });
  };
  run();
  prepare();
  plan.loading = nullptr;
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(Toolkit, TheApplicationPackageIsAFolderGivenWithoutASlashAtItsEnd) {
  runFor([](NSNib&) {
    EXPECT_THAT(NSBundleMainBundlePath(), StartsWith("/"));
    EXPECT_THAT(NSBundleMainBundlePath(), Not(EndsWith("/")));
  });
}

}  // namespace
