// SPDX-License-Identifier: MIT
// The session bus, the driver service and its interfaces. Requests go to the interface without the
// device layer, which cannot tell how an answer is wrong.
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "platform/posix/posix.h"
#include "platform/single_instance/single_instance.h"
#include "protocol/services.h"
#include "protocol/words.h"
#include "tools/commands.h"
#include "tools/doctor.h"
#include "tools/interfaces.h"
#include "tools/request_probe.h"

namespace vx310ctl {

namespace {

using session_bus::Bus;
using session_bus::BusMessage;
using session_bus::Deadline;

constexpr const char* kBusCheck = "session_bus";
constexpr const char* kDriverCheck = "driver_service";
constexpr const char* kInterfaceCheck = "interface";
constexpr const char* kInjectedCheck = "injected_faults";
constexpr const char* kPanelCheck = "panel";

// For all interfaces together, however many there are and however slowly they answer.
constexpr int kInterfacesLimitMs = 6000;

constexpr const char* kStartDriver = "start vx310-driver, or log in again if systemd starts it";
constexpr const char* kRestartDriver = "end the process and start vx310-driver again";

// Calls a method of the bus itself; null on failure.
BusMessage askBus(sd_bus* bus, const char* method, const char* name) {
  sd_bus_message* answer = nullptr;
  sd_bus_call_method(bus, session_bus::kBusName, session_bus::kBusPath, session_bus::kBusName,
                     method, nullptr, &answer, "s", name);
  return BusMessage(answer);
}

bool hasOwner(sd_bus* bus, const char* name) {
  const BusMessage answer = askBus(bus, "NameHasOwner", name);
  int owned = 0;
  return answer && sd_bus_message_read(answer.get(), "b", &owned) >= 0 && owned != 0;
}

std::uint32_t numberOfOwner(sd_bus* bus, const char* method, const char* name) {
  const BusMessage answer = askBus(bus, method, name);
  std::uint32_t number = 0;
  if (answer) sd_bus_message_read(answer.get(), "u", &number);
  return number;
}

// The state of a process as in /proc/PID/stat: 'T' for one that was stopped; 0 when unknown.
char stateOf(std::uint32_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  std::getline(file, line);
  const auto end = line.rfind(") ");
  return end == line.npos || end + 2 >= line.size() ? '\0' : line[end + 2];
}

bool openBus(Diagnosis& diagnosis, Bus* bus) {
  const int result = session_bus::openSessionBus(kBusLimitMs, bus);
  if (result >= 0) {
    const char* address = nullptr;
    sd_bus_get_address(bus->get(), &address);
    diagnosis.ok(kBusCheck, "answers at " + diagnosis.path(address ? address : "its address"));
    return true;
  }
  const std::string reason =
      result == -ETIMEDOUT ? "does not answer within " + std::to_string(kBusLimitMs / 1000) + " s"
                           : "cannot be reached: " + session_bus::reasonOf(result);
  diagnosis.fault(kBusCheck, reason,
                  "log in to a desktop session, or run under dbus-run-session; "
                  "DBUS_SESSION_BUS_ADDRESS names the bus");
  return false;
}

// Says what is wrong when no driver service owns the name.
void checkMissingDriver(Diagnosis& diagnosis, sd_bus* bus) {
  sd_bus_message* answer = nullptr;
  sd_bus_call_method(bus, session_bus::kBusName, session_bus::kBusPath, session_bus::kBusName,
                     "ListActivatableNames", nullptr, &answer, "");
  const BusMessage owner(answer);
  char** names = nullptr;
  if (answer) sd_bus_message_read_strv(answer, &names);
  bool isActivatable = false;
  for (char** name = names; name && *name; ++name) {
    isActivatable = isActivatable || std::strcmp(*name, kDriverName) == 0;
    std::free(*name);
  }
  std::free(names);
  if (isActivatable) {
    diagnosis.warn(kDriverCheck, "is not running; the session bus starts it for the panel",
                   "open the panel, or run 'vx310ctl list'");
  } else {
    diagnosis.fault(kDriverCheck, "is not running", kStartDriver);
  }
}

// Returns whether the driver service answers.
bool checkOwner(Diagnosis& diagnosis, sd_bus* bus) {
  const std::uint32_t process = numberOfOwner(bus, "GetConnectionUnixProcessID", kDriverName);
  const std::uint32_t user = numberOfOwner(bus, "GetConnectionUnixUser", kDriverName);
  std::error_code error;
  const std::string program =
      std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", error);
  std::string who = "process " + std::to_string(process) + " of user " + diagnosis.person(user);
  if (!program.empty()) who += ", " + diagnosis.path(program);
  if (stateOf(process) == 'T') {
    diagnosis.fault(kDriverCheck, "is stopped (" + who + ")",
                    "continue it with 'kill -CONT " + std::to_string(process) + "'");
    return false;
  }
  if (sd_bus_call_method(bus, kDriverName, "/", "org.freedesktop.DBus.Peer", "Ping", nullptr,
                         nullptr, "") < 0) {
    diagnosis.fault(kDriverCheck, "does not answer (" + who + ")", kRestartDriver);
    return false;
  }
  if (program.ends_with(" (deleted)")) {
    diagnosis.warn(kDriverCheck, "runs a program that has been replaced (" + who + ")",
                   kRestartDriver);
  } else if (user != ::getuid()) {
    diagnosis.warn(kDriverCheck, "belongs to another user (" + who + ")",
                   "start it as the user who opens the panel");
  } else {
    diagnosis.ok(kDriverCheck, "runs (" + who + ")");
  }
  return true;
}

// --- Interfaces ---

// The next call on the bus waits no longer than until the deadline.
void limitCall(sd_bus* bus, const Deadline& deadline) {
  const int limit = std::clamp(deadline.milliseconds(), 1, kBusLimitMs);  // 0 would be the default
  sd_bus_set_method_call_timeout(bus, static_cast<std::uint64_t>(limit) * 1000);
}

// A virtual interface may have faults that wait for the next requests: `vx310ctl sim fault`.
void checkInjectedFaults(Diagnosis& diagnosis, sd_bus* bus, const Deadline& deadline) {
  constexpr std::uint32_t kMostInterfaces = 128;
  for (std::uint32_t number = 0; number < kMostInterfaces && !deadline.hasPassed(); ++number) {
    limitCall(bus, deadline);
    sd_bus_message* answer = nullptr;
    sd_bus_call_method(bus, kDriverName, kVirtualInterfacesPath, kVirtualInterfacesInterface,
                       kRunMethod, nullptr, &answer, "uas", number, 2, "state", "--json");
    const BusMessage owner(answer);
    const char* text = nullptr;
    if (!answer || sd_bus_message_read(answer, "s", &text) < 0) return;  // there are no more
    const auto state = nlohmann::json::parse(text, nullptr, false);
    if (!state.is_object() || !state.contains(member::kFaultKinds)) return;
    std::string kinds;
    for (const auto& kind : state[member::kFaultKinds]) {
      if (kind.is_string()) kinds += (kinds.empty() ? "" : ", ") + kind.get<std::string>();
    }
    if (kinds.empty()) continue;
    diagnosis.warn(
        kInjectedCheck, "virtual interface " + std::to_string(number) + ": " + kinds,
        "end them with 'vx310ctl sim --interface " + std::to_string(number) + " fault none'");
  }
}

struct Service {
  std::string path;
  std::string className;
};

// Reads the properties of one D-Bus interface of an object, an a{sv}. Returns a negative errno for
// a wrong type, as the next two do.
int readProperties(sd_bus_message* answer, Service* service) {
  int result = sd_bus_message_enter_container(answer, 'a', "{sv}");
  if (result < 0) return result;
  while ((result = sd_bus_message_enter_container(answer, 'e', "sv")) > 0) {
    const char* property = nullptr;
    const char* name = nullptr;
    result = sd_bus_message_read(answer, "s", &property);
    if (result < 0) return result;
    if (std::strcmp(property, kClassNameProperty) == 0) {
      result = sd_bus_message_read(answer, "v", "s", &name);
      if (name) service->className = name;
    } else {
      result = sd_bus_message_skip(answer, "v");
    }
    if (result >= 0) result = sd_bus_message_exit_container(answer);
    if (result < 0) return result;
  }
  return result < 0 ? result : sd_bus_message_exit_container(answer);
}

// Reads an object with its D-Bus interfaces, the o and the a{sa{sv}} of an entry.
int readObject(sd_bus_message* answer, Service* service) {
  const char* text = nullptr;
  int result = sd_bus_message_read(answer, "o", &text);
  if (result < 0) return result;
  service->path = text;
  result = sd_bus_message_enter_container(answer, 'a', "{sa{sv}}");
  if (result < 0) return result;
  while ((result = sd_bus_message_enter_container(answer, 'e', "sa{sv}")) > 0) {
    result = sd_bus_message_read(answer, "s", &text);
    if (result < 0) return result;
    result = std::strcmp(text, kServiceInterface) == 0 ? readProperties(answer, service)
                                                       : sd_bus_message_skip(answer, "a{sv}");
    if (result >= 0) result = sd_bus_message_exit_container(answer);
    if (result < 0) return result;
  }
  return result < 0 ? result : sd_bus_message_exit_container(answer);
}

// Lists the services of the class of the VX-310. Returns a negative errno when the driver service
// does not list them.
int findInterfaces(sd_bus* bus, std::vector<Service>* interfaces) {
  sd_bus_message* answer = nullptr;
  int result = sd_bus_call_method(bus, kDriverName, kDriverPath, kObjectManagerInterface,
                                  "GetManagedObjects", nullptr, &answer, "");
  const BusMessage owner(answer);
  if (result >= 0) result = sd_bus_message_enter_container(answer, 'a', "{oa{sa{sv}}}");
  if (result < 0) return result;
  while ((result = sd_bus_message_enter_container(answer, 'e', "oa{sa{sv}}")) > 0) {
    Service service;
    result = readObject(answer, &service);
    if (result >= 0) result = sd_bus_message_exit_container(answer);
    if (result < 0) return result;
    if (service.className == kVX310DriverClass) interfaces->push_back(service);
  }
  return result;
}

// The driver may have died of the request, or have stopped in it. `ended` is its process.
std::string afterwards(std::uint32_t process, const FileDescriptor& ended,
                       const Deadline& deadline) {
  constexpr int kEndLimitMs = 250;  // its connections are closed a moment before
  const int limit = std::min(kEndLimitMs, deadline.milliseconds());
  pollfd waited{ended.get(), POLLIN, 0};
  if (ended && ::poll(&waited, 1, limit) > 0) return "; the driver service has died of it";
  if (stateOf(process) == 'T') return "; the driver service has been stopped in it";
  return "";
}

// Returns false when the deadline has passed before it is known how the interface answers.
bool checkInterface(Diagnosis& diagnosis, sd_bus* bus, const Service& service,
                    const Deadline& deadline) {
  const std::string number = service.path.substr(service.path.rfind('/') + 1);
  limitCall(bus, deadline);
  const std::uint32_t process = numberOfOwner(bus, "GetConnectionUnixProcessID", kDriverName);
  const FileDescriptor ended(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
  limitCall(bus, deadline);
  const auto problem = probeInterface(bus, service.path.c_str(), deadline);
  if (!problem) return false;
  if (problem->empty()) {
    diagnosis.ok(kInterfaceCheck, number + " answers all requests");
    return true;
  }
  const std::string after = afterwards(process, ended, deadline);
  diagnosis.fault(kInterfaceCheck, number + ": " + *problem + after,
                  after.find("stopped") != after.npos
                      ? "continue it with 'kill -CONT " + std::to_string(process) + "'"
                      : "unplug the interface and plug it in again; if it stays so, " +
                            std::string(kRestartDriver));
  return true;
}

// Returns how many there are.
int checkInterfaces(Diagnosis& diagnosis, sd_bus* bus, const Deadline& deadline) {
  limitCall(bus, deadline);
  std::vector<Service> interfaces;
  if (const int result = findInterfaces(bus, &interfaces); result < 0) {
    diagnosis.fault(
        kInterfaceCheck,
        "the driver service does not list its interfaces: " + std::string(std::strerror(-result)),
        kRestartDriver);
    return 0;
  }
  if (interfaces.empty()) {
    diagnosis.warn(kInterfaceCheck, "no VX-310 is connected",
                   "plug it in; the virtual one with 'vx310ctl sim plug'");
  }
  std::size_t checked = 0;
  while (checked < interfaces.size() &&
         checkInterface(diagnosis, bus, interfaces[checked], deadline)) {
    ++checked;
  }
  if (checked < interfaces.size()) {
    diagnosis.warn(kInterfaceCheck,
                   std::to_string(interfaces.size() - checked) + " of " +
                       std::to_string(interfaces.size()) +
                       " were not looked at, since the others answer too slowly",
                   "mend what is said of the others first");
  }
  return static_cast<int>(interfaces.size());
}

}  // namespace

int checkDriver(Diagnosis& diagnosis) {
  Bus bus;
  if (!openBus(diagnosis, &bus)) return 0;
  const bool panelRuns = hasOwner(bus.get(), kPanelBusName);
  int interfaces = 0;
  if (!hasOwner(bus.get(), kDriverName)) {
    checkMissingDriver(diagnosis, bus.get());
  } else if (checkOwner(diagnosis, bus.get())) {
    const Deadline deadline(kInterfacesLimitMs);
    checkInjectedFaults(diagnosis, bus.get(), deadline);  // before the requests, which use them up
    interfaces = checkInterfaces(diagnosis, bus.get(), deadline);
  }
  diagnosis.ok(kPanelCheck, panelRuns ? "is running" : "is not running");
  return interfaces;
}

}  // namespace vx310ctl
