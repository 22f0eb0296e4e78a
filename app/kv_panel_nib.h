// SPDX-License-Identifier: MIT
// Connects the panel's window to its controller.
#pragma once

#include <memory>

#include "platform/toolkit/toolkit.h"

// Makes the controller, binds its outlets to the controls of `nib` with the same names, and
// connects the actions of menus and buttons.
std::unique_ptr<NSObject> loadPanelNib(NSNib& nib);
