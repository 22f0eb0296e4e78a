// SPDX-License-Identifier: MIT
// Keeps exceptions out of Qt, which cannot pass them on from an event.
#pragma once

#include <QtGlobal>
#include <exception>

namespace qt_toolkit {

// Runs `call`; an exception is logged and dropped.
template <typename Call>
void guarded(const Call& call) noexcept {
  try {
    call();
  } catch (const std::exception& failure) {
    qWarning("an event was not handled: %s", failure.what());
  } catch (...) {
    qWarning("an event was not handled");
  }
}

}  // namespace qt_toolkit
