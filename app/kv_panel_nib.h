// SPDX-License-Identifier: MIT
// The owner of the panel's window file.
#pragma once

#include <memory>

#include "platform/toolkit/toolkit.h"

// Makes the controller and binds its outlets and button actions to the controls of those names.
std::unique_ptr<NSObject> loadPanelNib(NSNib& nib);
