// SPDX-License-Identifier: MIT
#include "driver/simulator/simulator.h"

#include "protocol/services.h"

namespace driver {

namespace {

// Unique ids of simulated interfaces are this number and the ones after it.
constexpr std::uint64_t kFirstUniqueId = 0x5D12000000000001;

// Reads an array of strings; negative errno when the next argument is none.
int readWords(sd_bus_message* message, std::vector<std::string>& words) {
  int result = sd_bus_message_enter_container(message, 'a', "s");
  const char* word = nullptr;
  while (result >= 0 && (result = sd_bus_message_read(message, "s", &word)) > 0) {
    words.emplace_back(word);
  }
  return result < 0 ? result : sd_bus_message_exit_container(message);
}

int notPlugged(sd_bus_error* error) {
  return sd_bus_error_set(error, kNotPluggedError, "The interface is not plugged in");
}

// For a reply that is sent later.
std::shared_ptr<sd_bus_message> shared(sd_bus_message* message) {
  return {sd_bus_message_ref(message), sd_bus_message_unref};
}

int noInterface(sd_bus_error* error, std::uint32_t index) {
  return sd_bus_error_setf(error, kNoInterfaceError, "There is no interface %u", index);
}

int invalid(sd_bus_error* error, const std::string& problem) {
  return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, problem.c_str());
}

// What is done to one interface, with the rest of the call's arguments still to be read.

int unplug(SimulatedInterface& interface, sd_bus_message* message, sd_bus_error*) {
  interface.port().unplug();
  return sd_bus_reply_method_return(message, nullptr);
}

int set(SimulatedInterface& interface, sd_bus_message* message, sd_bus_error* error) {
  std::vector<std::string> words;
  const int result = readWords(message, words);
  if (result < 0) return result;
  std::string problem;
  const auto reply = [call = shared(message)] { sd_bus_reply_method_return(call.get(), nullptr); };
  switch (interface.set(words, &problem, reply)) {
    case SettingResult::done:
      return 1;
    case SettingResult::refused:
      return sd_bus_error_set(error, kRefusedError, problem.c_str());
    default:
      return invalid(error, problem);
  }
}

int notify(SimulatedInterface& interface, sd_bus_message* message, sd_bus_error* error) {
  std::uint32_t notification = 0;
  std::uint32_t type = 0;
  std::uint32_t sizeWord = 0;
  const int result = sd_bus_message_read(message, "uuu", &notification, &type, &sizeWord);
  if (result < 0) return result;
  Publication* publication = interface.port().publication();
  if (!publication) return notPlugged(error);
  publication->sendMessage(type, sizeWord, notification);
  return sd_bus_reply_method_return(message, nullptr);
}

int fault(SimulatedInterface& interface, sd_bus_message* message, sd_bus_error* error) {
  std::vector<std::string> words;
  const int result = readWords(message, words);
  if (result < 0) return result;
  std::string problem;
  const auto fault = parseFault(words, &problem);
  if (!fault) return invalid(error, problem);
  interface.addFault(*fault);
  return sd_bus_reply_method_return(message, nullptr);
}

int stall(SimulatedInterface& interface, sd_bus_message* message, sd_bus_error* error) {
  std::uint32_t limit = 0;
  const int result = sd_bus_message_read(message, "u", &limit);
  if (result < 0) return result;
  if (!interface.port().publication()) return notPlugged(error);
  interface.stall(limit == 0 ? std::nullopt : std::optional(std::chrono::milliseconds(limit)));
  return sd_bus_reply_method_return(message, nullptr);
}

int clearFaults(SimulatedInterface& interface, sd_bus_message* message, sd_bus_error*) {
  interface.clearFaults();
  return sd_bus_reply_method_return(message, nullptr);
}

int getState(SimulatedInterface& interface, sd_bus_message* message, sd_bus_error*) {
  sd_bus_message* raw = nullptr;
  int result = sd_bus_message_new_method_return(message, &raw);
  if (result < 0) return result;
  const BusMessage reply(raw);
  result = sd_bus_message_open_container(raw, 'a', "(ss)");
  for (const auto& [name, value] : interface.state()) {
    if (result < 0) return result;
    result = sd_bus_message_append(raw, "(ss)", name.c_str(), value.c_str());
  }
  if (result >= 0) result = sd_bus_message_close_container(raw);
  return result < 0 ? result : sd_bus_message_send(raw);
}

}  // namespace

