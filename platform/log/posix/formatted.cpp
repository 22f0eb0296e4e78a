// SPDX-License-Identifier: MIT
#include "platform/log/posix/formatted.h"

#include <cstdio>
#include <cstdlib>

std::string formatted(const char* format, va_list arguments) {
  char* text = nullptr;
  const int length = ::vasprintf(&text, format, arguments);
  if (length < 0) return {};
  std::string result(text, static_cast<std::size_t>(length));
  std::free(text);
  return result;
}
