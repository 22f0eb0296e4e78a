#include "tools/interfaces.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "device/discovery.h"
#include "device/driver_services.h"
#include "device/usb_device.h"
#include "driver/service/names.h"
#include "tools/tool_bus.h"

namespace vx310ctl {

namespace {

void collect(void* context, USBDevice* device, VQAPI_CBEvent event) {
  if (event != VQAPI_CB_Arrived) return;
  device->retain();
  static_cast<std::vector<USBDevice*>*>(context)->push_back(device);
}

}  // namespace

ExitStatus driverStatus() {
  driver::Bus bus;
  if (const ExitStatus status = connectToBus(&bus); status != kDone) return status;
  sd_bus_message* answer = nullptr;
  sd_bus_call_method(bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                     "org.freedesktop.DBus", "NameHasOwner", nullptr, &answer, "s",
                     driver::kBusName);
  const driver::BusMessage reply(answer);
  int owned = 0;
  if (!answer || sd_bus_message_read(answer, "b", &owned) < 0) {
    std::fputs("vx310ctl: the session bus does not answer\n", stderr);
    return kFailed;
  }
  if (owned != 0) return kDone;
  std::fputs("vx310ctl: no driver service is running (start vx310-driver)\n", stderr);
  return kNoDriver;
}

Interfaces::Interfaces() {
  const QuietStandardOutput quiet;
  GUID identity{};
  std::string_view(kVX310DriverClass).copy(identity.data(), identity.size() - 1);
  vqapiInit(collect, &devices_, identity);
}

Interfaces::~Interfaces() {
  for (USBDevice* device : devices_) {
    device->close();
    device->release();
  }
  vqapiTerm();
}

ExitStatus Interfaces::status() const { return devices_.empty() ? driverStatus() : kDone; }

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

void QuietStandardOutput::print(const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(kept_, text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) std::exit(kFailed);
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

}  // namespace vx310ctl
