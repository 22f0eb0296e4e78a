// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "device/testing/device_fixture.h"
#include "platform/log/memory/memory_log.h"

namespace {

using testing::IsEmpty;

class Routing : public DeviceTest {
 protected:
  Routing() {
    setProperty("AjExtData", CFValue(CFDictionary{{"RoutingIn0", CFValue(3)},
                                                  {"RoutingIn2", CFValue(1)},
                                                  {"RoutingOut1", CFValue(2)}}));
  }

  std::int32_t read(bool input, std::int32_t index) {
    const Retained device(makeDevice());
    return read(*device, input, index);
  }

  std::int32_t read(USBDevice& device, bool input, std::int32_t index) {
    memory_log::takeOutput();
    const std::int32_t value = device.getRouting(input, index);
    printed = memory_log::takeOutput();
    return value;
  }

  std::string printed;
};

TEST_F(Routing, IsReadFromTheRegistryOfAClosedDevice) {
  EXPECT_EQ(read(true, 0), 3);
  EXPECT_EQ(printed, "getRouting RoutingIn0 returns: 3\n");
  EXPECT_EQ(read(true, 2), 1);
  EXPECT_EQ(printed, "getRouting RoutingIn2 returns: 1\n");
  EXPECT_EQ(read(false, 1), 2);
  EXPECT_EQ(printed, "getRouting RoutingOut1 returns: 2\n");
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(Routing, IsReadAgainAtEachCall) {
  const Retained device(makeDevice());
  EXPECT_EQ(read(*device, true, 0), 3);
  setProperty("AjExtData", CFValue(CFDictionary{{"RoutingIn0", CFValue(0)}}));
  EXPECT_EQ(read(*device, true, 0), 0);
}

TEST_F(Routing, AMissingOrUnreadableEntryIsMinusOne) {
  EXPECT_EQ(read(true, 1), -1);
  EXPECT_EQ(printed, "getRouting RoutingIn1 returns: -1\n");
  setProperty("AjExtData", CFValue(CFDictionary{{"RoutingIn0", CFValue("3")}}));
  EXPECT_EQ(read(true, 0), -1);
}

TEST_F(Routing, AnIndexOfElevenCharactersFitsTheKey) {
  EXPECT_EQ(read(false, -2147483647 - 1), -1);
  EXPECT_EQ(printed, "getRouting RoutingOut-2147483648 returns: -1\n");
}

TEST_F(Routing, AValueIsCutTo32Bits) {
  setProperty("AjExtData", CFValue(CFDictionary{{"RoutingIn0", CFValue(0x1'0000'0005)}}));
  EXPECT_EQ(read(true, 0), 5);
}

TEST_F(Routing, WithoutThePublishedDictionaryItSaysSo) {
  properties().erase("AjExtData");
  EXPECT_EQ(read(true, 0), -1);
  EXPECT_EQ(printed, "Error No AjExtData\n");
  setProperty("AjExtData", CFValue(5));
  EXPECT_EQ(read(true, 0), -1);
  EXPECT_EQ(printed, "Error No AjExtData\n");
}

TEST_F(Routing, UnreadablePropertiesPrintTheCode) {
  const Retained device(makeDevice());
  memory_registry::failNext(memory_registry::Operation::kCreateProperties, kIOReturnNoDevice);
  EXPECT_EQ(read(*device, true, 0), -1);
  EXPECT_EQ(printed, "Error e00002c0\n");
}

TEST_F(Routing, WithoutAServiceItIsMinusOneAndSilent) {
  USBDevice device(0);
  EXPECT_EQ(read(device, true, 0), -1);
  EXPECT_EQ(printed, "");
}

TEST_F(Routing, SettingReturnsTheValueWordOfTheAnswer) {
  driver.answerWords(VQ_Command::kSetRouting, {9, 9, 2});
  const Retained device(makeDevice());
  ASSERT_TRUE(device->open(false));
  EXPECT_EQ(device->setRouting(true, 5, 1), 2);
}

TEST_F(Routing, AFailedSettingReturnsTheIndex) {
  driver.failAt(VQ_Command::kSetRouting);
  const Retained device(makeDevice());
  ASSERT_TRUE(device->open(false));
  EXPECT_EQ(device->setRouting(true, 5, 1), 5);
}

}  // namespace
