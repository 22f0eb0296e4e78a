// SPDX-License-Identifier: MIT
#include <cstdarg>
#include <cstdio>

#include "platform/log/log.h"
#include "platform/pipewire/pipewire.h"

namespace pipewire {

namespace {

constexpr std::size_t kLongestMessage = 1024;  // what is beyond is cut

[[gnu::format(printf, 6, 0)]] void printList(void* /*object*/, spa_log_level /*level*/,
                                             const char* /*file*/, int /*line*/,
                                             const char* function, const char* format,
                                             va_list arguments) {
  char text[kLongestMessage];
  // The analyser takes the list for uninitialised, as it does not see who calls the function.
  std::vsnprintf(text, sizeof text, format, arguments);  // NOLINT(clang-analyzer-valist.*)
  platform::printError("PipeWire: %s: %s\n", function, text);
}

[[gnu::format(printf, 6, 7)]] void print(void* object, spa_log_level level, const char* file,
                                         int line, const char* function, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  printList(object, level, file, line, function, format, arguments);
  va_end(arguments);
}

// Without logt, PipeWire takes log.
constexpr spa_log_methods kMethods = [] {
  spa_log_methods methods{};
  methods.log = print;
  methods.logv = printList;
  return methods;
}();

spa_log messages = {{SPA_TYPE_INTERFACE_Log, SPA_VERSION_LOG, {&kMethods, nullptr}},
                    SPA_LOG_LEVEL_WARN};

}  // namespace

Library::Library() {
  // Without it pw_init() sets one that waits until somebody reads standard error.
  pw_log_set(&messages);
  pw_init(nullptr, nullptr);
}

}  // namespace pipewire
