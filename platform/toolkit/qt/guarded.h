// SPDX-License-Identifier: MIT
// The border that no exception passes: the toolkit's event delivery.
#pragma once

#include <QtGlobal>
#include <exception>

namespace qt_toolkit {

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
