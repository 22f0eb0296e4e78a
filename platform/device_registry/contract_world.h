// SPDX-License-Identifier: MIT
// The drivers behind the registry under test, as the contract suite controls them. Each test
// program that runs the suite links one world.
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
    // Returns the answer to a request, nullopt for no answer; without a script the request is the
    // answer. May run on another thread.
    std::function<std::optional<Bytes>(std::uint32_t selector, const Bytes& request)> respond = {};
  };

  virtual ~ContractWorld() = default;

  // Returns the device's id for the functions below.
  virtual int publish(Device device) = 0;
  virtual void terminate(int device) = 0;
  virtual void sendMessage(int device, std::uint32_t type, const Bytes& argument) = 0;
  virtual void changeProperties(int device, CFDictionary properties) = 0;

  // Waits until the registry has received all of the above. A master port has to be held. Runs no
  // callbacks of the client.
  virtual void arrive() = 0;
};

std::unique_ptr<ContractWorld> makeContractWorld();
