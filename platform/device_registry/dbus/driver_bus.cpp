// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/driver_bus.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/driver_waits/driver_waits.h"
#include "platform/log/log.h"
#include "platform/notices/notices.h"
#include "protocol/natural_order.h"
#include "protocol/services.h"

namespace device_registry {

namespace {

using session_bus::kBusName;
using session_bus::kBusPath;

// Messages processed in one turn; the run loop calls again for the rest.
constexpr int kReceiveLimit = 1000;

// The most services of one driver, which publishes one for each connected interface. Further ones
// are ignored.
constexpr std::size_t kServiceLimit = 1024;

// How long a program without a window waits for the list of services, or for the driver's start.
constexpr int kListingLimitMs = 1000;

// Longer arguments of messages are not a driver's.
constexpr std::size_t kArgumentLimit = 256;

// A service is repaired so many times, then again after this long without a repair.
constexpr int kRepairLimit = 3;
constexpr std::chrono::seconds kRepairBreak{10};
// After so long a message of the driver allows another repair.
constexpr std::chrono::seconds kMessageRepairBreak{1};

// Processes up to kReceiveLimit received messages. Negative when the bus is lost, 1 when messages
// may be left, 0 when none are.
int processReceived(sd_bus* bus) {
  for (int i = 0; i < kReceiveLimit; ++i) {
    const int result = sd_bus_process(bus, nullptr);
    if (result <= 0) return result;
  }
  return 1;
}

// Reads the interfaces of one object ("a{sa{sv}}") and moves behind them. Returns the service's
// class name, empty when it has none; nullopt when the object is no service.
std::optional<std::string> readClassName(sd_bus_message* message) {
  std::optional<std::string> className;
  if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sa{sv}}") <= 0) return {};
  while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sa{sv}") > 0) {
    const char* interface = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &interface) <= 0) return {};
    const auto properties = readDictionary(message);
    if (!properties) return {};
    if (interface == std::string_view(kServiceInterface)) {
      const auto* name = CFDictionaryGet<std::string>(*properties, kClassNameProperty);
      className = name ? *name : std::string();
    }
    if (sd_bus_message_exit_container(message) < 0) return {};
  }
  sd_bus_message_exit_container(message);
  return className;
}

// Whether the path is below the object manager's.
bool isServicePath(std::string_view path) {
  const std::string folder = std::string(kDriverPath) + "/";
  return path.size() > folder.size() && path.starts_with(folder);
}

}  // namespace

IOReturn DriverBus::connect() {
  const int result = reachBus();
  if (result >= 0) return kIOReturnSuccess;
  platform::printError("%s: cannot reach the session bus: %s; no interface can be found\n",
                       program_invocation_short_name, session_bus::reasonOf(result).c_str());
  if (driverWaits().areLimited() && awaitBus()) return kIOReturnSuccess;
  return result == -ETIMEDOUT ? kIOReturnTimeout : kIOReturnError;
}

int DriverBus::reachBus() {
  // A program without a window does not follow the driver: it waits for the services that are
  // there.
  const bool follows = driverWaits().areLimited();
  const DriverWaits::Call wait(driverWaits(), follows ? kRegistryCallLimitMs : kListingLimitMs);
  const Deadline deadline(wait.limitMs());
  watcher_ = FileDescriptor(epoll_create1(EPOLL_CLOEXEC));
  if (const int result = startBus(); result < 0) return result;
  if (!calls_.connect()) return -ENOTCONN;
  const std::array buses{bus_.get(), calls_.bus()};
  while (!isReady() || !settled_) {
    int more = 0;
    for (sd_bus* bus : buses) {
      const int result = processReceived(bus);
      if (result < 0) return result;
      more |= result;
    }
    if (deadline.hasPassed() && !(isReady() && follows)) return -ETIMEDOUT;
    if (deadline.hasPassed()) break;
    if (more == 0 && !(isReady() && settled_)) session_bus::waitForBuses(buses, deadline);
  }
  return watchBus();
}

bool DriverBus::isReady() const {
  return sd_bus_is_ready(bus_.get()) > 0 && sd_bus_is_ready(calls_.bus()) > 0;
}

