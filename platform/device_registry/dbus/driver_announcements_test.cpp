// SPDX-License-Identifier: MIT
// Drivers and services that appear and disappear on the bus, as notifications.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <cstdlib>

#include "platform/device_registry/dbus/testing/dbus_fixture.h"
#include "platform/log/memory/memory_log.h"
#include "platform/posix/posix.h"
#include "protocol/dispatch.h"
#include "protocol/services.h"
#include "tests/support/silent_bus.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

// The interfaces of a service of the test class ("a{sa{sv}}").
int appendService(sd_bus_message* m) {
  return sd_bus_message_append(m, "a{sa{sv}}", 1, kServiceInterface, 1, kClassNameProperty, "s",
                               kTestClass);
}

class DriverAnnouncements : public DbusTest {
 protected:
  // The client's counts after it received everything the driver has sent.
  void expectQuiet(int come, int gone) {
    ASSERT_TRUE(arriveFrom(driver_));
    client_.source().perform();
    EXPECT_EQ(client_.come, come);
    EXPECT_EQ(client_.gone, gone);
    EXPECT_FALSE(client_.isReady());
  }
};

TEST(SessionBus, AMissingBusIsNamedAndTheRegistryIsEmpty) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  memory_log::reset();
  DbusClient client;
  EXPECT_EQ(client.open(), kIOReturnSuccess);
  EXPECT_EQ(client.come, 0);
  EXPECT_FALSE(client.isReady());
  EXPECT_EQ(memory_log::takeErrors(),
            "device_registry_dbus_test: cannot reach the session bus: No such file or directory; "
            "no interface can be found\n");
}

TEST(SessionBus, AMissingBusThatCannotAppearFailsTheRegistry) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:abstract=/nonexistent/vx310", 1);
  mach_port_t port = 1;
  EXPECT_NE(IOMasterPort(&port), kIOReturnSuccess);
  EXPECT_EQ(port, 0u);
}

TEST(SessionBus, WithoutAnAddressTheVariablesForItAreNamed) {
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  unsetenv("XDG_RUNTIME_DIR");
  mach_port_t port = 1;
  memory_log::reset();
  EXPECT_NE(IOMasterPort(&port), kIOReturnSuccess);
  EXPECT_EQ(memory_log::takeErrors(),
            "device_registry_dbus_test: cannot reach the session bus: neither "
            "DBUS_SESSION_BUS_ADDRESS nor XDG_RUNTIME_DIR is set; no interface can be found\n");
}

TEST(SessionBus, ABusThatNeverAnswersIsWaitedForWithinTheLimitAndNamed) {
  const test_support::SilentBus bus;
  bus.enter();
  memory_log::reset();
  DbusClient client;
  EXPECT_LE(millisecondsOf([&] { EXPECT_EQ(client.open(), kIOReturnSuccess); }), kCallBoundMs);
  EXPECT_THAT(memory_log::takeErrors(), testing::HasSubstr("timed out"));
}

TEST_F(DriverAnnouncements, WithoutADriverTheRegistryOpensAtOnceAndFindsItLater) {
  EXPECT_LE(millisecondsOf([this] { EXPECT_EQ(client_.open(), kIOReturnSuccess); }),
            kRegistryCallLimitMs);
  EXPECT_EQ(client_.come, 0);
  startDriver();
  EXPECT_TRUE(client_.waitUntil([this] { return client_.come == 1; }));
}

TEST_F(DriverAnnouncements, AnInstalledDriverIsStarted) {
  const std::string started = bus_.folder() + "/started";
  ASSERT_EQ(mkfifo(started.c_str(), 0600), 0);
  const FileDescriptor reader(open(started.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  bus_.makeActivatable(kDriverName, "/bin/sh -c \"echo > " + started + "\"");
  EXPECT_LE(millisecondsOf([this] { EXPECT_EQ(client_.open(), kIOReturnSuccess); }), kCallBoundMs);
  pollfd watched{reader.get(), POLLIN, 0};
  EXPECT_EQ(poll(&watched, 1, kArrivalLimitMs), 1);
}

TEST_F(DriverAnnouncements, ADriverThatIsSlowAtFirstIsListedWhenItAnswers) {
  startDriver();
  std::promise<void> release = hang();
  EXPECT_LE(millisecondsOf([this] { EXPECT_EQ(client_.open(), kIOReturnSuccess); }), kCallBoundMs);
  EXPECT_EQ(client_.come, 0);
  release.set_value();
  EXPECT_TRUE(client_.waitUntil([this] { return client_.come == 1; }));
}

TEST_F(DriverAnnouncements, LosingTheNameTerminatesAllServicesAndClaimingItListsThemAgain) {
  startAll();
  driver_.perform([](Driver& driver) { driver.dropName(); });
  EXPECT_TRUE(client_.waitUntil([this] { return client_.gone == 1; }));
  driver_.perform([](Driver& driver) { driver.claimName(); });
  EXPECT_TRUE(client_.waitUntil([this] { return client_.come == 2; }));
  EXPECT_NE(client_.services.front(), client_.services.back());
  CFDictionary properties;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.services.back(), &properties),
            kIOReturnSuccess);
}

