// SPDX-License-Identifier: MIT
// The interface that the panel would show, without a panel: the same code follows it and passes
// what the panel would show to callbacks.
#pragma once

#include <functional>
#include <string>

#include "io/korvel_dlg.h"
#include "tools/interfaces.h"

namespace vx310ctl {

class CurrentInterface final : private PanelReceiver {
 public:
  // One info of the panel: shown, with its value and text, or not shown.
  struct Info {
    std::int32_t id;
    bool shown;
    std::int32_t value;
    std::string text;
  };

  // Finds the interface that is connected now. `infoShown` is called for each info in the order
  // that the panel would show them, `updated` after each round of them; both from within this
  // constructor and from the run loop. One at a time.
  explicit CurrentInterface(std::function<void(const Info&)> infoShown = {},
                            std::function<void()> updated = {});
  ~CurrentInterface();
  CurrentInterface(const CurrentInterface&) = delete;
  CurrentInterface& operator=(const CurrentInterface&) = delete;

  // kDone; otherwise explains on standard error what is missing, and stops following.
  ExitStatus status();

 private:
  void Detach() override {}
  void Invalidate(bool flag) override;
  void EnableUSB1Mode(bool enable) override;
  void ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) override;
  void FoundHardware(std::int32_t index) override;

  std::function<void(const Info&)> infoShown_;
  std::function<void()> updated_;
  CKorvelDlg bridge_{this};
};

}  // namespace vx310ctl
