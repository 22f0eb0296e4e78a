// SPDX-License-Identifier: MIT
// What each request command does to the model and answers. docs/driver-protocol.md has the table
// for readers.
#pragma once

#include "driver/interface.h"
#include "driver/virtual_interface/model.h"

namespace driver {

// Carries out the record's command and answers in place. A refused record is left as it came.
Outcome answerCommand(Model& model, VQ_Dispatch& record);

// True for commands that change a setting or the interface's doing, as opposed to reading.
bool isSettingCommand(VQ_Command command);

}  // namespace driver
