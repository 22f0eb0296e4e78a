// SPDX-License-Identifier: MIT
// Reads documents in place: names, values and texts are cut out of the caller's text with NULs and
// copied into nodes. doc.h says which documents are accepted.
#include <cstring>
#include <memory>
#include <vector>

#include "foundation/character_class.h"
#include "foundation/xml/entities.h"
#include "foundation/xml/node.h"

namespace XML {

namespace {

constexpr int kNameStart = character_class::kAlpha | character_class::kDigit;
constexpr int kNameClass = character_class::kSymbol | character_class::kDigit;

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

// Moves the name after `p` one byte to the left, which makes room for its NUL, returns it and sets
// `p` to its former end.
const char* takeName(char*& p) {
  char* name = p;
  p = skipName(name + 1);
  const auto length = static_cast<std::size_t>(p - name - 1);
  std::memmove(name, name + 1, length);
  name[length] = '\0';
  return name;
}

// Ends the text at the first `mark` from `p` on; returns the position after the mark, or null when
// there is none.
char* cutAt(char* p, const char* mark) {
  char* end = std::strstr(p, mark);
  if (end == nullptr) return nullptr;
  *end = '\0';
  return end + std::strlen(mark);
}

char* parseDeclaration(Node& document, char* p) {
  if (std::strncmp(p, "<!--", 4) == 0) {
    char* comment = p + 4;
    p = cutAt(comment, "-->");
    return p != nullptr && document.onTagComment(comment) ? p : nullptr;
  }
  return cfStrnicmp(p + 2, "doctype", 7) == 0 ? cutAt(p, ">") : nullptr;
}

char* parseHeader(Node& document, char* p) {
  char* content = p + 2;
  p = cutAt(content, "?>");
  return p != nullptr && document.onTagHeader(content) ? p : nullptr;
}

char* parseEndTag(const Node& node, char* p) {
  ++p;
  const char* name = takeName(p);
  p = skipSpace(p);
  return node.getName().strcmp(name) == 0 && *p == '>' ? p + 1 : nullptr;
}

// Appends the child whose name follows `p`. A child that `parent` has no room for goes to `refused`
// instead: it is parsed as well, and then dropped.
Node* startChild(Node& parent, char*& p, std::vector<std::unique_ptr<Node>>& refused) {
  auto* child = new Node(parent.getDoc(), takeName(p));
  if (parent.addNode(child) == nullptr) refused.emplace_back(child);
  return child;
}

char* parseAttribute(Node& node, char* p) {
  const char* name = p;
  char* nameEnd = skipName(p);
  p = skipSpace(nameEnd);
  if (*p != '=') return nullptr;
  p = skipSpace(p + 1);
  if (*p != '"') return nullptr;
  char* value = p + 1;
  p = std::strchr(value, '"');
  if (p == nullptr) return nullptr;
  *nameEnd = '\0';
  *p = '\0';
  decodeInPlace(value);
  auto* attribute = new Attribute(name, value);
  if (node.addAttribute(attribute) == nullptr) delete attribute;
  return p + 1;
}

}  // namespace

char* Node::doParse(char* p) {
  std::vector<std::unique_ptr<Node>> refused;
  while (p != nullptr) {
    p += std::strcspn(p, "<");
    if (*p == '\0') break;
    if (startsElement(p)) {
      Node* child = startChild(*this, p, refused);
      p = child->parseNode(p);
    } else if (p[1] == '!') {
      p = parseDeclaration(*this, p);
    } else if (p[1] == '?') {
      p = parseHeader(*this, p);
    } else {
      return nullptr;
    }
  }
  return p;
}

char* Node::parseNode(char* p) {
  struct Open {
    Node* node;
    bool isInStartTag;
  };
  std::vector<std::unique_ptr<Node>> refused;
  std::vector<Open> open = {{this, true}};
  while (p != nullptr && !open.empty()) {
    Open& current = open.back();
    Node& node = *current.node;
    p = skipSpace(p);
    if (*p == '\0') return p;
    if (*p == '>') {
      current.isInStartTag = false;
      ++p;
    } else if (*p == '/' && p[1] == '>') {
      open.pop_back();
      p += 2;
    } else if (startsElement(p)) {
      open.push_back({startChild(node, p, refused), true});
    } else if (current.isInStartTag && cfIsAlpha(*p)) {
      p = parseAttribute(node, p);
    } else if (*p != '<') {
      p = node.parseText(p);
    } else if (p[1] == '/') {
      p = parseEndTag(node, p);
      open.pop_back();
    } else {
      return nullptr;
    }
  }
  return p;
}

char* Node::parseText(char* p) {
  char* end = std::strchr(p, '<');
  if (end == nullptr) return nullptr;
  *end = '\0';
  text_.assign(p);
  *end = '<';
  return end;
}

}  // namespace XML
