// SPDX-License-Identifier: MIT
// A VX-310 for tests, scripted as the bytes of its answers and published in the in-memory registry.
//
// The specimen is one sane interface; a test breaks one field of it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/device_registry/memory/memory_registry.h"
#include "protocol/dispatch.h"
#include "protocol/services.h"

struct ScriptedInterface {
  std::string className = kVX310DriverClass;
  std::string productName = "VX-310";
  std::uint16_t vendor = kVX310VendorId;
  std::uint16_t product = kVX310ProductId;
  std::uint16_t release = 0x0100;
  std::uint32_t driverVersion = 0x12030400;    // 1.2.3
  std::uint32_t firmwareVersion = 0x01070200;  // 1.7.2
  std::string firmwareDate = "Mar 14 2009";
  std::uint32_t usb2 = 1;
  std::uint32_t sampleRate = 48000;
  std::uint32_t clockSource = 0;
  std::uint32_t lockState = 2;
  std::uint32_t digitalInputRate = 48000;
  std::uint32_t digitalOutMode = 1;
  std::uint32_t digitalOutSelector = 1;
  std::uint32_t usb1Mode = 1;
  // The entries of the driver's routing dictionary; without any, the dictionary is missing.
  std::map<std::string, std::int32_t> routings = {{"RoutingOut0", 0},
                                                  {"RoutingOut1", 1},
                                                  {"RoutingIn0", 0},
                                                  {"RoutingIn1", 1},
                                                  {"RoutingIn2", 2}};
  // Commands that get no answer.
  std::vector<VQ_Command> deaf;
  bool opens = true;
  // Answers settings with what it had.
  bool ignoresSettings = false;
  // Answers settings with their command number alone, as the driver does what it refuses.
  bool refusesSettings = false;

  // Publishes the interface as it is now; later changes of this object change what it answers, but
  // not the properties that it was published with. It must outlive the registry's content.
  memory_registry::DeviceId publish();

  // How often each command came.
  std::map<VQ_Command, int> commands;
  // The commands in the order they came.
  std::vector<VQ_Command> sequence;

 private:
  memory_registry::Answer respond(std::span<const std::uint8_t> request);
};
