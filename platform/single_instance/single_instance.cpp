// SPDX-License-Identifier: MIT
#include "platform/single_instance/single_instance.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace {

constexpr const char* kInterface = "org.freedesktop.Application";
constexpr const char* kActivate = "Activate";
constexpr const char* kTokenKey = "activation-token";
constexpr const char* kTokenVariable = "XDG_ACTIVATION_TOKEN";

constexpr int kConnectLimitMs = 250;
// Messages handled in one turn of the run loop.
constexpr int kReceiveLimit = 1000;
// Longer tokens are not a desktop's.
constexpr std::size_t kTokenLimit = 256;
// A panel that has just started answers after its pauses, about half a second.
constexpr std::uint64_t kActivateLimitUs = 2'000'000;

// Reads the token from the platform data, an a{sv}; empty when it holds none.
std::string readToken(sd_bus_message* message) {
  std::string token;
  if (sd_bus_message_enter_container(message, 'a', "{sv}") < 0) return token;
  const char* key = nullptr;
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0 &&
         sd_bus_message_read(message, "s", &key) > 0) {
    const char* value = nullptr;
    if (key == std::string_view(kTokenKey) && sd_bus_message_read(message, "v", "s", &value) > 0) {
      token = std::string_view(value).substr(0, kTokenLimit + 1);
    } else if (sd_bus_message_skip(message, "v") < 0) {
      break;
    }
    if (sd_bus_message_exit_container(message) < 0) break;
  }
  return token;
}

}  // namespace

const sd_bus_vtable SingleInstance::kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES(kActivate, "a{sv}", SD_BUS_PARAM(platform_data), SD_BUS_NO_RESULT, ,
                             &SingleInstance::onActivate, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

SingleInstance::SingleInstance(std::string name, Activate activate)
    : name_(std::move(name)), path_("/" + name_), activate_(std::move(activate)) {
  std::replace(path_.begin(), path_.end(), '.', '/');
}

bool SingleInstance::showRunningInstance() {
  if (session_bus::openSessionBus(kConnectLimitMs, &bus_) < 0) return false;
  // Export the object first: a client that sees the name must find it.
  if (sd_bus_add_object_vtable(bus_.get(), nullptr, path_.c_str(), kInterface, kVtable, this) < 0) {
    bus_.reset();
    return false;
  }
  // 0 when another instance has the name, which passes to this one when that one ends.
  return sd_bus_request_name(bus_.get(), name_.c_str(), SD_BUS_NAME_QUEUE) == 0 &&
         askToActivate() >= 0;
}

void SingleInstance::watch() {
  if (!bus_) return;
  CFRunLoopAddSource(CFRunLoopGetCurrent(), shared_from_this(), kCFRunLoopDefaultMode);
  perform();  // handles messages that were read already: they do not make the descriptor ready
}

int SingleInstance::askToActivate() {
  sd_bus_message* message = nullptr;
  int result = sd_bus_message_new_method_call(bus_.get(), &message, name_.c_str(), path_.c_str(),
                                              kInterface, kActivate);
  const session_bus::BusMessage call(message);
  const char* token = std::getenv(kTokenVariable);
  if (result >= 0 && token) {
    result = sd_bus_message_append(message, "a{sv}", 1, kTokenKey, "s", token);
  } else if (result >= 0) {
    result = sd_bus_message_append(message, "a{sv}", 0);
  }
  if (result < 0) return result;
  return sd_bus_call(bus_.get(), message, kActivateLimitUs, nullptr, nullptr);
}

int SingleInstance::descriptor() const { return sd_bus_get_fd(bus_.get()); }

void SingleInstance::perform() {
  int result = 1;
  for (int i = 0; i < kReceiveLimit && result > 0; ++i) {
    result = sd_bus_process(bus_.get(), nullptr);
  }
  // The descriptor of a lost bus stays ready for ever. A client that sends more than the limit at a
  // time is not listened to either.
  if (result != 0) {
    CFRunLoopRemoveSource(CFRunLoopGetCurrent(), shared_from_this(), kCFRunLoopDefaultMode);
  }
}

int SingleInstance::onActivate(sd_bus_message* message, void* instance, sd_bus_error*) noexcept {
  const std::string token = readToken(message);
  static_cast<SingleInstance*>(instance)->activate_(token.size() <= kTokenLimit ? token : "");
  return sd_bus_reply_method_return(message, nullptr);
}