TEST_F(DriverAnnouncements, ANewDriverIsAskedThoughThePreviousDriverHung) {
  startAll();
  std::promise<void> release = hang();
  CFDictionary properties;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.service(), &properties), kIOReturnTimeout);
  release.set_value();
  driver_.perform([](Driver& driver) {
    driver.dropName();
    driver.claimName();
  });
  EXPECT_TRUE(client_.waitUntil([this] { return client_.come == 2; }));
  EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.services.back(), &properties),
            kIOReturnSuccess);
}

TEST_F(DriverAnnouncements, LosingTheBusTerminatesAllServicesAndTheSourceIsNotReadyAgain) {
  startAll();
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(client_.service(), kDispatchConnectionType, &connection),
            kIOReturnSuccess);
  bus_.stop();
  EXPECT_TRUE(client_.waitUntil([this] { return client_.gone == 1; }));
  EXPECT_FALSE(client_.isReady());
  io_connect_t second = 0;
  std::size_t size = 0;
  EXPECT_EQ(IOServiceOpen(client_.service(), kDispatchConnectionType, &second), kIOReturnNoDevice);
  EXPECT_EQ(IOConnectMethodStructureIStructureO(connection, 0, {}, {}, &size), kIOReturnNoDevice);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnSuccess);
}

TEST_F(DriverAnnouncements, CallsFailAtOnceWhenTheBusIsLostButNotYetReceived) {
  startAll();
  bus_.stop();
  CFDictionary properties;
  io_connect_t connection = 0;
  EXPECT_LE(millisecondsOf([&] {
              EXPECT_NE(IORegistryEntryCreateCFProperties(client_.service(), &properties),
                        kIOReturnSuccess);
              EXPECT_NE(IOServiceOpen(client_.service(), kDispatchConnectionType, &connection),
                        kIOReturnSuccess);
            }),
            kAtOnceMs);
}

TEST_F(DriverAnnouncements, AfterLosingTheBusTheRegistryOpensOnAnother) {
  startAll();
  bus_.stop();
  EXPECT_TRUE(client_.waitUntil([this] { return client_.gone == 1; }));
  client_.close();
  test_support::PrivateBus other;
  EXPECT_EQ(client_.open(), kIOReturnSuccess);
}

TEST_F(DriverAnnouncements, AServiceAnnouncedTwiceIsPublishedOnce) {
  startAll();
  driver_.perform(
      [](Driver& driver) { driver.announce(std::string(kDriverPath) + "/Device", appendService); });
  expectQuiet(1, 0);
}

TEST_F(DriverAnnouncements, RemovalsOfUnknownServicesAndOtherInterfacesAreIgnored) {
  startAll();
  driver_.perform([](Driver& driver) {
    driver.announceRemoval(std::string(kDriverPath) + "/Unknown", kServiceInterface);
    driver.announceRemoval(std::string(kDriverPath) + "/Device", "com.example.Other");
  });
  expectQuiet(1, 0);
}

TEST_F(DriverAnnouncements, ObjectsThatAreNoServicesAreIgnored) {
  startAll();
  driver_.perform([](Driver& driver) {
    const std::string below = std::string(kDriverPath) + "/";
    driver.announce(below + "A", [](sd_bus_message* m) {
      return sd_bus_message_append(m, "a{sa{sv}}", 1, "com.example.Other", 1, kClassNameProperty,
                                   "s", kTestClass);
    });
    driver.announce(below + "B",
                    [](sd_bus_message* m) { return sd_bus_message_append(m, "a{sa{sv}}", 0); });
    driver.announce("/com/vantrel/Driver10/C", appendService);
    driver.announce(kDriverPath, appendService);
  });
  expectQuiet(1, 0);
}

TEST_F(DriverAnnouncements, AServiceAmongOtherInterfacesIsFound) {
  startAll();
  driver_.perform([](Driver& driver) {
    driver.announce(std::string(kDriverPath) + "/Second", [](sd_bus_message* m) {
      return sd_bus_message_append(m, "a{sa{sv}}", 3, "a.Before", 1, "X", "(ii)", 1, 2,
                                   kServiceInterface, 2, "Properties", "a{sv}", 0,
                                   kClassNameProperty, "s", kTestClass, "z.After", 0);
    });
  });
  expectQuiet(2, 0);
}

