// SPDX-License-Identifier: MIT
// What the contract suite does to the drivers behind the registry under test. Each test program
// that runs the suite links one world.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/values/values.h"

class ContractWorld {
 public:
  using Bytes = std::vector<std::uint8_t>;

  struct Device {
    std::string className;
    CFDictionary properties = {};
    // The answer to a request, nothing for none; without a script requests come back unchanged. May
    // run on a thread of its own.
    std::function<std::optional<Bytes>(std::uint32_t selector, const Bytes& request)> respond = {};
  };

  virtual ~ContractWorld() = default;

  // Names the device to the functions below.
  virtual int publish(Device device) = 0;
  virtual void terminate(int device) = 0;
  virtual void sendMessage(int device, std::uint32_t type, const Bytes& argument) = 0;
  virtual void changeProperties(int device, CFDictionary properties) = 0;

  // Returns when all of the above has come as far as the registry. A master port has to be held.
  // Nothing is performed but what concerns this wait.
  virtual void arrive() = 0;
};

std::unique_ptr<ContractWorld> makeContractWorld();
