// SPDX-License-Identifier: MIT
// Property values that a driver publishes, as the client reads them.
#include <limits>

#include "platform/device_registry/dbus/testing/dbus_fixture.h"

namespace {

class PropertyValues : public DbusTest {
 protected:
  // Reads properties from a reply to which `append` adds one variant.
  IOReturn read(std::function<int(sd_bus_message*)> append) {
    Service service = sane();
    service.read = std::move(append);
    startAll(service);
    return IORegistryEntryCreateCFProperties(client_.service(), &properties_);
  }
  // Reads a dictionary to which `append` adds the entries.
  IOReturn readEntries(const std::function<void(sd_bus_message*)>& append) {
    return read([append](sd_bus_message* m) {
      sd_bus_message_open_container(m, 'v', "a{sv}");
      sd_bus_message_open_container(m, 'a', "{sv}");
      append(m);
      sd_bus_message_close_container(m);
      return sd_bus_message_close_container(m);
    });
  }

  CFDictionary properties_{{"kept", 1}};
};

TEST_F(PropertyValues, IntegersOfEveryWidthAndBooleansAreNumbers) {
  ASSERT_EQ(readEntries([](sd_bus_message* m) {
              sd_bus_message_append(m, "{sv}{sv}{sv}{sv}", "y", "y", 200, "n", "n", -2, "q", "q",
                                    0x7f21, "i", "i", -4);
              sd_bus_message_append(m, "{sv}{sv}{sv}", "u", "u", 0xfffffffbu, "x", "x",
                                    std::numeric_limits<std::int64_t>::min(), "t", "t",
                                    std::uint64_t{1} << 40);
              sd_bus_message_append(m, "{sv}{sv}{sv}", "d", "d", 2.5, "yes", "b", 1, "no", "b", 0);
            }),
            kIOReturnSuccess);
  EXPECT_EQ(properties_, (CFDictionary{{"y", 200},
                                       {"n", -2},
                                       {"q", 0x7f21},
                                       {"i", -4},
                                       {"u", 0xfffffffbu},
                                       {"x", std::numeric_limits<std::int64_t>::min()},
                                       {"t", std::int64_t{1} << 40},
                                       {"d", 2.5},
                                       {"yes", true},
                                       {"no", false}}));
}

TEST_F(PropertyValues, TextsPathsAndSignaturesAreText) {
  ASSERT_EQ(readEntries([](sd_bus_message* m) {
              sd_bus_message_append(m, "{sv}{sv}{sv}", "s", "s", "VX-310", "o", "o", "/a/b", "g",
                                    "g", "a{sv}");
            }),
            kIOReturnSuccess);
  EXPECT_EQ(properties_, (CFDictionary{{"s", "VX-310"}, {"o", "/a/b"}, {"g", "a{sv}"}}));
}

TEST_F(PropertyValues, ContainersAreDataArraysAndDictionaries) {
  ASSERT_EQ(readEntries([](sd_bus_message* m) {
              sd_bus_message_append(m, "{sv}", "data", "ay", 2, 1, 255);
              sd_bus_message_append(m, "{sv}", "texts", "as", 2, "a", "b");
              sd_bus_message_append(m, "{sv}", "mixed", "av", 2, "i", 1, "s", "b");
              sd_bus_message_append(m, "{sv}", "plain", "a{su}", 1, "k", 7);
              sd_bus_message_append(m, "{sv}", "deep", "a{sv}", 1, "in", "a{sv}", 1, "k", "n", -7);
              sd_bus_message_append(m, "{sv}", "list", "aa{sv}", 2, 0, 1, "k", "b", 1);
              sd_bus_message_append(m, "{sv}", "variant", "v", "q", 3);
              sd_bus_message_append(m, "{sv}", "empty", "a{sv}", 0);
            }),
            kIOReturnSuccess);
  EXPECT_EQ(properties_, (CFDictionary{{"data", CFData{1, 255}},
                                       {"texts", CFArray{"a", "b"}},
                                       {"mixed", CFArray{1, "b"}},
                                       {"plain", CFDictionary{{"k", 7}}},
                                       {"deep", CFDictionary{{"in", CFDictionary{{"k", -7}}}}},
                                       {"list", CFArray{CFDictionary{}, CFDictionary{{"k", true}}}},
                                       {"variant", 3},
                                       {"empty", CFDictionary{}}}));
}

TEST_F(PropertyValues, AnEntryOfAnUnsupportedTypeIsLeftOutAndTheOthersStay) {
  ASSERT_EQ(readEntries([](sd_bus_message* m) {
              sd_bus_message_append(m, "{sv}", "first", "i", 1);
              sd_bus_message_append(m, "{sv}", "structure", "(is)", 1, "x");
              sd_bus_message_append(m, "{sv}", "descriptor", "h", 0);
              sd_bus_message_append(m, "{sv}", "numbered", "a{is}", 1, 5, "x");
              sd_bus_message_append(m, "{sv}", "structures", "a(i)", 1, 5);
              sd_bus_message_append(m, "{sv}", "partly", "av", 2, "i", 1, "(i)", 2);
              sd_bus_message_append(m, "{sv}", "inner", "a{sv}", 2, "bad", "(i)", 1, "good", "i",
                                    2);
              sd_bus_message_append(m, "{sv}", "last", "i", 2);
            }),
            kIOReturnSuccess);
  EXPECT_EQ(properties_,
            (CFDictionary{{"first", 1}, {"inner", CFDictionary{{"good", 2}}}, {"last", 2}}));
}

TEST_F(PropertyValues, NoPropertiesAreAnEmptyDictionary) {
  EXPECT_EQ(readEntries([](sd_bus_message*) {}), kIOReturnSuccess);
  EXPECT_EQ(properties_, CFDictionary{});
}

TEST_F(PropertyValues, PropertiesThatAreNoDictionaryFailAndLeaveTheOutArgument) {
  EXPECT_EQ(read([](sd_bus_message* m) { return sd_bus_message_append(m, "v", "s", "no"); }),
            kIOReturnError);
  EXPECT_EQ(properties_, (CFDictionary{{"kept", 1}}));
}

TEST_F(PropertyValues, AReplyWithoutAVariantFails) {
  EXPECT_EQ(read([](sd_bus_message*) { return 0; }), kIOReturnError);
  EXPECT_EQ(properties_, (CFDictionary{{"kept", 1}}));
}

TEST_F(PropertyValues, AnErrorReplyFails) {
  EXPECT_EQ(read([](sd_bus_message*) { return -1; }), kIOReturnError);
  EXPECT_EQ(properties_, (CFDictionary{{"kept", 1}}));
}

}  // namespace
