// SPDX-License-Identifier: MIT
#include "foundation/xml/writer.h"

#include <algorithm>
#include <array>
#include <vector>

#include "foundation/xml/attribute.h"
#include "foundation/xml/entities.h"
#include "foundation/xml/node.h"

namespace XML {

namespace {

// The bytes that are not written as they are, NUL among them.
constexpr std::array<bool, 256> kSpecial = [] {
  std::array<bool, 256> special = {};
  special[0] = true;
  for (const char c : {'&', '\'', '>', '<', '"'}) special[static_cast<unsigned char>(c)] = true;
  return special;
}();

// Asks for a node before it is needed, with what lies behind it: the attributes, when it was read.
// Waiting for a large tree's memory would take longer than writing it.
void prefetch(const Node* node) {
  constexpr std::ptrdiff_t kCacheLine = 64;
  constexpr int kLines = 6;
  if (node == nullptr) return;
  const auto* bytes = reinterpret_cast<const char*>(node);
  for (int line = 0; line < kLines; ++line) __builtin_prefetch(bytes + line * kCacheLine);
}

}  // namespace

Writer::Writer(LumString& out) : out_(out) {
  // What stands behind a NUL would not be read.
  out_.countLength();
  to_ = out_.room(0);
  end_ = out_.endOfRoom();
}

Writer::~Writer() {
  if (fits_) {
    out_.setEnd(to_);
  } else {
    out_.clear();
  }
}

bool Writer::takeRoom(std::size_t size) {
  if (!fits_) return false;
  out_.setEnd(to_);
  char* to = size > LumString::kMaxLength ? nullptr : out_.room(static_cast<std::int32_t>(size));
  fits_ = to != nullptr;
  if (!fits_) return false;
  to_ = to;
  end_ = out_.endOfRoom();
  return true;
}

void Writer::appendCoded(const char* value) {
  for (;;) {
    const char* end = value;
    while (!kSpecial[static_cast<unsigned char>(*end)]) ++end;
    append({value, static_cast<std::size_t>(end - value)});
    if (*end == '\0') return;
    append(entityOf(*end));
    value = end + 1;
  }
}

void Writer::indent(int level) {
  if (level <= 0 || !hasRoom(static_cast<std::size_t>(level))) return;
  to_ = std::fill_n(to_, level, '\t');
}

void Writer::write(const Attribute& attribute) {
  const std::string_view name = attribute.getName();
  if (name.empty()) return;
  if (!hasRoom(name.size() + 3)) return;
  put(" ");
  put(name);
  put("=\"");
  appendCoded(attribute.getValue());
  append("\"");
}

void Writer::startTag(const Node& node, int level) {
  indent(level);
  append("<");
  append(node.getName().view());
  for (std::int32_t i = 0; i < node.getCountAttributes(); ++i) write(*node.getAttribute(i));
  append(node.getCountNodes() > 0 ? ">\n" : "/>\n");
}

void Writer::endTag(const Node& node, int level) {
  indent(level);
  append("</");
  append(node.getName().view());
  append(">\n");
}

void Writer::write(const Node& top, int level) {
  struct Open {
    const Node* node;
    std::int32_t next;
  };
  std::vector<Open> open;
  const auto enter = [&](const Node& node) {
    const int depth = level + static_cast<int>(open.size());
    if (depth != -1) {
      if (node.getName().view().empty()) return;
      startTag(node, depth);
    }
    if (node.getCountNodes() > 0) open.push_back({&node, 0});
  };
  enter(top);
  while (!open.empty() && fits_) {
    Open& last = open.back();
    const Node* child = last.node->getNode(last.next++);
    prefetch(last.node->getNode(last.next + 1));
    if (child != nullptr) {
      enter(*child);
      continue;
    }
    const Node& done = *last.node;
    open.pop_back();
    const int depth = level + static_cast<int>(open.size());
    if (depth != -1) endTag(done, depth);
  }
}

}  // namespace XML
