// SPDX-License-Identifier: MIT
// What clients see of the driver service on the bus.
#include <gmock/gmock.h>

#include <csignal>

#include "driver/testing/driver_session.h"
#include "protocol/services.h"
#include "tests/support/silent_bus.h"

namespace driver {
namespace {

using testing::Answer;
using testing::ChildProcess;
using ::testing::Contains;
using testing::DriverSession;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::SeenMessage;
using ::testing::SizeIs;

class RegistryService : public DriverSession {
 protected:
  // A driver's own message with this notification number.
  static std::vector<std::uint8_t> argument(std::uint8_t notification) {
    std::vector<std::uint8_t> bytes(kDriverMessageSize);
    bytes[0] = kDriverMessageSize;
    bytes[4] = notification;
    return bytes;
  }

  // Runs the driver program with arguments that make it end at once.
  int statusOf(const std::vector<std::string>& words) {
    std::vector<std::string> all = {VX310_DRIVER};
    all.insert(all.end(), words.begin(), words.end());
    ChildProcess program(all, environment());
    output_ = program.readOutput();
    errors_ = program.readErrors();
    return program.wait().value_or(-1);
  }

  std::string output_;
  std::string errors_;
};

TEST_F(RegistryService, PublishesTheInterfaceBeforeItOwnsItsName) {
  startDriver();
  const auto all = services();
  ASSERT_THAT(all, SizeIs(1));
  const auto& service = all.begin()->second;
  EXPECT_EQ(service.className, "LumKernelDeviceVantrelVX310");
  EXPECT_EQ(service.productName, "VX-310");
  const std::map<std::string, std::int64_t> numbers = {
      {"idVendor", 0x7F21}, {"idProduct", 0x5D12}, {"RoutingOut0", 0}, {"RoutingOut1", 1},
      {"RoutingIn0", 0},    {"RoutingIn1", 1},     {"RoutingIn2", 2}};
  EXPECT_EQ(service.numbers, numbers);
  EXPECT_THAT(service.orbekUid, IsEmpty());
}

TEST_F(RegistryService, UnpluggedItStartsWithoutAnInterface) {
  startDriver({"--unplugged"});
  EXPECT_THAT(services(), IsEmpty());
}

TEST_F(RegistryService, PluggingAddsAnObjectAndUnpluggingRemovesIt) {
  startDriver({"--unplugged"});
  EXPECT_EQ(control({"plug"}), "");
  catchUp();
  const std::string path = onlyService();
  EXPECT_THAT(added_, ElementsAre(path));
  EXPECT_EQ(control({"unplug"}), "");
  catchUp();
  EXPECT_THAT(removed_, ElementsAre(path));
  EXPECT_THAT(services(), IsEmpty());
}

TEST_F(RegistryService, APathIsNeverReused) {
  startDriver();
  const std::string first = onlyService();
  control({"unplug"});
  control({"plug"});
  EXPECT_NE(onlyService(), first);
}

TEST_F(RegistryService, PluggingInAPluggedInterfaceChangesNothing) {
  startDriver();
  const std::string path = onlyService();
  EXPECT_EQ(control({"plug"}), "");
  EXPECT_EQ(onlyService(), path);
}

TEST_F(RegistryService, ASecondInterfaceStandsBesideTheFirst) {
  startDriver({"--count", "2"});
  EXPECT_THAT(services(), SizeIs(2));
  EXPECT_EQ(control({"unplug"}, 1), "");
  EXPECT_THAT(services(), SizeIs(1));
}

TEST_F(RegistryService, TheLastOfCountAndUnpluggedWins) {
  startDriver({"--count", "1", "--unplugged", "--count", "2"});
  EXPECT_THAT(services(), SizeIs(2));
  driver().signal(SIGTERM);
  EXPECT_EQ(driver().wait(), 0);
  EXPECT_TRUE(waitUntil([this] { return !nameOwned_; }));
  startDriver({"--count", "2", "--unplugged"});
  EXPECT_THAT(services(), IsEmpty());
}

TEST_F(RegistryService, TwoHundredInterfacesAllAnswer) {
  startDriver({"--count", "200"});
  const auto all = services();
  ASSERT_THAT(all, SizeIs(200));
  for (const auto& [path, service] : all) {
    const auto connection = open(path);
    ASSERT_TRUE(connection) << path << ": " << openError_;
    EXPECT_EQ(request(connection, kGetCountConfigurations).word(0), 4u) << path;
  }
}

TEST_F(RegistryService, AChangeFromOutsideSendsADriverMessage) {
  startDriver();
  const std::string path = onlyService();
  EXPECT_EQ(control({"digital-input", "invalid"}), "");
  catchUp();
  ASSERT_THAT(messages_, SizeIs(1));
  EXPECT_EQ(messages_[0].path, path);
  EXPECT_EQ(messages_[0].type, 0xe0000130u);
  EXPECT_EQ(messages_[0].argument, argument(kDigitalInputChanged));
}

TEST_F(RegistryService, AnyNotificationNumberCanBeSent) {
  startDriver();
  EXPECT_EQ(control({"notify", "35"}), "");
  catchUp();
  ASSERT_THAT(messages_, SizeIs(1));
  EXPECT_EQ(messages_[0].argument, argument(35));
}

TEST_F(RegistryService, ARoutingSetByARecordChangesTheProperties) {
  startDriver();
  const std::string path = onlyService();
  const auto connection = open(path);
  EXPECT_EQ(request(connection, kSetRouting, {1, 2, 3}).word(2), 3u);
  catchUp();
  EXPECT_THAT(propertiesChanged_, ElementsAre(path));
  EXPECT_EQ(services()[path].numbers["RoutingIn2"], 3);
  ASSERT_THAT(messages_, SizeIs(1));
  EXPECT_EQ(messages_[0].argument, argument(kOptionsChanged));
}

TEST_F(RegistryService, AChangedSampleRateIsNotAnnouncedAsAPropertyChange) {
  startDriver();
  control({"sample-rate", "96000"});
  catchUp();
  EXPECT_THAT(messages_, SizeIs(1));
  EXPECT_THAT(propertiesChanged_, IsEmpty());
}

TEST_F(RegistryService, OtherIdsReconnectTheInterface) {
  startDriver();
  const std::string before = onlyService();
  EXPECT_EQ(control({"ids", "0x7F21", "0x5D13"}), "");
  catchUp();
  EXPECT_THAT(removed_, ElementsAre(before));
  const std::string after = onlyService();
  EXPECT_NE(after, before);
  EXPECT_EQ(services()[after].numbers["idProduct"], 0x5D13);
}

TEST_F(RegistryService, AnotherSpeedReconnectsTheInterfaceAndTheSameSpeedDoesNot) {
  startDriver();
  const std::string before = onlyService();
  EXPECT_EQ(control({"usb", "2.0"}), "");
  catchUp();
  EXPECT_THAT(removed_, IsEmpty());
  EXPECT_EQ(control({"usb", "1.1"}), "");
  catchUp();
  EXPECT_THAT(removed_, ElementsAre(before));
  EXPECT_NE(onlyService(), before);
}

TEST_F(RegistryService, IdsOfAnUnpluggedInterfaceShowWhenItIsPluggedIn) {
  startDriver();
  control({"unplug"});
  control({"ids", "1", "2"});
  EXPECT_THAT(services(), IsEmpty());
  control({"plug"});
  EXPECT_EQ(services().begin()->second.numbers["idVendor"], 1);
}

TEST_F(RegistryService, TheSiblingFamilyPublishesItsClassIdsAndUid) {
  startDriver();
  EXPECT_EQ(control({"class", "orbek"}), "");
  const auto all = services();
  ASSERT_THAT(all, SizeIs(1));
  auto service = all.begin()->second;
  EXPECT_EQ(service.className, "LumKernelDeviceOrbekTalvo4");
  EXPECT_EQ(service.numbers["idVendor"], 0x7F33);
  EXPECT_EQ(service.numbers["idProduct"], 8);
  EXPECT_THAT(service.orbekUid, ElementsAre(1, 0, 0, 0, 0, 0, 0x12, 0x5D));
}

TEST_F(RegistryService, CommandsForUnknownOrUnpluggedInterfacesFail) {
  startDriver();
  EXPECT_EQ(control({"unplug"}, 1), "com.vantrel.VirtualInterfaces1.Error.NoInterface");
  control({"unplug"});
  EXPECT_EQ(control({"fault", "stall"}), "com.vantrel.VirtualInterfaces1.Error.NotPlugged");
}

TEST_F(RegistryService, WrongSettingsAndFaultsAreRefused) {
  startDriver();
  EXPECT_EQ(control({"sample-rate", "32000"}), "org.freedesktop.DBus.Error.InvalidArgs");
  EXPECT_EQ(control({"clock", "digital"}), "com.vantrel.VirtualInterfaces1.Error.Refused");
  EXPECT_EQ(control({"fault", "sideways"}), "org.freedesktop.DBus.Error.InvalidArgs");
}

TEST_F(RegistryService, ASecondDriverEndsBecauseTheNameIsTaken) {
  startDriver();
  EXPECT_EQ(statusOf({}), 1);
  EXPECT_EQ(errors_, "vx310-driver: another driver service is running already\n");
  EXPECT_THAT(services(), SizeIs(1));
}

TEST_F(RegistryService, SigtermEndsItCleanly) {
  startDriver();
  driver().signal(SIGTERM);
  EXPECT_EQ(driver().wait(), 0);
  EXPECT_TRUE(waitUntil([this] { return !nameOwned_; }));
}

TEST_F(RegistryService, SigintEndsItCleanly) {
  startDriver();
  driver().signal(SIGINT);
  EXPECT_EQ(driver().wait(), 0);
}

TEST_F(RegistryService, EndsWhenTheBusEnds) {
  startDriver();
  endBus();
  EXPECT_EQ(driver().wait(), 1);
  EXPECT_EQ(driver().readErrors(), "vx310-driver: the session bus has gone\n");
}

TEST_F(RegistryService, EndsAtOnceWithoutABus) {
  endBus();
  EXPECT_EQ(statusOf({}), 1);
  EXPECT_THAT(errors_, HasSubstr("vx310-driver: cannot"));
}

TEST_F(RegistryService, EndsWithinSecondsWhenTheBusDoesNotAnswer) {
  const test_support::SilentBus bus;
  bus.enter();
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(statusOf({}), 1);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(7));
  EXPECT_THAT(errors_, HasSubstr("vx310-driver: cannot reach the session bus"));
}

TEST_F(RegistryService, EndsWithUnsentMessagesOnAHungBus) {
  startDriver();
  const auto connection = open(onlyService());
  // Each request changes the properties, which are told to the clients with the long name among
  // them: together several times what a socket holds.
  ASSERT_EQ(control({"product-name", std::string(60'000, 'x')}), "");
  hangBus();
  for (std::uint32_t i = 0; i < 1000; ++i) {
    ASSERT_EQ(request(connection, kSetRouting, {0, 0, i % 2}).kind, testing::Answer::Kind::packet);
  }
  driver().signal(SIGTERM);
  EXPECT_EQ(driver().wait(std::chrono::seconds(5)), 0);
}

TEST_F(RegistryService, HelpAndVersionAreShown) {
  EXPECT_EQ(statusOf({"--help"}), 0);
  EXPECT_THAT(output_, HasSubstr("Usage: vx310-driver"));
  EXPECT_EQ(statusOf({"-h"}), 0);
  EXPECT_THAT(output_, HasSubstr("Usage: vx310-driver"));
  EXPECT_EQ(statusOf({"--version"}), 0);
  EXPECT_THAT(output_, HasSubstr("vx310-driver 1."));
}

TEST_F(RegistryService, AWrongCommandLineIsStatus2) {
  EXPECT_EQ(statusOf({"--sideways"}), 2);
  EXPECT_THAT(errors_, HasSubstr("--sideways"));
  EXPECT_THAT(errors_, HasSubstr("\nTry 'vx310-driver --help'.\n"));
  EXPECT_EQ(statusOf({"sideways"}), 2);
  EXPECT_EQ(statusOf({"--count", ""}), 2);
  EXPECT_EQ(statusOf({"--count"}), 2);
  EXPECT_EQ(statusOf({"--count", "many"}), 2);
  EXPECT_EQ(statusOf({"--count", "-1"}), 2);
  EXPECT_EQ(statusOf({"--count", "1025"}), 2);
  EXPECT_THAT(errors_, HasSubstr("vx310-driver: --count: '1025' is no number up to 1024\n"));
}

}  // namespace
}  // namespace driver
