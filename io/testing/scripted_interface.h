// SPDX-License-Identifier: MIT
// A scripted VX-310 for tests, published in the in-memory registry.
//
// The default values are those of a sane interface; a test changes the one it is about.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/device_registry/memory/memory_registry.h"
#include "protocol/dispatch.h"
#include "protocol/records.h"
#include "protocol/services.h"

struct ScriptedInterface {
  std::string className = kVX310DriverClass;
  std::string productName = "VX-310";
  VQ_DeviceDescriptor descriptor = {
      .vendor = kVX310VendorId, .product = kVX310ProductId, .release = 0x0100};
  std::uint32_t driverVersion = 0x12030400;    // 1.2.3
  std::uint32_t firmwareVersion = 0x01070200;  // 1.7.2
  std::string firmwareDate = "Mar 14 2009";
  std::uint32_t usb2 = 1;
  VQ_DeviceConfiguration configuration = {
      .sampleRate = 48000, .numInputs = 6, .inputBits = 24, .numOutputs = 4};
  std::uint32_t clockSource = kClockAutomatic;
  VQ_DigitalStatus digitalInput = {.lockState = kLockValid, .rate = 48000};
  std::uint32_t digitalOutMode = kDigitalOutProfessional;
  std::uint32_t digitalOutSelector = 1;
  std::uint32_t usb1Mode = 1;
  // The entries of the driver's routing dictionary; if empty, the dictionary is missing.
  std::map<std::string, std::int32_t> routings = {{"RoutingOut0", 0},
                                                  {"RoutingOut1", 1},
                                                  {"RoutingIn0", 0},
                                                  {"RoutingIn1", 1},
                                                  {"RoutingIn2", 2}};
  // Commands that get no answer.
  std::vector<VQ_Command> deaf;
  bool opens = true;
  // Answers a set command with the value it had before.
  bool ignoresSettings = false;
  // Answers a set command with the command number alone, as the driver does on failure.
  bool refusesSettings = false;

  // Publishes the interface with its present properties. Later changes of this object change its
  // answers, not its properties. It must outlive the registry's content.
  memory_registry::DeviceId publish();

  // How often each command was received.
  std::map<VQ_Command, int> commands;
  // The received commands, in order.
  std::vector<VQ_Command> sequence;

 private:
  memory_registry::Answer respond(std::span<const std::uint8_t> request);
};
