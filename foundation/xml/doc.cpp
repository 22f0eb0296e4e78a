// SPDX-License-Identifier: MIT
#include "foundation/xml/doc.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "foundation/character_class.h"

namespace XML {

namespace {

// Copies the text without the blanks at its start and after each '>'.
std::string compact(std::string_view text) {
  std::string compacted;
  compacted.reserve(text.size());
  for (;;) {
    while (!text.empty() && cfIsSpace(text.front())) text.remove_prefix(1);
    if (text.empty()) return compacted;
    const std::size_t end = std::min(text.find('>'), text.size() - 1) + 1;
    compacted.append(text, 0, end);
    text.remove_prefix(end);
  }
}

}  // namespace

Doc::Doc() : Node(this) {}

Doc::Doc(const LumString& xml) : Node(this) { load(xml); }

bool Doc::onTagHeader(char*) { return true; }

void Doc::load(const LumString& xml) {
  docBase_.assign("");
  std::string text = compact(xml.view());
  doParse(text.data());
}

const char* Doc::parse(const LumString& xml) {
  docBase_.assign("");
  std::string text = compact(xml.view());
  xml.overwrite(text);
  const bool isRead = doParse(text.data()) != nullptr;
  return isRead ? xml.getCharPointer() + text.size() : nullptr;
}

}  // namespace XML