template <Simulator::Call call>
constexpr sd_bus_vtable Simulator::method(const char* name, const char* arguments,
                                          const char* results) {
  const auto handler = [](sd_bus_message* message, void* self, sd_bus_error* error) {
    return (static_cast<Simulator*>(self)->*call)(message, error);
  };
  return SD_BUS_METHOD(name, arguments, results, handler, SD_BUS_VTABLE_UNPRIVILEGED);
}

template <Simulator::InterfaceCall call>
int Simulator::toInterface(sd_bus_message* message, sd_bus_error* error) {
  std::uint32_t index = 0;
  const int result = sd_bus_message_read(message, "u", &index);
  if (result < 0) return result;
  if (index >= interfaces_.size()) return noInterface(error, index);
  return call(interfaces_[index], message, error);
}

const sd_bus_vtable Simulator::kVtable[] = {
    SD_BUS_VTABLE_START(0),
    // Adds an interface and plugs it in; answers its number.
    method<&Simulator::onAdd>("Add", "", "u"),
    method<&Simulator::onPlug>("Plug", "u", "u"),
    method<&Simulator::toInterface<unplug>>("Unplug", "u", ""),
    // A setting's name and its arguments.
    method<&Simulator::toInterface<set>>("Set", "uas", ""),
    // Notification number, message type and the size that the argument says to have.
    method<&Simulator::toInterface<notify>>("Notify", "uuuu", ""),
    method<&Simulator::toInterface<fault>>("Fault", "uas", ""),
    // Milliseconds; 0 for no limit.
    method<&Simulator::toInterface<stall>>("Stall", "uu", ""),
    method<&Simulator::toInterface<clearFaults>>("ClearFaults", "u", ""),
    // For each interface whether it is plugged in, and its product name.
    method<&Simulator::onList>("List", "", "a(bs)"),
    // Names and JSON values.
    method<&Simulator::toInterface<getState>>("GetState", "u", "a(ss)"),
    SD_BUS_VTABLE_END,
};

int Simulator::start() {
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_add_object_vtable(context_.bus, &slot, kSimulatorPath,
                                              kSimulatorInterface, kVtable, this);
  slot_.reset(slot);
  return result;
}

SimulatedInterface& Simulator::add() {
  return interfaces_.emplace_back(context_, kFirstUniqueId + interfaces_.size());
}

int Simulator::plugAndReply(sd_bus_message* message, SimulatedInterface& interface,
                            std::size_t index) {
  interface.port().plug([call = shared(message), index](bool appeared) {
    if (appeared) {
      sd_bus_reply_method_return(call.get(), "u", static_cast<std::uint32_t>(index));
    } else {
      sd_bus_reply_method_errorf(call.get(), SD_BUS_ERROR_FAILED, "The interface did not appear");
    }
  });
  return 1;
}

int Simulator::onAdd(sd_bus_message* message, sd_bus_error* error) {
  if (interfaces_.size() >= kMaximumInterfaces) {
    return sd_bus_error_set(error, SD_BUS_ERROR_LIMITS_EXCEEDED, "There are too many interfaces");
  }
  SimulatedInterface& added = add();
  return plugAndReply(message, added, interfaces_.size() - 1);
}

int Simulator::onPlug(sd_bus_message* message, sd_bus_error* error) {
  std::uint32_t index = 0;
  const int result = sd_bus_message_read(message, "u", &index);
  if (result < 0) return result;
  // The first interface need not have been added to be plugged in.
  if (index == 0 && interfaces_.empty()) add();
  if (index >= interfaces_.size()) return noInterface(error, index);
  return plugAndReply(message, interfaces_[index], index);
}

int Simulator::onList(sd_bus_message* message, sd_bus_error*) {
  sd_bus_message* raw = nullptr;
  int result = sd_bus_message_new_method_return(message, &raw);
  if (result < 0) return result;
  const BusMessage reply(raw);
  result = sd_bus_message_open_container(raw, 'a', "(bs)");
  for (auto& interface : interfaces_) {
    if (result < 0) return result;
    result = sd_bus_message_append(raw, "(bs)", interface.port().publication() != nullptr,
                                   interface.productName().c_str());
  }
  if (result >= 0) result = sd_bus_message_close_container(raw);
  return result < 0 ? result : sd_bus_message_send(raw);
}

}  // namespace driver
