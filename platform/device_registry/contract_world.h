// SPDX-License-Identifier: MIT
// The drivers behind the registry under test, as the contract suite moves them. Each test program
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
    // Returns the answer to a request, or nullopt to send none. If empty, requests are answered
    // with themselves. May run on another thread.
    std::function<std::optional<Bytes>(std::uint32_t selector, const Bytes& request)> respond = {};
  };

  virtual ~ContractWorld() = default;

  // Returns the number that the functions below know the device by.
  virtual int publish(Device device) = 0;
  virtual void terminate(int device) = 0;
  virtual void sendMessage(int device, std::uint32_t type, const Bytes& argument) = 0;
  virtual void changeProperties(int device, CFDictionary properties) = 0;

  // Returns when the registry has received every change made above. Needs a master port. Performs
  // no callback of the client.
  virtual void arrive() = 0;
};

std::unique_ptr<ContractWorld> makeContractWorld();
