// SPDX-License-Identifier: MIT
// The five characters that stand in a document under a name.
#pragma once

#include <string_view>

#include "foundation/lum_string.h"

namespace XML {

// Puts "&amp;", "&apos;", "&gt;", "&lt;" and "&quot;" for the characters they name.
void preStreaming(LumString& text);
// Puts the characters back; "&amp;lt;" gives "&lt;". Numbers in place of names are left alone.
void postStreaming(LumString& text);

// What stands for `c` in a document; empty for a character that stands for itself.
std::string_view entityOf(char c);
// postStreaming in place for the text from `first` up to the NUL at `end`; the new end, where a NUL
// stands again.
char* decodeInPlace(char* first, char* end);

}  // namespace XML
