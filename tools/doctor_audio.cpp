// SPDX-License-Identifier: MIT
// The audio server, its session manager and the interface's audio device.
#include <cstring>
#include <memory>

#include "io/audio_device.h"
#include "platform/audio_server/audio_server.h"
#include "platform/pipewire/pipewire.h"
#include "platform/session_bus/session_bus.h"
#include "protocol/services.h"
#include "tools/doctor.h"

namespace vx310ctl {

namespace {

constexpr const char* kServerCheck = "audio_server";
constexpr const char* kManagerCheck = "session_manager";
constexpr const char* kDeviceCheck = "audio_device";

constexpr int kServerLimitMs = 2000;

// What a server tells each client at the start.
struct Server {
  std::string version;
  bool hasDefaultMetadata = false;  // which only session managers make
  bool hasAnswered = false;         // all of the above
};

// Asks the server of a loop for the above, once.
class ServerQuestion {
 public:
  // With a socket connected to the server, which it takes over.
  explicit ServerQuestion(int socket)
      : loop_(pw_loop_new(nullptr)), context_(pw_context_new(loop_.get(), nullptr, 0)) {
    core_ = context_ ? pw_context_connect_fd(context_.get(), socket, nullptr, 0) : nullptr;
    if (!core_) return;
    static const pw_core_events coreEvents = [] {
      pw_core_events events{};
      events.version = PW_VERSION_CORE_EVENTS;
      events.info = [](void* server, const pw_core_info* info) {
        static_cast<Server*>(server)->version = info->version ? info->version : "";
      };
      events.done = [](void* server, std::uint32_t, int) {
        static_cast<Server*>(server)->hasAnswered = true;
      };
      return events;
    }();
    static const pw_registry_events registryEvents = [] {
      pw_registry_events events{};
      events.version = PW_VERSION_REGISTRY_EVENTS;
      events.global = onGlobal;
      return events;
    }();
    pw_core_add_listener(core_, &coreListener_, &coreEvents, &server_);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry_, &registryListener_, &registryEvents, &server_);
    pw_core_sync(core_, PW_ID_CORE, 0);
  }
  ~ServerQuestion() {
    if (!core_) return;
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
    pw_core_disconnect(core_);
  }
  ServerQuestion(const ServerQuestion&) = delete;
  ServerQuestion& operator=(const ServerQuestion&) = delete;

  const Server& ask() {
    const session_bus::Deadline deadline(kServerLimitMs);
    pw_loop_enter(loop_.get());
    while (core_ && !server_.hasAnswered && !deadline.hasPassed()) {
      if (pw_loop_iterate(loop_.get(), deadline.milliseconds()) < 0) break;
    }
    pw_loop_leave(loop_.get());
    return server_;
  }

 private:
  struct Deleter {
    void operator()(pw_loop* loop) const { pw_loop_destroy(loop); }
    void operator()(pw_context* context) const { pw_context_destroy(context); }
  };

  static void onGlobal(void* server, std::uint32_t, std::uint32_t, const char* type, std::uint32_t,
                       const spa_dict* properties) {
    const char* name = properties ? spa_dict_lookup(properties, "metadata.name") : nullptr;
    if (std::strcmp(type, "PipeWire:Interface:Metadata") == 0 && name &&
        std::strcmp(name, "default") == 0) {
      static_cast<Server*>(server)->hasDefaultMetadata = true;
    }
  }

  std::unique_ptr<pw_loop, Deleter> loop_;
  std::unique_ptr<pw_context, Deleter> context_;
  pw_core* core_ = nullptr;
  pw_registry* registry_ = nullptr;
  spa_hook coreListener_{};
  spa_hook registryListener_{};
  Server server_;
};

// Returns whether the server answers.
bool checkServer(Diagnosis& diagnosis) {
  const std::string path = pipewire::serverSocketPath();
  const int socket = path.empty() ? -ENOENT : pipewire::connectToSocket(path);
  if (socket < 0) {
    const std::string where =
        path.empty() ? "; neither XDG_RUNTIME_DIR nor HOME is set" : " at " + diagnosis.path(path);
    diagnosis.fault(kServerCheck, std::string("PipeWire: ") + std::strerror(-socket) + where,
                    "start PipeWire: 'systemctl --user start pipewire', or log in again");
    return false;
  }
  const pipewire::Library library;
  ServerQuestion question(socket);
  const Server& server = question.ask();
  if (!server.hasAnswered) {
    diagnosis.fault(
        kServerCheck,
        "PipeWire does not answer within " + std::to_string(kServerLimitMs / 1000) + " s",
        "restart PipeWire: 'systemctl --user restart pipewire'");
    return false;
  }
  diagnosis.ok(kServerCheck, "PipeWire " + server.version + " answers");
  if (server.hasDefaultMetadata) {
    diagnosis.ok(kManagerCheck, "is running");
  } else {
    diagnosis.warn(kManagerCheck, "none is running, so that no program is connected to a device",
                   "start one: 'systemctl --user start wireplumber'");
  }
  return true;
}

bool isAmongMoreThanAreExamined() {
  std::uint32_t size = 0;
  return AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceListAddress, &size) ==
             kAudioHardwareNoError &&
         size / sizeof(AudioObjectID) > kExaminedDevices;
}

void checkDevice(Diagnosis& diagnosis, bool hasInterface) {
  const std::string name = kVX310AudioDeviceName;
  const AudioObjectID device = getHalDevice(kVX310AudioDeviceName);
  if (device != 0 && AudioObjectHasProperty(device, kRoutingAddress)) {
    diagnosis.ok(kDeviceCheck, name + " is there, with the routing property");
  } else if (device != 0) {
    diagnosis.fault(kDeviceCheck, name + " has no routing property: it is not the driver's",
                    "rename or remove the other audio device " + name);
  } else if (isAmongMoreThanAreExamined()) {
    diagnosis.fault(kDeviceCheck,
                    name + " is not among the first " + std::to_string(kExaminedDevices) +
                        " audio devices, which are all that is looked at",
                    "remove some of the other audio devices");
  } else if (hasInterface) {
    diagnosis.fault(kDeviceCheck, "there is no " + name + ", so that no routing can be set",
                    "plug the interface in again; if it stays away, restart vx310-driver");
  } else {
    diagnosis.ok(kDeviceCheck, "there is no " + name + ", as there is no interface");
  }
}

}  // namespace

void checkAudio(Diagnosis& diagnosis, bool hasInterface) {
  if (checkServer(diagnosis)) checkDevice(diagnosis, hasInterface);
}

}  // namespace vx310ctl