TEST_F(DriverAnnouncements, AServiceWithoutAUsableClassNameMatchesNothing) {
  const auto withClassName = [](std::function<int(sd_bus_message*)> append) {
    Service service;
    service.announce = std::move(append);
    return service;
  };
  driver_.perform([&](Driver& driver) {
    driver.publish("Missing", withClassName([](sd_bus_message* m) {
                     return sd_bus_message_append(m, "a{sa{sv}}", 1, kServiceInterface, 0);
                   }));
    driver.publish("Number", withClassName([](sd_bus_message* m) {
                     return sd_bus_message_append(m, "a{sa{sv}}", 1, kServiceInterface, 1,
                                                  kClassNameProperty, "u", 5);
                   }));
    driver.publish("Empty", withClassName([](sd_bus_message* m) {
                     return sd_bus_message_append(m, "a{sa{sv}}", 1, kServiceInterface, 1,
                                                  kClassNameProperty, "s", "");
                   }));
  });
  startAll();
  expectQuiet(1, 0);
}

TEST_F(DriverAnnouncements, AnnouncementsOfTheWrongShapeAreIgnored) {
  startAll();
  ASSERT_EQ(client_.addInterest(client_.service()), kIOReturnSuccess);
  driver_.perform([](Driver& driver) {
    const auto text = [](sd_bus_message* m) { return sd_bus_message_append(m, "s", "x"); };
    const auto nothing = [](sd_bus_message*) { return 0; };
    for (const char* member : {"InterfacesAdded", "InterfacesRemoved"}) {
      driver.sendSignal(kDriverPath, kObjectManagerInterface, member, text);
      driver.sendSignal(kDriverPath, kObjectManagerInterface, member, nothing);
      driver.sendSignal(kDriverPath, kObjectManagerInterface, member, [](sd_bus_message* m) {
        return sd_bus_message_append(m, "os", (std::string(kDriverPath) + "/Device").c_str(),
                                     kServiceInterface);
      });
    }
    const std::string device = std::string(kDriverPath) + "/Device";
    driver.sendSignal(device, kServiceInterface, kMessageSignal, text);
    driver.sendSignal(device, kServiceInterface, kMessageSignal, nothing);
    driver.sendSignal(device, kServiceInterface, kMessageSignal,
                      [](sd_bus_message* m) { return sd_bus_message_append(m, "u", 5); });
    driver.sendMessage("Unknown", 6, Bytes{});
  });
  expectQuiet(1, 0);
  EXPECT_THAT(client_.messages, testing::IsEmpty());
}

TEST_F(DriverAnnouncements, AMissingListOrAListOfTheWrongShapeCountsAsEmpty) {
  const std::vector<std::function<int(sd_bus_message*)>> listings{
      [](sd_bus_message* m) { return sd_bus_message_append(m, "s", "x"); },
      [](sd_bus_message*) { return 0; }, [](sd_bus_message*) { return -1; }};
  startDriver();
  for (const auto& listing : listings) {
    driver_.perform([&](Driver& driver) { driver.scriptListing(listing); });
    EXPECT_LE(millisecondsOf([this] { EXPECT_EQ(client_.open(), kIOReturnSuccess); }),
              kRegistryCallLimitMs);
    EXPECT_EQ(client_.come, 0);
    client_.close();
  }
}

TEST_F(DriverAnnouncements, AMessagesArgumentIsPassedOnUnchangedHoweverShort) {
  startAll();
  ASSERT_EQ(client_.addInterest(client_.service()), kIOReturnSuccess);
  driver_.perform([](Driver& driver) {
    driver.sendMessage("Device", kDriverMessage, Bytes{});
    driver.sendMessage("Device", kDriverMessage, Bytes{36, 0, 0});
  });
  EXPECT_TRUE(client_.waitUntil([this] { return client_.messages.size() == 2; }));
  EXPECT_THAT(client_.messages,
              ElementsAre(Pair(kDriverMessage, Bytes{}), Pair(kDriverMessage, Bytes{36, 0, 0})));
}

