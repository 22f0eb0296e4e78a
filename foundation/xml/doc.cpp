// SPDX-License-Identifier: MIT
#include "foundation/xml/doc.h"

#include <algorithm>
#include <cstring>

#include "foundation/character_class.h"
#include "foundation/xml/parser.h"
#include "foundation/xml/writer.h"

namespace XML {

namespace {

constexpr std::int32_t kBytesPerObject = 32;

// Copies a text without the blanks at its start and after each '>'; `to` may be `from`. The end of
// the copy.
char* compact(const char* from, char* to) {
  const char* end = from + std::strlen(from);
  for (;;) {
    while (cfIsSpace(*from)) ++from;
    const auto* close =
        static_cast<const char*>(std::memchr(from, '>', static_cast<std::size_t>(end - from)));
    const char* stop = close == nullptr ? end : close + 1;
    std::memmove(to, from, static_cast<std::size_t>(stop - from));
    to += stop - from;
    from = stop;
    if (close == nullptr) break;
  }
  *to = '\0';
  return to;
}

// Reads the text of the arena, and gives the arena up to what was read.
const char* parseIn(Arena* arena, Doc& doc) {
  const char* end = Parser(arena).parseDocument(doc, arena->text());
  arena->finish();
  return end;
}

}  // namespace

Doc::Doc() : Node(this) {}

Doc::Doc(const LumString& xml) : Node(this) { load(xml); }

bool Doc::onTagHeader(char*) { return true; }

void Doc::load(const LumString& xml) {
  docBase_.assign("");
  Arena* arena = Arena::create(static_cast<std::size_t>(xml.getLength()) + 1);
  compact(xml, arena->text());
  parseIn(arena, *this);
}

const char* Doc::parse(const LumString& xml) {
  if (xml.isBorrowed()) {
    const LumString own(xml.getCharPointer());
    return parse(own) == nullptr ? nullptr : xml.getCharPointer() + xml.getLength();
  }
  docBase_.assign("");
  char* text = xml.textInPlace();
  const char* end = compact(text, text);
  const std::size_t size = static_cast<std::size_t>(end - text) + 1;
  Arena* arena = Arena::create(size);
  std::memcpy(arena->text(), text, size);
  return parseIn(arena, *this) == nullptr ? nullptr : end;
}

void Doc::buildXML(LumString& out) const {
  std::int32_t nodes = 0;
  std::int32_t attributes = 0;
  countNodesAndAttributes(nodes, attributes);
  const std::int64_t size = (std::int64_t{nodes} + attributes) * kBytesPerObject;
  out.setSize(static_cast<std::int32_t>(std::min(size, std::int64_t{LumString::kMaxLength})));
  out = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";
  Node::buildXML(out, -1);
}

}  // namespace XML