bool DriverBus::watch(int descriptor) {
  epoll_event event{};
  event.events = EPOLLIN;
  return epoll_ctl(watcher_.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

int DriverBus::startBus() {
  int result = session_bus::startSessionBus(&bus_);
  if (result >= 0) result = addMatches();
  if (result >= 0) result = watchBus();
  return result;
}

// Until it is ready, the bus library may move on to the next server of the address, which has
// another descriptor, and may wait to write as well.
int DriverBus::watchBus() {
  const int descriptor = sd_bus_get_fd(bus_.get());
  const bool isUp = sd_bus_is_ready(bus_.get()) > 0;
  const int events = isUp ? int{EPOLLIN} : sd_bus_get_events(bus_.get());
  if (descriptor < 0 || events < 0) return std::min(descriptor, events);
  epoll_event event{};
  event.events = static_cast<std::uint32_t>(events);
  if (epoll_ctl(watcher_.get(), EPOLL_CTL_MOD, descriptor, &event) == 0) return 0;
  return epoll_ctl(watcher_.get(), EPOLL_CTL_ADD, descriptor, &event) == 0 ? 0 : -errno;
}

// The bus handles requests of one connection in order: the matches are in place before it looks up
// the owner, and the owner is known before the services are listed, so no announcement is missed.
int DriverBus::addMatches() {
  const std::string fromDriver = std::string("type='signal',sender='") + kDriverName + "',";
  const std::string manager =
      fromDriver + "interface='" + kObjectManagerInterface + "',path='" + kDriverPath + "',member=";
  const std::string ownerChange = session_bus::ownerChangeMatch(kDriverName);
  const std::string message = fromDriver + "interface='" + kServiceInterface +
                              "',path_namespace='" + kDriverPath + "',member='" + kMessageSignal +
                              "'";
  const auto add = [this](const std::string& match, sd_bus_message_handler_t handler) {
    return sd_bus_add_match_async(bus_.get(), nullptr, match.c_str(), handler, nullptr, this);
  };
  int result = add(ownerChange, ownerChanged);
  if (result >= 0) result = add(manager + "'InterfacesAdded'", interfacesAdded);
  if (result >= 0) result = add(manager + "'InterfacesRemoved'", interfacesRemoved);
  if (result >= 0) result = add(message, messageSent);
  if (result < 0) return result;
  return sd_bus_call_method_async(bus_.get(), nullptr, kBusName, kBusPath, kBusName, "GetNameOwner",
                                  ownerKnown, this, "s", kDriverName);
}

void DriverBus::receive() {
  if (socket_) followSocket();
  if (bus_ && !process()) lose();
  readProbes();
}

// False when the bus is lost.
bool DriverBus::process() {
  const int result = processReceived(bus_.get());
  if (result < 0 || sd_bus_is_open(bus_.get()) <= 0) return false;
  if (result > 0) registry_.wakePorts();
  if (!socket_) return true;
  if (sd_bus_is_ready(bus_.get()) > 0) {
    socket_.reset();
    calls_.connect();
  }
  return watchBus() >= 0;
}

// A bus that is lost before it was ready is not tried again until its socket's path changes: a
// server that ends each connection would keep the process busy.
void DriverBus::lose() {
  setOwner("");
  bus_.reset();
  if (socket_) return;
  platform::printError("%s: the session bus has gone; no interface can be found until it is back\n",
                       program_invocation_short_name);
  awaitBus();
}

bool DriverBus::awaitBus() {
  setNotice(Notice::kDriverAbsent, true);  // a driver ends with its bus
  const std::string path = session_bus::sessionBusSocketPath();
  socket_.emplace(path);
  watch(socket_->descriptor());
  socket_->arm();
  // The socket of a bus that is started on demand always exists and causes no event.
  if (startBus() < 0 || !process()) bus_.reset();
  return !path.empty() && socket_->descriptor() >= 0;
}

void DriverBus::followSocket() {
  if (!socket_->takeEvents()) return;
  socket_->arm();
  if (startBus() < 0) bus_.reset();
}

void DriverBus::setOwner(const std::string& owner) {
  if (owner == owner_) return;
  services_.clear();
  silences_.clear();
  repairs_.clear();
  registry_.terminateAll();
  listing_.reset();
  owner_ = owner;
  calls_.setOwner(owner);
  setNotice(Notice::kDriverAbsent, owner.empty());
  if (!owner.empty()) listServices();
}

// Asks the bus to start an installed driver service, which then appears as a new owner.
void DriverBus::startDriver() {
  if (sd_bus_call_method_async(bus_.get(), nullptr, kBusName, kBusPath, kBusName,
                               "StartServiceByName", driverStarted, this, "su", kDriverName,
                               0) < 0) {
    lackDriver();
  }
}

void DriverBus::lackDriver() {
  settled_ = true;
  setNotice(Notice::kDriverAbsent, owner_.empty());
}

// The call has no timeout: a late answer still lists the services.
void DriverBus::listServices() {
  sd_bus_message* request = nullptr;
  sd_bus_slot* slot = nullptr;
  if (sd_bus_message_new_method_call(bus_.get(), &request, owner_.c_str(), kDriverPath,
                                     kObjectManagerInterface, "GetManagedObjects") < 0) {
    return;
  }
  const BusMessage owned(request);
  if (sd_bus_call_async(bus_.get(), &slot, request, servicesListed, this, UINT64_MAX) >= 0) {
    listing_.reset(slot);
  }
}

bool DriverBus::isFromOwner(sd_bus_message* message) const {
  const char* sender = sd_bus_message_get_sender(message);
  return sender && !owner_.empty() && owner_ == sender;
}

// Ignores an object that is no service (nullopt).
void DriverBus::addService(const std::string& path, const std::optional<std::string>& className) {
  if (!className || !isServicePath(path) || services_.contains(path)) return;
  if (services_.size() == kServiceLimit) return;
  auto service = std::make_shared<DriverService>(
      registry_.numbers, *className, path, calls_,
      [this, path](DriverService::Event event) { noteEvent(path, event); });
  services_.emplace(path, service);
  registry_.publish(service);
}

void DriverBus::removeService(const std::string& path) {
  const auto entry = services_.find(path);
  if (entry == services_.end()) return;
  silences_.erase(path);
  repairs_.erase(path);
  registry_.terminate(entry->second);
  services_.erase(entry);
}

void DriverBus::noteEvent(const std::string& path, DriverService::Event event) {
  if (event == DriverService::Event::kAsked && registry_.isInTurn) return;
  const auto entry = services_.find(path);
  if (entry == services_.end()) return;
  const bool isInArrival = entry->second->handedOutTurn() == registry_.turn;
  // A client that reads a service outside the callbacks, as at its start, needs a turn to end it.
  if (event == DriverService::Event::kAsked && !isInArrival) return;
  registry_.wakePorts();  // the next turn has time for waiting again
  if (event == DriverService::Event::kAsked || event == DriverService::Event::kWaited) return;
  Silence& silence = silences_[path];
  silence.inArrival |= isInArrival;
  if (event == DriverService::Event::kSilence) {
    silence.timedOut = silence.isLimited = true;
    silence.answersAgain = false;
    silence.needsProbe = !silence.probe;
    startProbes();
  } else {
    silence.answersAgain |= !silence.timedOut;
    silence.isLimited |= entry->second->wasAsked();
  }
}

// Few at a time, since each keeps a connection open until it is answered.
void DriverBus::startProbes() {
  constexpr std::ptrdiff_t kProbeLimit = 8;
  std::ptrdiff_t running = std::ranges::count_if(
      silences_, [](const auto& entry) { return entry.second.probe != nullptr; });
  for (auto& [path, silence] : silences_) {
    if (running == kProbeLimit) return;
    if (!std::exchange(silence.needsProbe, false)) continue;
    silence.probe = std::make_unique<DriverProbe>(bus_.get(), watcher_.get(), owner_, path);
    ++running;
  }
}

// A refused probe is repeated at the driver's next message.
void DriverBus::readProbes() {
  for (auto& [path, silence] : silences_) {
    if (!silence.probe) continue;
    const DriverProbe::State state = silence.probe->read();
    if (state == DriverProbe::State::kWaiting) continue;
    silence.probe.reset();
    silence.answersAgain = state == DriverProbe::State::kAnswered;
    registry_.wakePorts();
  }
}

void DriverBus::beginTurn() {
  driverWaits().renew();
  receive();
  startProbes();
  std::vector<std::pair<std::string, bool>> due;
  for (const auto& [path, silence] : silences_) {
    if (silence.answersAgain && (!silence.isLimited || mayRepair(path))) {
      due.emplace_back(path, silence.inArrival);
    }
  }
  std::ranges::sort(due, NaturalOrder{}, [](const auto& entry) { return entry.first; });
  // All leave before they come back, so that the client gets each of both in one callback, with one
  // pause.
  std::vector<std::pair<std::string, std::string>> again;  // path and class name
  for (const auto& [path, inArrival] : due) {
    const std::shared_ptr<DriverService> service = endSilence(path);
    if (inArrival) {
      again.emplace_back(path, service->className());
      services_.erase(path);
      registry_.terminate(service);
    } else {
      registry_.sendMessage(*service, kDriverMessage, driverMessageArgument(kStateChanged));
    }
  }
  for (const auto& [path, className] : again) addService(path, className);
}

bool DriverBus::mayRepair(const std::string& path) {
  const auto now = std::chrono::steady_clock::now();
  Repairs& repairs = repairs_[path];
  if (now - repairs.last >= kRepairBreak) repairs.count = 0;
  if (repairs.count == kRepairLimit) return false;
  ++repairs.count;
  repairs.last = now;
  return true;
}

// A message is the driver's own sign of life, unlike an answer to one of many late calls: it allows
// one more repair, at most one a second.
void DriverBus::allowRepair(const std::string& path) {
  Repairs& repairs = repairs_[path];
  if (std::chrono::steady_clock::now() - repairs.last < kMessageRepairBreak) return;
  repairs.count = std::min(repairs.count, kRepairLimit - 1);
}

std::shared_ptr<DriverService> DriverBus::endSilence(const std::string& path) {
  silences_.erase(path);
  calls_.endPause();
  std::shared_ptr<DriverService> service = services_.at(path);
  service->endPauses();
  return service;
}

int DriverBus::ownerKnown(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  const char* owner = nullptr;
  if (sd_bus_message_is_method_error(message, nullptr) == 0 &&
      sd_bus_message_read(message, "s", &owner) > 0) {
    bus.setOwner(owner);
  } else {
    bus.startDriver();
  }
  return 0;
}

// On success the new owner has been announced before this reply.
int DriverBus::driverStarted(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  if (sd_bus_message_is_method_error(message, nullptr)) {
    static_cast<DriverBus*>(self)->lackDriver();
  }
  return 0;
}

int DriverBus::ownerChanged(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  const char* name = nullptr;
  const char* before = nullptr;
  const char* after = nullptr;
  if (sd_bus_message_read(message, "sss", &name, &before, &after) > 0 &&
      name == std::string_view(kDriverName)) {
    static_cast<DriverBus*>(self)->setOwner(after);
  }
  return 0;
}

int DriverBus::servicesListed(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  bus.settled_ = true;
  if (sd_bus_message_is_method_error(message, nullptr) ||
      sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{oa{sa{sv}}}") <= 0) {
    return 0;
  }
  // The list is unordered, but drivers number their services.
  std::map<std::string, std::optional<std::string>, NaturalOrder> listed;
  while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "oa{sa{sv}}") > 0) {
    const char* path = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) <= 0) break;
    listed[path] = readClassName(message);
    if (sd_bus_message_exit_container(message) < 0) break;
  }
  for (const auto& [path, className] : listed) bus.addService(path, className);
  return 0;
}

