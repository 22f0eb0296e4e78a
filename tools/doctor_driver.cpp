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
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

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

// The folders of the session bus's services, the first ones first.
std::vector<std::string> serviceFolders() {
  const auto environment = [](const char* name, const std::string& otherwise) {
    const char* value = std::getenv(name);
    return value && *value ? std::string(value) : otherwise;
  };
  std::istringstream list(environment("XDG_RUNTIME_DIR", "") + ":" +
                          environment("XDG_DATA_HOME", environment("HOME", "") + "/.local/share") +
                          ":" + environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share"));
  std::vector<std::string> folders;
  for (std::string folder; std::getline(list, folder, ':');) {
    if (!folder.empty()) folders.push_back(folder + "/dbus-1/services");
  }
  return folders;
}

// The program that the session bus would start as the driver service; empty when it is not known.
std::string programOfActivation() {
  for (const std::string& folder : serviceFolders()) {
    std::ifstream file(folder + "/" + kDriverName + ".service");
    for (std::string line; std::getline(file, line);) {
      if (!line.starts_with("Exec=")) continue;
      line.erase(0, std::strlen("Exec="));
      return line.starts_with('"') ? line.substr(1, line.find('"', 1) - 1)
                                   : line.substr(0, line.find(' '));
    }
  }
  return {};
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
  const std::string program = isActivatable ? programOfActivation() : "";
  if (!program.empty() && ::access(program.c_str(), X_OK) != 0) {
    diagnosis.fault(kDriverCheck,
                    "is not running, and the program that the session bus would start cannot be "
                    "run: " +
                        diagnosis.path(program) + ": " + std::strerror(errno),
                    "install the driver service again");
  } else if (isActivatable) {
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

// By a virtual interface's number, its faults that wait for the next requests: `vx310ctl sim
// fault`.
using InjectedFaults = std::map<std::uint32_t, std::string>;

InjectedFaults findInjectedFaults(sd_bus* bus, const Deadline& deadline) {
  constexpr std::uint32_t kMostInterfaces = 128;
  InjectedFaults faults;
  for (std::uint32_t number = 0; number < kMostInterfaces && !deadline.hasPassed(); ++number) {
    limitCall(bus, deadline);
    sd_bus_message* answer = nullptr;
    sd_bus_call_method(bus, kDriverName, kVirtualInterfacesPath, kVirtualInterfacesInterface,
                       kRunMethod, nullptr, &answer, "uas", number, 2, "state", "--json");
    const BusMessage owner(answer);
    const char* text = nullptr;
    if (!answer || sd_bus_message_read(answer, "s", &text) < 0) break;  // there are no more
    const auto state = nlohmann::json::parse(text, nullptr, false);
    if (!state.is_object() || !state.contains(member::kFaultKinds)) break;
    std::string kinds;
    for (const auto& kind : state[member::kFaultKinds]) {
      if (kind.is_string()) kinds += (kinds.empty() ? "" : ", ") + kind.get<std::string>();
    }
    if (!kinds.empty()) faults[number] = kinds;
  }
  return faults;
}

void reportInjectedFaults(Diagnosis& diagnosis, const InjectedFaults& faults, bool hasDriver) {
  for (const auto& [number, kinds] : faults) {
    const std::string index = std::to_string(number);
    diagnosis.warn(kInjectedCheck, "virtual interface " + index + ": " + kinds,
                   hasDriver ? "end them with 'vx310ctl sim --interface " + index + " fault none'"
                             : "they have ended with the driver service");
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
  std::ranges::sort(*interfaces, [](const Service& left, const Service& right) {
    return std::pair(left.path.size(), left.path) < std::pair(right.path.size(), right.path);
  });
  return result;
}

// The process of the driver service.
struct DriverProcess {
  std::uint32_t number;
  FileDescriptor ended;  // readable once it has ended

  bool hasEnded(int limitMs) const {
    pollfd waited{ended.get(), POLLIN, 0};
    return ended && ::poll(&waited, 1, limitMs) > 0;
  }
};

// Returns false when the deadline has passed before it is known how the interface answers.
bool checkInterface(Diagnosis& diagnosis, sd_bus* bus, const DriverProcess& driver,
                    const Service& service, const Deadline& deadline) {
  constexpr int kEndLimitMs = 250;  // its connections are closed a moment before
  const std::string number = service.path.substr(service.path.rfind('/') + 1);
  limitCall(bus, deadline);
  bool isUsb11 = false;
  const auto problem = probeInterface(bus, service.path.c_str(), deadline, &isUsb11);
  if (!problem) return false;
  if (problem->empty() && isUsb11) {
    diagnosis.warn(kInterfaceCheck, number + " is connected as USB 1.1, which is not supported",
                   "connect it to a USB 2.0 port directly");
  } else if (problem->empty()) {
    diagnosis.ok(kInterfaceCheck, number + " answers all requests");
  } else if (driver.hasEnded(std::min(kEndLimitMs, deadline.milliseconds()))) {
    // The driver may have died of the request, or have stopped in it.
    diagnosis.fault(kInterfaceCheck,
                    number + ": " + *problem + "; the driver service has died of it", kStartDriver);
  } else if (stateOf(driver.number) == 'T') {
    diagnosis.fault(kInterfaceCheck,
                    number + ": " + *problem + "; the driver service has been stopped in it",
                    "continue it with 'kill -CONT " + std::to_string(driver.number) + "'");
  } else {
    diagnosis.fault(kInterfaceCheck, number + ": " + *problem,
                    "unplug the interface and plug it in again; if it stays so, " +
                        std::string(kRestartDriver));
  }
  return true;
}

// Returns how many there are.
int checkInterfaces(Diagnosis& diagnosis, sd_bus* bus, const DriverProcess& driver,
                    const Deadline& deadline) {
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
         checkInterface(diagnosis, bus, driver, interfaces[checked], deadline)) {
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
    const std::uint32_t process =
        numberOfOwner(bus.get(), "GetConnectionUnixProcessID", kDriverName);
    const DriverProcess driver{
        process, FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)))};
    // Before the requests, which use them up.
    const InjectedFaults faults = findInjectedFaults(bus.get(), deadline);
    interfaces = checkInterfaces(diagnosis, bus.get(), driver, deadline);
    reportInjectedFaults(diagnosis, faults, !driver.hasEnded(0));
  }
  diagnosis.ok(kPanelCheck, panelRuns ? "is running" : "is not running");
  return interfaces;
}

}  // namespace vx310ctl
