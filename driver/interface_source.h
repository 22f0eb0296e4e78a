// SPDX-License-Identifier: MIT
// Where a driver's interfaces come from. The virtual interfaces are one source; a driver for real
// hardware adds a second one, which watches the USB bus.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace driver {

struct ServiceContext;

class InterfaceSource {
 public:
  virtual ~InterfaceSource() = default;

  // Adds the source's own options to the program's command line. Called once, before start().
  virtual void declareOptions(CLI::App& program) = 0;

  // Publishes the interfaces that are connected, and from now on each that appears. Calls `ready`
  // once, when those of the start are published or have failed, at once if there are none. Returns
  // a negative errno on failure. The source must be destroyed before the context.
  virtual int start(ServiceContext& context, std::function<void()> ready) = 0;
};

}  // namespace driver
