// SPDX-License-Identifier: MIT
// Runs Python's plistlib and plistutil on the preferences file of a test.
#pragma once

#include <array>
#include <cstdio>
#include <string>

#include "tests/preferences/preferences_test.h"

namespace preferences_test {

class OtherTools : public PreferencesTest {
 protected:
  // Runs a shell command, to which $file is the path, and expects success. Returns its output.
  std::string run(const std::string& command) {
    setenv("file", path().c_str(), 1);
    FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    std::array<char, 4096> block;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe)) {
      output.append(block.data(), count);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
  }

  // Runs a Python script, to which `file` is the path, and expects success. Returns its output.
  std::string python(const std::string& script) {
    home_.write("script.py", "import datetime, os, plistlib\nfile = os.environ['file']\n" + script);
    return run(std::string(VX310_PYTHON) + " '" + (home_.path() / "script.py").string() + "'");
  }
};

}  // namespace preferences_test
