// SPDX-License-Identifier: MIT
// USB control requests tunnelled through command 34. The record has two layouts: the old one, used
// with drivers of major version 1, and the new one, used with every other driver and, by callers
// that ask for it, with those of version 1 too.
#pragma once

#include "driver/interface.h"
#include "driver/virtual_interface/model.h"

namespace driver {

// Answers the request in the record, in the layout it came in.
Outcome answerUsbRequest(Model& model, VQ_Dispatch& record);

}  // namespace driver
