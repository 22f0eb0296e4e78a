// SPDX-License-Identifier: MIT
#include "driver/virtual_control/pluggable_interface.h"

#include <nlohmann/json.hpp>

#include "protocol/words.h"

namespace driver {

namespace {

// Unique ids of virtual interfaces are this number and the ones after it.
constexpr std::uint64_t kFirstUniqueId = 0x5D12000000000001;

Model modelOf(std::size_t number) {
  Model model;
  model.identity.uniqueId = kFirstUniqueId + number - 1;
  applyStoredSettings(model);
  return model;
}

// Class, ids and speed change only when an interface reconnects.
auto fixedWhileConnected(const VirtualInterface& interface) {
  const RegistryEntry entry = interface.registryEntry();
  return std::tuple(entry.className, entry.vendorId, entry.productId, interface.model().usb2);
}

}  // namespace

PluggableInterface::PluggableInterface(ServiceContext& context, std::size_t number)
    : interface_(modelOf(number), number),
      handler_(interface_),
      faults_(handler_),
      usbPort_(context, interface_, faults_),
      stallEnd_(context.event) {}

SettingResult PluggableInterface::set(const std::vector<std::string>& words, std::string* problem,
                                      std::function<void()> done) {
  const auto before = fixedWhileConnected(interface_);
  SettingResult result = SettingResult::wrongArguments;
  interface_.change([&](Model& model) { result = applySetting(model, words, problem); });
  if (result != SettingResult::done) return result;
  if (fixedWhileConnected(interface_) != before) {
    usbPort_.replug([done = std::move(done)](bool) { done(); });
  } else {
    done();
  }
  return result;
}

void PluggableInterface::stall(std::optional<std::chrono::milliseconds> limit) {
  stallEnd_.stop();
  if (Publication* publication = usbPort_.publication()) publication->setPaused(true);
  if (limit) stallEnd_.start(*limit, [this] { endStall(); });
}

void PluggableInterface::clearFaults() {
  faults_.clear();
  stallEnd_.stop();
  endStall();
}

void PluggableInterface::endStall() {
  if (Publication* publication = usbPort_.publication()) publication->setPaused(false);
}

nlohmann::ordered_json PluggableInterface::state() {
  const Publication* publication = usbPort_.publication();
  nlohmann::ordered_json state;
  state["plugged"] = publication != nullptr;
  state["path"] = publication ? publication->path() : "";
  state["faults"] = faults_.faults().size();
  auto& kinds = state[member::kFaultKinds] = nlohmann::ordered_json::array();
  for (const Fault& fault : faults_.faults()) kinds.push_back(nameOf(fault.kind));
  if (publication && publication->isPaused()) kinds.push_back("stall");
  state.update(stateOf(interface_.model()));
  return state;
}

}  // namespace driver
