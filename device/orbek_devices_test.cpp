// SPDX-License-Identifier: MIT
#include "device/orbek_devices.h"

#include <gmock/gmock.h>

#include "device/testing/device_fixture.h"

namespace {

using memory_registry::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

CFDictionary device(CFData uid) {
  return {{"OrbekUID", CFValue(std::move(uid))},
          {"idVendor", CFValue(32563)},
          {"idProduct", CFValue(8)}};
}

const CFDictionary kFirst = device({1, 2, 3, 4, 5, 6, 7, 8});
const CFDictionary kSecond = device({1, 2, 3, 4, 5, 6, 7, 9});
const CFDictionary kWithoutUid = {{"idVendor", CFValue(32563)}};
const CFDictionary kWithUidZero = device(CFData(8));

class OrbekDevices : public BackEndsTest {
 protected:
  // The list as another process sees it.
  static CFArray stored() {
    const auto values = memory_preferences::storedValues(CFBundleGetIdentifier());
    const auto* list = CFDictionaryGet<CFArray>(values, "DevicesList");
    return list ? *list : CFArray();
  }

  static bool isStored() {
    return CFDictionaryGetValue(memory_preferences::storedValues(CFBundleGetIdentifier()),
                                "DevicesList") != nullptr;
  }

  static void plug(CFDictionary properties, const char* className = kOrbekServiceClass) {
    memory_registry::Device published;
    published.className = className;
    published.properties = std::move(properties);
    memory_registry::publish(std::move(published));
  }

