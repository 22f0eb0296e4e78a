// SPDX-License-Identifier: MIT
#include "driver/simulator/simulated_interface.h"

#include "driver/simulator/json.h"
#include "driver/simulator/stored_settings.h"

namespace driver {

namespace {

Model modelWithId(std::uint64_t uniqueId) {
  Model model;
  model.identity.uniqueId = uniqueId;
  applyStoredSettings(model);
  return model;
}

// What only changes when an interface leaves the bus and comes back: its class, its ids, its speed.
auto fixedWhileConnected(const VirtualInterface& interface) {
  const RegistryEntry entry = interface.registryEntry();
  return std::tuple(entry.className, entry.vendorId, entry.productId, interface.model().usb2);
}

}  // namespace

SimulatedInterface::SimulatedInterface(ServiceContext& context, std::uint64_t uniqueId)
    : interface_(modelWithId(uniqueId)),
      handler_(interface_),
      faults_(handler_),
      port_(context, interface_, faults_),
      stallEnd_(context.event) {}

SettingResult SimulatedInterface::set(const std::vector<std::string>& words, std::string* problem,
                                      std::function<void()> done) {
  const auto before = fixedWhileConnected(interface_);
  SettingResult result = SettingResult::wrongArguments;
  interface_.change([&](Model& model) { result = applySetting(model, words, problem); });
  if (result != SettingResult::done) return result;
  if (fixedWhileConnected(interface_) != before) {
    port_.replug([done = std::move(done)](bool) { done(); });
  } else {
    done();
  }
  return result;
}

void SimulatedInterface::stall(std::optional<std::chrono::milliseconds> limit) {
  stallEnd_.stop();
  if (Publication* publication = port_.publication()) publication->setPaused(true);
  if (limit) stallEnd_.start(*limit, [this] { endStall(); });
}

void SimulatedInterface::clearFaults() {
  faults_.clear();
  stallEnd_.stop();
  endStall();
}

void SimulatedInterface::endStall() {
  if (Publication* publication = port_.publication()) publication->setPaused(false);
}

State SimulatedInterface::state() {
  const Publication* publication = port_.publication();
  State state = {{"plugged", jsonBool(publication != nullptr)},
                 {"path", jsonText(publication ? publication->path() : "")},
                 {"faults", jsonNumber(faults_.faults().size())}};
  State model = stateOf(interface_.model());
  state.insert(state.end(), model.begin(), model.end());
  return state;
}

}  // namespace driver
