// SPDX-License-Identifier: MIT
#include "driver/virtual_control/settings.h"

#include <gtest/gtest.h>

#include "platform/files/memory/memory_files.h"
#include "platform/preferences/memory/memory_preferences.h"
#include "settings/osx_asio_registry.h"

namespace driver {
namespace {

class StoredSettings : public testing::Test {
 protected:
  StoredSettings() {
    memory_files::reset();
    memory_preferences::reset();
  }
  static Model applied() {
    Model model;
    model.options.usb1Mode = 1;
    model.options.digitalOutMode = 1;
    model.options.digitalOutSelector = 9;
    applyStoredSettings(model);
    return model;
  }
};

TEST_F(StoredSettings, BecomeTheOptionsOfANewInterface) {
  OSXAsioRegistry store(kVX310Settings);
  store.setClockSource(1);
  store.setDigitalOutMode(1);
  store.setDigitalOutSelector(5);
  store.setUSB1Mode(1);
  const Model model = applied();
  EXPECT_EQ(model.clock.chosen(), kClockInternal);
  EXPECT_EQ(model.options.digitalOutMode, 1u);
  EXPECT_EQ(model.options.digitalOutSelector, 5u);
  EXPECT_EQ(model.options.usb1Mode, 1u);
}

TEST_F(StoredSettings, DefaultToZero) {
  const Model model = applied();
  EXPECT_EQ(model.clock.chosen(), kClockAutomatic);
  EXPECT_EQ(model.options, Options{});
}

TEST_F(StoredSettings, UnsupportedValuesBecomeZero) {
  OSXAsioRegistry store(kVX310Settings);
  store.setClockSource(2);
  store.setDigitalOutMode(7);
  store.setUSB1Mode(7);
  const Model model = applied();
  EXPECT_EQ(model.clock.chosen(), kClockAutomatic);
  EXPECT_EQ(model.options.digitalOutMode, 0u);
  EXPECT_EQ(model.options.usb1Mode, 0u);
}

}  // namespace
}  // namespace driver
