// SPDX-License-Identifier: MIT
#include "driver/virtual_control/settings.h"

#include "settings/osx_asio_registry.h"

namespace driver {

void applyStoredSettings(Model& model) {
  OSXAsioRegistry settings(kVX310Settings);
  VqAjExtData stored;
  settings.loadAjExt(stored);
  stored.validate();
  model.clock.choose(static_cast<VQE_ClockSource>(stored.mClockSource));
  model.options.usb1Mode = stored.mUSB1Mode;
  model.options.digitalOutMode = stored.mDigitalOutMode;
  model.options.digitalOutSelector = stored.mDigitalOutSelector;
}

}  // namespace driver
