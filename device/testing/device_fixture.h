// SPDX-License-Identifier: MIT
// What the tests of this folder share: a scripted driver, and a handle of its one device.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "device/usb_device.h"
#include "platform/clock/memory/memory_clock.h"
#include "platform/device_registry/memory/memory_registry.h"
#include "platform/preferences/memory/memory_preferences.h"
#include "platform/run_loop/manual/manual_run_loop.h"
#include "protocol/services.h"

// Resets the back ends; fails the test if a handle was not released.
class BackEndsTest : public testing::Test {
 protected:
  BackEndsTest() { reset(); }
  ~BackEndsTest() override { reset(); }

  void TearDown() override {
    EXPECT_EQ(memory_registry::outstanding(), memory_registry::Outstanding{});
    EXPECT_EQ(manual_run_loop::sourceCount(), 0u);
  }

 private:
  static void reset() {
    memory_registry::reset();
    memory_clock::reset();
    memory_preferences::reset();
    manual_run_loop::reset();
  }
};

// Keeps a device for as long as it lives.
class Retained {
 public:
  explicit Retained(USBDevice* device) : device_(device) { device_->retain(); }
  ~Retained() { device_->release(); }
  Retained(const Retained&) = delete;
  Retained& operator=(const Retained&) = delete;

  USBDevice& operator*() const { return *device_; }
  USBDevice* operator->() const { return device_; }
  USBDevice* get() const { return device_; }

 private:
  USBDevice* device_;
};

// Scripted driver: one answer per command; commands without an entry are echoed. The driver version
// is 2.05.b3 unless a test sets another.
class ScriptedDriver {
 public:
  using Script = std::function<memory_registry::Answer(VQ_Dispatch request)>;

  ScriptedDriver() { answerWords(VQ_Command::kGetDriverVersion, {0x02050203}); }

  void answer(VQ_Command command, Script script) { scripts_[command] = std::move(script); }

  // Answers with these payload words, the rest of the payload as sent.
  void answerWords(VQ_Command command, std::vector<std::uint32_t> words) {
    answer(command, [words](VQ_Dispatch record) {
      wire::storeWords(record.payload(), 0, words);
      return bytesOf(record);
    });
  }

  void answerBytes(VQ_Command command, std::vector<std::uint8_t> payload) {
    answer(command, [payload](VQ_Dispatch record) {
      wire::copyFitting(payload, record.payload());
      return bytesOf(record);
    });
  }

  // Scripts the same answer as before but sends only its first `size` bytes.
  void shorten(VQ_Command command, std::size_t size) {
    answer(command, [size, former = scripts_[command]](VQ_Dispatch record) {
      auto answer = former ? former(record) : bytesOf(record);
      if (answer && answer->size() > size) answer->resize(size);
      return answer;
    });
  }

  void failAt(VQ_Command command) {
    answer(command, [](const VQ_Dispatch&) { return std::nullopt; });
  }

  memory_registry::Answer respond(std::span<const std::uint8_t> request) const {
    VQ_Dispatch record;
    wire::copyFitting(request, record.bytes);
    const auto script = scripts_.find(record.command());
    return script != scripts_.end() && script->second ? script->second(record) : bytesOf(record);
  }

  static memory_registry::Answer bytesOf(const VQ_Dispatch& record) {
    return std::vector<std::uint8_t>(record.bytes.begin(), record.bytes.end());
  }

 private:
  std::map<VQ_Command, Script> scripts_;
};

inline CFDictionary interfaceProperties() {
  return {{"idVendor", CFValue(0x7f21)},
          {"idProduct", CFValue(0x5d12)},
          {"USB Product Name", CFValue("VX-310")}};
}

// One published interface with a scripted driver. The handle is made, closed, by makeDevice().
class DeviceTest : public BackEndsTest {
 protected:
  DeviceTest() {
    id = memory_registry::publish(
        {.className = kVX310DriverClass,
         .properties = interfaceProperties(),
         .respond = [this](std::uint32_t, std::span<const std::uint8_t> request) {
           return driver.respond(request);
         }});
    IOMasterPort(&port_);
  }

  void TearDown() override {
    mach_port_deallocate(port_);
    BackEndsTest::TearDown();
  }

  // The service, with a reference for the caller.
  io_service_t findService() {
    io_iterator_t iterator = 0;
    IOServiceGetMatchingServices(port_, IOServiceMatching(kVX310DriverClass), &iterator);
    const io_service_t service = IOIteratorNext(iterator);
    IOObjectRelease(iterator);
    return service;
  }

  USBDevice* makeDevice() {
    const io_service_t service = findService();
    auto* device = new USBDevice(service);
    IOObjectRelease(service);
    return device;
  }

  // The requests that reached the driver since the last call, as records.
  std::vector<VQ_Dispatch> takeRequests() {
    std::vector<VQ_Dispatch> taken;
    const auto& all = memory_registry::requests();
    for (; seen_ < all.size(); ++seen_) {
      EXPECT_EQ(all[seen_].bytes.size(), VQ_Dispatch::kSize);
      wire::copyFitting(all[seen_].bytes, taken.emplace_back().bytes);
    }
    return taken;
  }

  CFDictionary& properties() { return memory_registry::device(id).properties; }
  void setProperty(const char* key, CFValue value) {
    properties().insert_or_assign(key, std::move(value));
  }

  ScriptedDriver driver;
  memory_registry::DeviceId id = 0;

 private:
  mach_port_t port_ = 0;
  std::size_t seen_ = 0;
};

// With an open handle, and the requests of opening it out of the way.
class OpenDeviceTest : public DeviceTest {
 protected:
  OpenDeviceTest() { reopen(); }
  void TearDown() override {
    device.reset();
    DeviceTest::TearDown();
  }

  // Opens a new handle, to test values read only by open().
  void reopen() {
    device.reset(makeDevice());
    device->retain();
    EXPECT_TRUE(device->open(false));
    takeRequests();
  }

  // The one request since the last call.
  VQ_Dispatch onlyRequest() {
    const auto requests = takeRequests();
    EXPECT_EQ(requests.size(), 1u);
    return requests.empty() ? VQ_Dispatch() : requests.front();
  }

  struct Release {
    void operator()(USBDevice* released) const { released->release(); }
  };
  std::unique_ptr<USBDevice, Release> device;
};
