// SPDX-License-Identifier: MIT
// Encodes and decodes the five characters that a document names: & ' > < "
#pragma once

#include <string>
#include <string_view>

#include "foundation/lum_string.h"

namespace XML {

// Replaces the five characters by "&amp;", "&apos;", "&gt;", "&lt;" and "&quot;".
void preStreaming(LumString& text);  // no program calls this
// Replaces the names by the characters; "&amp;lt;" becomes "&lt;". Numeric references stay.
void postStreaming(LumString& text);  // no program calls this

// As preStreaming, appended to `out`.
void appendEncoded(std::string& out, std::string_view text);  // no program calls this
// As postStreaming, in place.
void decodeInPlace(char* text);

}  // namespace XML