// Signals can be addressed to one connection, past all matches.
TEST_F(DriverAnnouncements, AnnouncementsOfAnotherSenderAreIgnored) {
  startAll();
  ASSERT_EQ(client_.addInterest(client_.service()), kIOReturnSuccess);
  const auto sendToAll = [](sd_bus* bus, const char* path, const char* interface,
                            const char* member, const auto& append) {
    for (int number = 0; number < 20; ++number) {
      const std::string name = ":1." + std::to_string(number);
      sd_bus_message* m = nullptr;
      sd_bus_message_new_signal(bus, &m, path, interface, member);
      append(m);
      sd_bus_send_to(bus, m, name.c_str(), nullptr);
      sd_bus_message_unref(m);
    }
    sd_bus_flush(bus);
  };
  const std::string device = std::string(kDriverPath) + "/Device";
  const std::string forged = std::string(kDriverPath) + "/Forged";
  const auto forge = [&](sd_bus* bus) {
    sendToAll(bus, kDriverPath, kObjectManagerInterface, "InterfacesAdded", [&](sd_bus_message* m) {
      sd_bus_message_append(m, "o", forged.c_str());
      appendService(m);
    });
    sendToAll(bus, device.c_str(), kServiceInterface, kMessageSignal,
              [](sd_bus_message* m) { sd_bus_message_append(m, "uay", 1, 1, 5); });
    sendToAll(bus, kDriverPath, kObjectManagerInterface, "InterfacesRemoved",
              [&](sd_bus_message* m) {
                sd_bus_message_append(m, "oas", device.c_str(), 1, kServiceInterface);
              });
    // Once the bus answers this, it has delivered all of the above.
    ASSERT_GE(sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                 "org.freedesktop.DBus", "GetId", nullptr, nullptr, ""),
              0);
  };
  scripted_driver::DriverThread other(bus_.address());
  other.perform([&](Driver& driver) { forge(driver.bus()); });
  expectQuiet(1, 0);
  EXPECT_THAT(client_.messages, testing::IsEmpty());
  // Sent by the driver, the same announcements take effect: the forgery was a valid one.
  driver_.perform([&](Driver& driver) { forge(driver.bus()); });
  EXPECT_TRUE(client_.waitUntil([this] { return client_.gone == 1; }));
  EXPECT_EQ(client_.come, 2);
  EXPECT_EQ(client_.messages.size(), 1u);
}

TEST_F(DriverAnnouncements, ServicesPresentAtFirstAreListedInTheOrderOfTheirNumbers) {
  const std::vector<std::string> names{"Device0",   "Device2",    "Device09",
                                       "Device9",   "Device10",   "Device010x",
                                       "Device100", "Device100a", "Devicf"};
  driver_.perform([&](Driver& driver) {
    for (std::size_t i = names.size(); i-- > 0;) {
      Service service = sane();
      service.properties = {{"Name", names[i]}};
      driver.publish(names[i], service);
    }
    driver.claimName();
  });
  ASSERT_EQ(client_.open(), kIOReturnSuccess);
  std::vector<std::string> found;
  for (const io_service_t service : client_.services) {
    CFDictionary properties;
    ASSERT_EQ(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnSuccess);
    found.push_back(*CFDictionaryGet<std::string>(properties, "Name"));
  }
  EXPECT_EQ(found, names);
}

TEST_F(DriverAnnouncements, TwoHundredServicesAreListedWithoutACallForEach) {
  constexpr int kMany = 200;
  driver_.perform([](Driver& driver) {
    for (int i = 0; i < kMany; ++i) {
      Service service = sane();
      service.properties = {{kVendorIdKey, kVX310VendorId}, {kProductIdKey, i}};
      driver.publish("Device" + std::to_string(i), service);
    }
    driver.claimName();
  });
  EXPECT_LE(millisecondsOf([this] { EXPECT_EQ(client_.open(), kIOReturnSuccess); }), kCallBoundMs);
  EXPECT_EQ(client_.come, kMany);
  driver_.perform([](Driver& driver) { EXPECT_EQ(driver.callsToServices(), 0); });

  std::vector<io_connect_t> connections;
  for (const io_service_t service : client_.services) {
    CFDictionary properties;
    ASSERT_EQ(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnSuccess);
    ASSERT_EQ(IOServiceOpen(service, kDispatchConnectionType, &connections.emplace_back()),
              kIOReturnSuccess);
  }
  for (const io_connect_t connection : connections) {
    std::array<std::uint8_t, 4> record{1, 2, 3, 4};
    std::size_t size = 0;
    EXPECT_EQ(IOConnectMethodStructureIStructureO(connection, 0, record, record, &size),
              kIOReturnSuccess);
    IOServiceClose(connection);
  }
  driver_.perform([](Driver& driver) { driver.dropName(); });
  EXPECT_TRUE(client_.waitUntil([this] { return client_.gone == kMany; }));
}

TEST_F(DriverAnnouncements, AFloodOfMessagesArrivesInSeveralTurnsAndInOrder) {
  constexpr std::uint32_t kMany = 3000;
  startAll();
  ASSERT_EQ(client_.addInterest(client_.service()), kIOReturnSuccess);
  driver_.perform([](Driver& driver) {
    for (std::uint32_t i = 0; i < kMany; ++i) driver.sendMessage("Device", i, Bytes{});
  });
  ASSERT_TRUE(client_.waitUntil([this] { return client_.messages.size() == kMany; }));
  for (std::uint32_t i = 0; i < kMany; ++i) EXPECT_EQ(client_.messages[i].first, i);
}

}  // namespace