int DriverBus::interfacesAdded(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  const char* path = nullptr;
  if (bus.isFromOwner(message) &&
      sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) > 0) {
    bus.addService(path, readClassName(message));
  }
  return 0;
}

int DriverBus::interfacesRemoved(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  const char* path = nullptr;
  if (!bus.isFromOwner(message) ||
      sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) <= 0 ||
      sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "s") <= 0) {
    return 0;
  }
  const char* interface = nullptr;
  while (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &interface) > 0) {
    if (interface == std::string_view(kServiceInterface)) bus.removeService(path);
  }
  return 0;
}

int DriverBus::messageSent(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  const char* path = sd_bus_message_get_path(message);
  const auto entry = path ? bus.services_.find(path) : bus.services_.end();
  std::uint32_t type = 0;
  const void* argument = nullptr;
  std::size_t size = 0;
  if (entry == bus.services_.end() || !bus.isFromOwner(message)) return 0;
  if (sd_bus_message_read(message, "u", &type) > 0 &&
      sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &argument, &size) > 0 &&
      size <= kArgumentLimit) {
    bus.registry_.sendMessage(*entry->second, type,
                              {static_cast<const std::uint8_t*>(argument), size});
  }
  const auto silence = bus.silences_.find(entry->first);
  if (silence == bus.silences_.end()) return 0;
  bus.allowRepair(entry->first);
  if (silence->second.answersAgain) return 0;
  // The answer to a probe may have been lost as well.
  if (silence->second.probe && !silence->second.probe->isOverdue()) return 0;
  silence->second.probe.reset();
  silence->second.needsProbe = true;
  bus.startProbes();
  return 0;
}

}  // namespace device_registry
