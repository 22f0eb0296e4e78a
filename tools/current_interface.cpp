#include "tools/current_interface.h"

#include <cstdio>
#include <utility>

#include "io/driver_events.h"

namespace vx310ctl {

CurrentInterface::CurrentInterface(std::function<void(const Info&)> infoShown,
                                   std::function<void()> updated)
    : infoShown_(std::move(infoShown)), updated_(std::move(updated)) {
  IOInit();
}

CurrentInterface::~CurrentInterface() { IOTerm(); }

ExitStatus CurrentInterface::status() const {
  if (_ioDevice) return kDone;
  if (const ExitStatus status = driverStatus(); status != kDone) return status;
  std::fputs("vx310ctl: no interface is connected\n", stderr);
  return kNoInterface;
}

void CurrentInterface::Invalidate(bool /*flag*/) {
  if (updated_) updated_();
}

void CurrentInterface::EnableUSB1Mode(bool /*enable*/) {}

void CurrentInterface::ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) {
  if (infoShown_) infoShown_({id, flag, value, text ? text : ""});
}

void CurrentInterface::FoundHardware(std::int32_t /*index*/) {}

}  // namespace vx310ctl
