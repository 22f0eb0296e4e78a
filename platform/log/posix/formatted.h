// SPDX-License-Identifier: MIT
#pragma once

#include <cstdarg>
#include <string>

// The text that vprintf would print.
[[gnu::format(printf, 1, 0)]] std::string formatted(const char* format, va_list arguments);
