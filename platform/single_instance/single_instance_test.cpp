// SPDX-License-Identifier: MIT
#include "platform/single_instance/single_instance.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/run_loop/manual/manual_run_loop.h"
#include "tests/support/private_bus.h"

namespace {

using session_bus::Bus;
using session_bus::BusMessage;
using session_bus::BusSlot;
using session_bus::Deadline;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kName = "com.example.Viewer";
constexpr const char* kPath = "/com/example/Viewer";
constexpr const char* kInterface = "org.freedesktop.Application";
constexpr int kPatienceMs = 10'000;

// A program that was started first, and a client that sends Activate calls of any content.
class RunningInstance : public testing::Test {
 protected:
  RunningInstance() {
    EXPECT_FALSE(first_->showRunningInstance());
    first_->watch();
    EXPECT_GE(session_bus::openSessionBus(kPatienceMs, &client_), 0);
  }
  ~RunningInstance() override { manual_run_loop::reset(); }

  // Appends the call's arguments; a negative errno on failure.
  using Append = std::function<int(sd_bus_message*)>;

  // The error's name, empty on success.
  std::string activate(const Append& append) {
    sd_bus_message* created = nullptr;
    EXPECT_GE(sd_bus_message_new_method_call(client_.get(), &created, kName, kPath, kInterface,
                                             "Activate"),
              0);
    const BusMessage call(created);
    EXPECT_GE(append(created), 0);
    sd_bus_slot* slot = nullptr;
    std::optional<std::string> error;
    EXPECT_GE(sd_bus_call_async(client_.get(), &slot, created, onReply, &error, 0), 0);
    const BusSlot pending(slot);
    const Deadline deadline(kPatienceMs);
    while (!error && !deadline.hasPassed()) {
      manual_run_loop::performAll();
      if (sd_bus_process(client_.get(), nullptr) > 0) continue;
      pollfd ready[] = {{first_->descriptor(), POLLIN, 0},
                        {sd_bus_get_fd(client_.get()), POLLIN, 0}};
      if (!error) ::poll(ready, 2, deadline.milliseconds());
    }
    return error.value_or("no reply");
  }

  static int onReply(sd_bus_message* reply, void* error, sd_bus_error*) noexcept {
    const sd_bus_error* returned = sd_bus_message_get_error(reply);
    *static_cast<std::optional<std::string>*>(error) = returned ? returned->name : "";
    return 1;
  }

  // An entry of the platform data: a text under `key`.
  static int appendText(sd_bus_message* call, const char* key, const std::string& text) {
    return sd_bus_message_append(call, "{sv}", key, "s", text.c_str());
  }

  // As activate(), with an a{sv} whose entries `append` adds.
  std::string activateWith(const Append& append) {
    return activate([&append](sd_bus_message* call) {
      int result = sd_bus_message_open_container(call, 'a', "{sv}");
      if (result >= 0) result = append(call);
      return result < 0 ? result : sd_bus_message_close_container(call);
    });
  }

  test_support::PrivateBus session_;
  std::vector<std::string> tokens_;
  std::shared_ptr<SingleInstance> first_ = std::make_shared<SingleInstance>(
      kName, [this](std::string_view token) { tokens_.emplace_back(token); });
  Bus client_;
};

TEST_F(RunningInstance, WithoutPlatformDataShowsItsWindowWithoutAToken) {
  EXPECT_EQ(activateWith([](sd_bus_message*) { return 0; }), "");
  EXPECT_THAT(tokens_, ElementsAre(""));
}

TEST_F(RunningInstance, TakesTheTokenFromAmongOtherPlatformData) {
  EXPECT_EQ(activateWith([](sd_bus_message* call) {
              int result = appendText(call, "desktop-startup-id", "start");
              if (result >= 0) {
                result = sd_bus_message_append(call, "{sv}", "windows", "a(ui)", 2, 1u, 2, 3u, 4);
              }
              if (result >= 0) result = appendText(call, "activation-token", "token");
              if (result >= 0) result = appendText(call, "", "after it");
              return result;
            }),
            "");
  EXPECT_THAT(tokens_, ElementsAre("token"));
}

TEST_F(RunningInstance, TakesTheLastOfSeveralTokens) {
  EXPECT_EQ(activateWith([](sd_bus_message* call) {
              const int result = appendText(call, "activation-token", "first");
              return result < 0 ? result : appendText(call, "activation-token", "last");
            }),
            "");
  EXPECT_THAT(tokens_, ElementsAre("last"));
}

TEST_F(RunningInstance, SkipsATokenThatIsNoText) {
  EXPECT_EQ(activateWith([](sd_bus_message* call) {
              int result = sd_bus_message_append(call, "{sv}", "activation-token", "t",
                                                 std::uint64_t{0xFFFFFFFFFFFFFFFF});
              if (result >= 0) {
                result = sd_bus_message_append(call, "{sv}", "activation-token", "as", 1, "token");
              }
              if (result >= 0) {
                result = sd_bus_message_append(call, "{sv}", "activation-token", "v", "s", "token");
              }
              return result;
            }),
            "");
  EXPECT_THAT(tokens_, ElementsAre(""));
}

TEST_F(RunningInstance, TakesATokenAfterOneThatIsNoText) {
  EXPECT_EQ(activateWith([](sd_bus_message* call) {
              const int result = sd_bus_message_append(call, "{sv}", "activation-token", "b", 1);
              return result < 0 ? result : appendText(call, "activation-token", "token");
            }),
            "");
  EXPECT_THAT(tokens_, ElementsAre("token"));
}

TEST_F(RunningInstance, TakesNoTokenOfMoreThan256Characters) {
  for (const std::size_t length : {256u, 257u, 1'000'000u}) {
    EXPECT_EQ(activateWith([&](sd_bus_message* call) {
                return appendText(call, "activation-token", std::string(length, 'x'));
              }),
              "");
  }
  EXPECT_THAT(tokens_, ElementsAre(std::string(256, 'x'), "", ""));
}

TEST_F(RunningInstance, FindsTheTokenBehindManyEntries) {
  EXPECT_EQ(activateWith([](sd_bus_message* call) {
              int result = 0;
              for (int i = 0; i < 10'000 && result >= 0; ++i) {
                result = appendText(call, std::to_string(i).c_str(), "activation-token");
              }
              return result < 0 ? result : appendText(call, "activation-token", "token");
            }),
            "");
  EXPECT_THAT(tokens_, ElementsAre("token"));
}

TEST_F(RunningInstance, RefusesArgumentsOfAnotherType) {
  EXPECT_EQ(activate([](sd_bus_message*) { return 0; }), SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_EQ(activate([](sd_bus_message* call) {
              return sd_bus_message_append(call, "s", "activation-token");
            }),
            SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_EQ(activate([](sd_bus_message* call) {
              return sd_bus_message_append(call, "a{ss}", 1, "activation-token", "token");
            }),
            SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_THAT(tokens_, IsEmpty());
}

}  // namespace
