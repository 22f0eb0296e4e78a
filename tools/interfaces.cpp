#include "tools/interfaces.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "device/discovery.h"
#include "device/usb_device.h"
#include "driver/service/handles.h"
#include "driver/service/names.h"

namespace vx310ctl {

namespace {

constexpr std::string_view kClassName = "LumKernelDeviceVantrelVX310";
constexpr std::uint64_t kBusLimitMicroseconds = 250'000;

void collect(void* context, USBDevice* device, VQAPI_CBEvent event) {
  if (event != VQAPI_CB_Arrived) return;
  device->retain();
  static_cast<std::vector<USBDevice*>*>(context)->push_back(device);
}

bool driverIsRunning() {
  sd_bus* raw = nullptr;
  const int opened = sd_bus_open_user(&raw);
  const driver::Bus bus(raw);
  if (opened < 0) return false;
  sd_bus_set_method_call_timeout(raw, kBusLimitMicroseconds);
  sd_bus_message* answer = nullptr;
  sd_bus_call_method(raw, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                     "NameHasOwner", nullptr, &answer, "s", driver::kBusName);
  const driver::BusMessage reply(answer);
  int owned = 0;
  return answer && sd_bus_message_read(answer, "b", &owned) > 0 && owned != 0;
}

}  // namespace

Interfaces::Interfaces() {
  const QuietStandardOutput quiet;
  GUID identity{};
  std::copy(kClassName.begin(), kClassName.end(), identity.begin());
  vqapiInit(collect, &devices_, identity);
}

Interfaces::~Interfaces() {
  for (USBDevice* device : devices_) {
    device->close();
    device->release();
  }
  vqapiTerm();
}

ExitStatus Interfaces::status() const {
  if (!devices_.empty() || driverIsRunning()) return kDone;
  std::fputs("vx310ctl: no driver service is running (start vx310-driver)\n", stderr);
  return kNoDriver;
}

QuietStandardOutput::QuietStandardOutput() {
  std::fflush(stdout);
  kept_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
  const driver::FileDescriptor nothing(open("/dev/null", O_WRONLY | O_CLOEXEC));
  if (kept_ >= 0 && nothing) dup2(nothing.get(), STDOUT_FILENO);
}

QuietStandardOutput::~QuietStandardOutput() {
  std::fflush(stdout);
  if (kept_ < 0) return;
  dup2(kept_, STDOUT_FILENO);
  close(kept_);
}

}  // namespace vx310ctl
