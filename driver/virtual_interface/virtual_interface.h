// SPDX-License-Identifier: MIT
// A complete VX-310 without hardware: the model behind the interface that the driver serves.
#pragma once

#include <functional>

#include "driver/interface.h"
#include "driver/virtual_interface/model.h"

namespace driver {

class VirtualInterface final : public Interface {
 public:
  // `number` tells the interfaces of one driver apart, the first has 1.
  explicit VirtualInterface(Model model = {}, std::size_t number = 1)
      : model_(std::move(model)), number_(number) {}

  RegistryEntry registryEntry() const override { return registryEntryOf(model_); }
  std::string audioDeviceName() const override;
  std::string audioNodeName() const override;
  AudioState audioState() const override { return audioStateOf(model_); }
  void setMeter(LevelMeter* meter) override { meter_ = meter; }
  Outcome answer(VQ_Dispatch& record) override;
  bool setRouting(bool input, std::int32_t pair, std::int32_t value) override;
  void connected() override;
  void setListener(InterfaceListener* listener) override { listener_ = listener; }

  const Model& model() const { return model_; }

  // Changes the model from outside, as plugs, cables and other programs do, then notifies the
  // listener once.
  void change(const std::function<void(Model&)>& apply);

 private:
  Model model_;
  const std::size_t number_;
  InterfaceListener* listener_ = nullptr;
  LevelMeter* meter_ = nullptr;
};

}  // namespace driver
