// SPDX-License-Identifier: MIT
#include "tools/request_probe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "platform/device_registry/device_registry.h"
#include "platform/posix/posix.h"
#include "protocol/dispatch.h"
#include "protocol/options.h"
#include "protocol/services.h"

namespace vx310ctl {

namespace {

using session_bus::Deadline;

// The panel gives a request up after this; a later answer is late.
constexpr int kAnswerLimitMs = kRegistryCallLimitMs;
constexpr int kLateLimitMs = 2000;

constexpr const char* kMissing = "the answer is missing";

struct Request {
  VQ_Command command;
  const char* name;
};
using enum VQ_Command;
constexpr Request kRequests[] = {
    {kGetDriverVersion, "driver version"},
    {kGetString1, "unit id"},
    {kGetUsbSpeed, "speed"},
    {kGetDeviceDescriptor, "device descriptor"},
    {kGetCurrentConfiguration, "configuration"},
    {kGetCurrentBufferSize, "buffer size"},
    {kGetCurrentClockSource, "clock source"},
    {kGetDigitalStatus, "digital input"},
    {kGetFirmwareVersion, "firmware version"},
    {kGetFirmwareDate, "firmware date"},
    {kGetDigitalOutMode, "digital output format"},
    {kGetDigitalOutSelector, "USB 1.1 input"},
};

// The connection for requests. Empty after a refusal, with the reason in *problem.
FileDescriptor openInterface(sd_bus* bus, const char* path, std::string* problem) {
  sd_bus_error error{};
  sd_bus_message* answer = nullptr;
  int descriptor = -1;
  int result = sd_bus_call_method(bus, kDriverName, path, kServiceInterface, kOpenMethod, &error,
                                  &answer, "u", kDispatchConnectionType);
  const session_bus::BusMessage owner(answer);
  if (result >= 0) result = sd_bus_message_read(answer, "h", &descriptor);
  const int copy = result >= 0 ? ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0) : -1;
  if (copy < 0) {
    *problem = std::string("refuses to open: ") +
               (error.name ? error.name : std::strerror(result < 0 ? -result : errno));
  }
  sd_bus_error_free(&error);
  return FileDescriptor(copy);
}

bool waitForPacket(const FileDescriptor& connection, int limitMs, const Deadline& deadline) {
  pollfd waited{connection.get(), POLLIN, 0};
  return ::poll(&waited, 1, std::min(limitMs, deadline.milliseconds())) > 0;
}

// Takes the packet that waits, the answer to a request. Returns what is wrong with it.
std::string takeAnswer(const FileDescriptor& connection, const VQ_Dispatch& request,
                       VQ_Dispatch* answer) {
  auto& bytes = answer->bytes;
  // MSG_TRUNC: returns the answer's size also when it is larger than the buffer.
  const ssize_t size =
      ::recv(connection.get(), bytes.data(), bytes.size(), MSG_TRUNC | MSG_DONTWAIT);
  if (size < 0) return "the connection fails: " + std::string(std::strerror(errno));
  if (size == 0) {
    // An empty packet reads as the end of the connection does.
    pollfd state{connection.get(), POLLIN, 0};
    ::poll(&state, 1, 0);
    return (state.revents & POLLHUP) != 0 ? "the connection is closed instead of an answer"
                                          : "the answer is empty";
  }
  const auto expected = static_cast<ssize_t>(bytes.size());
  const bool hasCommand =
      std::memcmp(bytes.data(), request.bytes.data(), kDispatchRefusalSize) == 0;
  if (size == static_cast<ssize_t>(kDispatchRefusalSize) && hasCommand) return "it is refused";
  if (size < expected) {
    return "the answer is short, " + std::to_string(size) + " bytes of " + std::to_string(expected);
  }
  if (size > expected) {
    return "the answer is long, " + std::to_string(size) + " bytes in place of " +
           std::to_string(expected);
  }
  return hasCommand ? "" : "the answer is garbled";
}

std::string problemOf(const FileDescriptor& connection, VQ_Command command,
                      const Deadline& deadline, VQ_Dispatch* answer) {
  const VQ_Dispatch request(command);
  const auto packet = requestPacket(kDispatchSelector, request.bytes);
  if (::send(connection.get(), packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
    return "it cannot be sent: " + std::string(std::strerror(errno));
  }
  if (waitForPacket(connection, kAnswerLimitMs, deadline))
    return takeAnswer(connection, request, answer);
  if (waitForPacket(connection, kLateLimitMs, deadline)) {
    const std::string problem = takeAnswer(connection, request, answer);
    return problem.empty()
               ? "the answer is late, more than " + std::to_string(kAnswerLimitMs) + " ms"
               : problem;
  }
  return kMissing;
}

}  // namespace

std::optional<std::string> probeInterface(sd_bus* bus, const char* path, const Deadline& deadline,
                                          bool* isUsb11) {
  std::string problem;
  const FileDescriptor connection = openInterface(bus, path, &problem);
  for (const Request& request : kRequests) {
    if (!connection) break;
    VQ_Dispatch answer;
    problem = problemOf(connection, request.command, deadline, &answer);
    if (problem.empty() && request.command == kGetUsbSpeed) {
      *isUsb11 = answer.word(0) == kSpeedUsb11;
    }
    const VQ_Command other =
        request.command == kGetDriverVersion ? kGetUsbSpeed : kGetDriverVersion;
    if (problem == kMissing && problemOf(connection, other, deadline, &answer) == kMissing) {
      problem = "no request is answered";
      break;
    }
    if (problem.empty()) continue;
    problem = "request " + std::to_string(static_cast<std::uint32_t>(request.command)) + " (" +
              request.name + "): " + problem;
    break;
  }
  // What has no time any more is not wrong.
  if (!problem.empty() && deadline.hasPassed()) return std::nullopt;
  return problem;
}

}  // namespace vx310ctl
