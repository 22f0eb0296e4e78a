// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/model.h"

namespace driver {

bool setRouting(Model& model, bool input, std::int32_t pair, std::int32_t value) {
  const std::int32_t pairs = input ? kInputPairs : kOutputPairs;
  const std::int32_t sources = input ? kInputSources : kOutputSources;
  if (pair < 0 || pair >= pairs || value < 0 || value >= sources) return false;
  const auto index = static_cast<std::size_t>(pair);
  (input ? model.routings.inputs[index] : model.routings.outputs[index]) = value;
  return true;
}

VQ_DeviceConfiguration configurationAt(std::uint32_t sampleRate) {
  return {sampleRate, kInputChannels, kSampleWidth, kOutputChannels, kSampleWidth};
}

bool setConfiguration(Model& model, const VQ_DeviceConfiguration& configuration) {
  return configuration == configurationAt(configuration.sampleRate) &&
         model.clock.setRate(configuration.sampleRate);
}

AudioState audioStateOf(const Model& model) {
  return {model.routings, model.clock.rate(), model.clock.digitalInput().lockState == kLockValid,
          !model.streamingSuspended};
}

RegistryEntry registryEntryOf(const Model& model) {
  RegistryEntry entry;
  entry.className = model.identity.className;
  entry.vendorId = model.identity.vendorId;
  entry.productId = model.identity.productId;
  entry.productName = model.identity.productName;
  entry.routings = model.routings;
  if (entry.className == kOrbekServiceClass) entry.orbekUid = model.identity.uniqueId;
  return entry;
}

std::uint32_t notificationForChange(const Model& before, const Model& after) {
  std::uint32_t notification = 0;
  const auto note = [&notification](bool changed, std::uint32_t number) {
    // Several changes at once are announced as one general change.
    if (changed) notification = notification == 0 ? number : kStateChanged;
  };
  note(before.clock.digitalInput() != after.clock.digitalInput(), kDigitalInputChanged);
  note(before.clock.rate() != after.clock.rate() || before.bufferSize != after.bufferSize,
       kConfigurationChanged);
  note(before.clock.chosen() != after.clock.chosen(), kClockSourceChanged);
  note(before.options != after.options || before.routings != after.routings, kOptionsChanged);
  note(before.identity != after.identity || before.versions != after.versions ||
           before.usb2 != after.usb2 || before.channelMap != after.channelMap ||
           before.deviceName != after.deviceName,
       kStateChanged);
  return notification;
}

}  // namespace driver
