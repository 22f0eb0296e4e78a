// SPDX-License-Identifier: MIT
// Gathers everything that the panel shows about the interface and sends it over the bridge.
#pragma once

// Shows the current device's state, or the state without a device. What the device cannot say is
// shown as its operation reports it; nothing fails. Main thread only.
void IOSetData();
