// SPDX-License-Identifier: MIT
#include "tools/simulator_client.h"

#include <cstdio>
#include <cstring>

#include "protocol/services.h"

namespace vx310ctl {

namespace {

using session_bus::BusMessage;

ExitStatus explain(const char* what) {
  std::fprintf(stderr, "vx310ctl: %s\n", what);
  return kFailed;
}

ExitStatus explainError(const sd_bus_error& error) {
  const auto is = [&error](const char* name) { return sd_bus_error_has_name(&error, name) != 0; };
  if (is(SD_BUS_ERROR_SERVICE_UNKNOWN) || is(SD_BUS_ERROR_NAME_HAS_NO_OWNER)) {
    explain("no driver service is running (start vx310-driver)");
    return kNoDriver;
  }
  if (is(SD_BUS_ERROR_UNKNOWN_OBJECT) || is(SD_BUS_ERROR_UNKNOWN_METHOD) ||
      is(SD_BUS_ERROR_UNKNOWN_INTERFACE)) {
    return explain("the running driver service has no simulated interfaces");
  }
  if (is(kNoInterfaceError)) {
    explain(error.message);
    return kNoInterface;
  }
  if (is(SD_BUS_ERROR_NO_REPLY) || is(SD_BUS_ERROR_TIMEOUT)) {
    return explain("the driver service does not answer");
  }
  return explain(error.message ? error.message : error.name);
}

ExitStatus explainFailure(const char* what, int result) {
  std::fprintf(stderr, "vx310ctl: %s: %s\n", what, std::strerror(-result));
  return kFailed;
}

ExitStatus unreadable() { return explain("the driver service answers something else"); }

}  // namespace

ExitStatus SimulatorClient::connect() { return connectToBus(&bus_); }

BusMessage SimulatorClient::callTo(const char* method) {
  sd_bus_message* message = nullptr;
  sd_bus_message_new_method_call(bus_.get(), &message, kDriverName, kSimulatorPath,
                                 kSimulatorInterface, method);
  // A driver that has just been started would be another one than the one that is meant.
  if (message) sd_bus_message_set_auto_start(message, 0);
  return BusMessage(message);
}

ExitStatus SimulatorClient::send(BusMessage call, BusMessage* reply) {
  sd_bus_error error{};
  sd_bus_message* answer = nullptr;
  const int result = sd_bus_call(bus_.get(), call.get(), 0, &error, &answer);
  const BusMessage owned(answer);
  ExitStatus status = kDone;
  if (sd_bus_error_is_set(&error)) {
    status = explainError(error);
  } else if (result < 0) {
    status = explainFailure("cannot reach the driver service", result);
  } else if (reply) {
    reply->reset(sd_bus_message_ref(answer));
  }
  sd_bus_error_free(&error);
  return status;
}

ExitStatus SimulatorClient::callWithWords(const char* method, std::uint32_t interface,
                                          const Words& words) {
  BusMessage call = callTo(method);
  int result = sd_bus_message_append(call.get(), "u", interface);
  if (result >= 0) result = sd_bus_message_open_container(call.get(), 'a', "s");
  for (const auto& word : words) {
    if (result >= 0) result = sd_bus_message_append(call.get(), "s", word.c_str());
  }
  if (result >= 0) result = sd_bus_message_close_container(call.get());
  return result < 0 ? explainFailure("cannot ask the driver service", result)
                    : send(std::move(call));
}

ExitStatus SimulatorClient::add(std::uint32_t* number) {
  BusMessage reply;
  const ExitStatus status = send(callTo("Add"), &reply);
  if (status != kDone) return status;
  return sd_bus_message_read(reply.get(), "u", number) < 0 ? unreadable() : kDone;
}

ExitStatus SimulatorClient::plug(std::uint32_t interface) {
  BusMessage call = callTo("Plug");
  sd_bus_message_append(call.get(), "u", interface);
  return send(std::move(call));
}

ExitStatus SimulatorClient::unplug(std::uint32_t interface) {
  BusMessage call = callTo("Unplug");
  sd_bus_message_append(call.get(), "u", interface);
  return send(std::move(call));
}

ExitStatus SimulatorClient::set(std::uint32_t interface, const Words& setting) {
  return callWithWords("Set", interface, setting);
}

ExitStatus SimulatorClient::notify(std::uint32_t interface, std::uint32_t number,
                                   std::uint32_t type, std::uint32_t sizeWord) {
  BusMessage call = callTo("Notify");
  sd_bus_message_append(call.get(), "uuuu", interface, number, type, sizeWord);
  return send(std::move(call));
}

ExitStatus SimulatorClient::addFault(std::uint32_t interface, const Words& fault) {
  return callWithWords("Fault", interface, fault);
}

ExitStatus SimulatorClient::stall(std::uint32_t interface, std::uint32_t milliseconds) {
  BusMessage call = callTo("Stall");
  sd_bus_message_append(call.get(), "uu", interface, milliseconds);
  return send(std::move(call));
}

ExitStatus SimulatorClient::clearFaults(std::uint32_t interface) {
  BusMessage call = callTo("ClearFaults");
  sd_bus_message_append(call.get(), "u", interface);
  return send(std::move(call));
}

ExitStatus SimulatorClient::list(std::vector<Listed>* interfaces) {
  BusMessage reply;
  const ExitStatus status = send(callTo("List"), &reply);
  if (status != kDone) return status;
  int result = sd_bus_message_enter_container(reply.get(), 'a', "(bs)");
  int plugged = 0;
  const char* name = nullptr;
  while (result >= 0 && (result = sd_bus_message_read(reply.get(), "(bs)", &plugged, &name)) > 0) {
    interfaces->push_back({plugged != 0, name});
  }
  return result < 0 ? unreadable() : kDone;
}

ExitStatus SimulatorClient::state(std::uint32_t interface,
                                  std::vector<std::pair<std::string, std::string>>* state) {
  BusMessage call = callTo("GetState");
  sd_bus_message_append(call.get(), "u", interface);
  BusMessage reply;
  const ExitStatus status = send(std::move(call), &reply);
  if (status != kDone) return status;
  int result = sd_bus_message_enter_container(reply.get(), 'a', "(ss)");
  const char* name = nullptr;
  const char* value = nullptr;
  while (result >= 0 && (result = sd_bus_message_read(reply.get(), "(ss)", &name, &value)) > 0) {
    state->emplace_back(name, value);
  }
  return result < 0 ? unreadable() : kDone;
}

}  // namespace vx310ctl
