// SPDX-License-Identifier: MIT
#include "foundation/xml/parser.h"

#include <array>
#include <cstring>

#include "foundation/character_class.h"
#include "foundation/xml/entities.h"

namespace XML {

namespace {

constexpr int kNameStart = character_class::kAlpha | character_class::kDigit;
constexpr int kNameClass = character_class::kSymbol | character_class::kDigit;

constexpr std::array<bool, 256> kValueStops = [] {
  std::array<bool, 256> stops = {};
  stops[0] = stops['"'] = stops['&'] = true;
  return stops;
}();

bool startsElement(const char* p) {
  return *p == '<' && character_class::isOneOf(p[1], kNameStart);
}

char* skipSpace(char* p) {
  while (cfIsSpace(*p)) ++p;
  return p;
}

char* skipName(char* p) {
  while (character_class::isOneOf(*p, kNameClass)) ++p;
  return p;
}

// To the end of a value or to the first '&' in it; or to the NUL.
char* skipPlainValue(char* p) {
  while (!kValueStops[static_cast<unsigned char>(*p)]) ++p;
  return p;
}

LumString::Borrowed slice(const char* begin, const char* end) {
  return {begin, static_cast<std::int32_t>(end - begin)};
}

// Moves the name behind `p` one place to the left, which makes room for the NUL that ends it, and
// steps over it.
LumString::Borrowed takeName(char*& p) {
  char* name = p;
  char* end = skipName(p + 1);
  const auto length = static_cast<std::size_t>(end - name - 1);
  std::memmove(name, name + 1, length);
  name[length] = '\0';
  p = end;
  return slice(name, name + length);
}

// Cuts the text from `p` to `end` off; it and the position behind `end`.
char* cut(char* end, std::size_t size) {
  *end = '\0';
  return end + size;
}

}  // namespace

Parser::~Parser() {
  for (Node* node : refused_) delete node;
}

void Parser::lendSlots(LumCollection& collection) {
  if (arena_ == nullptr || collection.items_ != nullptr) return;
  constexpr std::size_t kSize = sizeof(std::array<LumObject*, LumCollection::kFirstCapacity>);
  collection.lend(static_cast<LumObject**>(arena_->allocate(kSize)));
}

char* Parser::parseDocument(Node& document, char* p) {
  while (p != nullptr && *p != '\0') {
    p += std::strcspn(p, "<");
    if (*p == '\0') break;
    if (startsElement(p)) {
      Node* child = startChild(document, p);
      p = parseElement(*child, p);
    } else if (p[1] == '!') {
      p = parseDeclaration(document, p);
    } else if (p[1] == '?') {
      p = parseHeader(document, p);
    } else {
      return nullptr;
    }
  }
  return p;
}

char* Parser::parseDeclaration(Node& document, char* p) {
  if (std::strncmp(p, "<!--", 4) == 0) {
    char* comment = p + 4;
    char* end = std::strstr(comment, "-->");
    if (end == nullptr) return nullptr;
    p = cut(end, 3);
    return document.onTagComment(comment) ? p : nullptr;
  }
  if (cfStrnicmp(p + 2, "doctype", 7) != 0) return nullptr;
  char* end = std::strchr(p, '>');
  return end == nullptr ? nullptr : end + 1;
}

char* Parser::parseHeader(Node& document, char* p) {
  char* content = p + 2;
  char* end = std::strstr(content, "?>");
  if (end == nullptr) return nullptr;
  p = cut(end, 2);
  return document.onTagHeader(content) ? p : nullptr;
}

Node* Parser::startChild(Node& parent, char*& p) {
  const LumString::Borrowed name = takeName(p);
  Node* child =
      arena_ != nullptr ? new (*arena_) Node(parent.doc_, name) : new Node(parent.doc_, name.text);
  if (!parent.nodes_.addNew(*child)) refused_.push_back(child);
  return child;
}

char* Parser::parseElement(Node& top, char* p) {
  struct Open {
    Node* node;
    bool isInStartTag;
  };
  if (p == nullptr) return nullptr;
  std::vector<Open> open = {{&top, true}};
  while (p != nullptr && !open.empty()) {
    Open& current = open.back();
    p = skipSpace(p);
    if (*p == '\0') return p;
    if (*p == '>') {
      current.isInStartTag = false;
      ++p;
    } else if (*p == '/' && p[1] == '>') {
      open.pop_back();
      p += 2;
    } else if (startsElement(p)) {
      lendSlots(current.node->nodes_);
      Node* child = startChild(*current.node, p);
      open.push_back({child, true});
    } else if (current.isInStartTag && cfIsAlpha(*p)) {
      p = parseAttribute(*current.node, p);
    } else if (*p == '<') {
      // Anything but a closing tag cannot stand inside of an element.
      p = p[1] == '/' ? endElement(*current.node, p) : nullptr;
      open.pop_back();
    } else {
      p = parseText(*current.node, p);
    }
  }
  return p;
}

char* Parser::endElement(const Node& node, char* p) {
  ++p;
  const LumString::Borrowed name = takeName(p);
  p = skipSpace(p);
  return node.name_.strcmp(name.text) == 0 && *p == '>' ? p + 1 : nullptr;
}

char* Parser::parseAttribute(Node& node, char* p) {
  char* name = p;
  char* nameEnd = skipName(p);
  p = skipSpace(nameEnd);
  if (*p != '=') return nullptr;
  p = skipSpace(p + 1);
  if (*p != '"') return nullptr;
  char* value = p + 1;
  char* valueEnd = skipPlainValue(value);
  char* firstEntity = valueEnd;
  if (*valueEnd == '&') valueEnd = std::strchr(valueEnd, '"');
  if (valueEnd == nullptr || *valueEnd == '\0') return nullptr;
  *nameEnd = '\0';
  p = cut(valueEnd, 1);
  if (firstEntity != valueEnd) decodeInPlace(firstEntity, valueEnd);
  auto* attribute = arena_ != nullptr ? new (*arena_) Attribute(Attribute::Borrowed{name, value})
                                      : new Attribute(name, static_cast<const char*>(value));
  lendSlots(node.attributes_);
  if (!node.attributes_.addNew(*attribute)) delete attribute;
  return p;
}

char* Parser::parseText(Node& node, char* p) {
  char* end = std::strchr(p, '<');
  if (end == nullptr) return nullptr;
  *end = '\0';
  node.text_.assign(p);
  *end = '<';
  return end;
}

}  // namespace XML
