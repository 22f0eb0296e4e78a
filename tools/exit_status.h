// SPDX-License-Identifier: MIT
// How vx310ctl ends.
#pragma once

namespace vx310ctl {

enum ExitStatus {
  kDone = 0,
  kFailed = 1,      // the interface or its driver refused, or could not be read
  kUsage = 2,       // the command line is wrong
  kNoDriver = 3,    // no driver service is running
  kNoInterface = 4  // no such interface
};

}  // namespace vx310ctl