  CFArray list = {CFValue("former")};
};

// --- From the registry ---

TEST_F(OrbekDevices, ConnectedDevicesAreListedWithTheirProperties) {
  plug(kFirst);
  plug(kSecond);
  getOrbekDevicesFromRegistry(list);
  EXPECT_THAT(list, ElementsAre(CFValue(kFirst), CFValue(kSecond)));
}

TEST_F(OrbekDevices, OtherVendorsAreNotListed) {
  CFDictionary other = kFirst;
  other.insert_or_assign("idVendor", CFValue(32545));
  plug(other);
  plug({});
  plug(kSecond);
  getOrbekDevicesFromRegistry(list);
  EXPECT_THAT(list, ElementsAre(CFValue(kSecond)));
}

TEST_F(OrbekDevices, OtherServiceClassesAreNotListed) {
  plug(kFirst, kVX310DriverClass);
  getOrbekDevicesFromRegistry(list);
  EXPECT_THAT(list, IsEmpty());
}

TEST_F(OrbekDevices, AFailingRegistryLeavesTheList) {
  plug(kFirst);
  for (const auto operation : {Operation::kMasterPort, Operation::kGetMatchingServices}) {
    memory_registry::failNext(operation);
    getOrbekDevicesFromRegistry(list);
    EXPECT_THAT(list, ElementsAre(CFValue("former")));
  }
}

TEST_F(OrbekDevices, ADeviceWithUnreadablePropertiesIsLeftOut) {
  plug(kFirst);
  plug(kSecond);
  memory_registry::failNext(Operation::kCreateProperties);
  getOrbekDevicesFromRegistry(list);
  EXPECT_THAT(list, ElementsAre(CFValue(kSecond)));
}

// --- From the preferences ---

TEST_F(OrbekDevices, TheKeptListIsCopied) {
  CFPreferencesSetAppValue("DevicesList", CFValue(CFArray{CFValue(kFirst)}),
                           CFBundleGetIdentifier());
  getOrbekDevicesFromPrefs(list);
  EXPECT_THAT(list, ElementsAre(CFValue(kFirst)));
}

TEST_F(OrbekDevices, WithoutAKeptListTheCopyIsEmpty) {
  getOrbekDevicesFromPrefs(list);
  EXPECT_THAT(list, IsEmpty());

  list = {CFValue("former")};
  CFPreferencesSetAppValue("DevicesList", CFValue("no list"), CFBundleGetIdentifier());
  getOrbekDevicesFromPrefs(list);
  EXPECT_THAT(list, IsEmpty());
}

// --- Adding ---

TEST_F(OrbekDevices, TheFirstDeviceIsAddedAndStored) {
  list.clear();
  EXPECT_TRUE(addOrbekDeviceToDeviceList(list, kFirst));
  EXPECT_THAT(list, ElementsAre(CFValue(kFirst)));
  EXPECT_EQ(stored(), list);
}

TEST_F(OrbekDevices, AnyFurtherDeviceCountsAsListed) {
  list = {CFValue(kFirst)};
  EXPECT_FALSE(addOrbekDeviceToDeviceList(list, kSecond));
  EXPECT_FALSE(addOrbekDeviceToDeviceList(list, kFirst));
  EXPECT_THAT(list, ElementsAre(CFValue(kFirst)));
  EXPECT_FALSE(isStored());
}

TEST_F(OrbekDevices, ADeviceWithUid0IsAlwaysAdded) {
  list = {CFValue(kFirst)};
  EXPECT_TRUE(addOrbekDeviceToDeviceList(list, kWithUidZero));
  EXPECT_TRUE(addOrbekDeviceToDeviceList(list, kWithUidZero));
  EXPECT_THAT(list, ElementsAre(CFValue(kFirst), CFValue(kWithUidZero), CFValue(kWithUidZero)));
  EXPECT_EQ(stored(), list);
}

TEST_F(OrbekDevices, ADeviceWithoutUidIsNotAdded) {
  list.clear();
  EXPECT_FALSE(addOrbekDeviceToDeviceList(list, kWithoutUid));
  EXPECT_FALSE(addOrbekDeviceToDeviceList(list, {{"OrbekUID", CFValue(5)}}));
  EXPECT_THAT(list, IsEmpty());
  EXPECT_FALSE(isStored());
}

// --- Removing ---

TEST_F(OrbekDevices, TheFirstEntryWithTheUidIsRemovedAndTheRestStored) {
  list = {CFValue("no device"), CFValue(kWithoutUid), CFValue(kSecond), CFValue(kFirst),
          CFValue(kSecond)};
  EXPECT_TRUE(removeOrbekDeviceFromDeviceList(list, kSecond));
  EXPECT_THAT(list, ElementsAre(CFValue("no device"), CFValue(kWithoutUid), CFValue(kFirst),
                                CFValue(kSecond)));
  EXPECT_EQ(stored(), list);
}

TEST_F(OrbekDevices, OnlyTheUidDecides) {
  CFDictionary listed = kFirst;
  listed.insert_or_assign("idProduct", CFValue(9));
  list = {CFValue(listed)};
  EXPECT_TRUE(removeOrbekDeviceFromDeviceList(list, kFirst));
  EXPECT_THAT(list, IsEmpty());
  EXPECT_TRUE(isStored());
}

TEST_F(OrbekDevices, WithoutAMatchNothingIsRemovedOrStored) {
  list = {CFValue(kFirst)};
  EXPECT_FALSE(removeOrbekDeviceFromDeviceList(list, kSecond));
  EXPECT_FALSE(removeOrbekDeviceFromDeviceList(list, kWithoutUid));
  EXPECT_THAT(list, ElementsAre(CFValue(kFirst)));
  EXPECT_FALSE(isStored());
}

TEST_F(OrbekDevices, UidsThatDifferInOneByteDiffer) {
  const std::vector<std::uint8_t> uid = {1, 2, 3, 4, 5, 6, 7, 8};
  list = {CFValue(device(uid))};
  for (std::size_t i = 0; i < uid.size(); ++i) {
    auto other = uid;
    ++other[i];
    EXPECT_FALSE(removeOrbekDeviceFromDeviceList(list, device(other))) << i;
  }
}

TEST_F(OrbekDevices, AShortUidIsComparedAsIfFilledWithZeros) {
  list = {CFValue(device({1, 2}))};
  EXPECT_TRUE(removeOrbekDeviceFromDeviceList(list, device({1, 2, 0, 0, 0, 0, 0, 0})));
}

}  // namespace
