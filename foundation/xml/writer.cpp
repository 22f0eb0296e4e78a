// SPDX-License-Identifier: MIT
// Writes documents. LumString::setText() clears `out` when the text has become too long for it.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/xml/doc.h"
#include "foundation/xml/entities.h"

namespace XML {

namespace {

constexpr std::int32_t kBytesPerObject = 32;

bool isTooLong(std::size_t length) {
  return length > static_cast<std::size_t>(LumString::kMaxLength);
}

std::size_t tabs(int level) { return static_cast<std::size_t>(std::max(level, 0)); }

void writeStartTag(std::string& out, const Node& node, int level) {
  out.append(tabs(level), '\t') += '<';
  out.append(node.getName().view());
  for (std::int32_t i = 0; const Attribute* attribute = node.getAttribute(i); ++i) {
    attribute->buildXML(out);
  }
  out.append(node.getCountNodes() > 0 ? ">\n" : "/>\n");
}

void writeEndTag(std::string& out, const Node& node, int level) {
  out.append(tabs(level), '\t').append("</").append(node.getName().view()).append(">\n");
}

// Stops early when the text has become too long. Level -1 writes no tag.
void write(std::string& out, const Node& top, int level) {
  struct Open {
    const Node* node;
    std::int32_t next;
  };
  std::vector<Open> open;
  const auto enter = [&](const Node& node) {
    const int depth = level + static_cast<int>(open.size());
    if (depth != -1) {
      if (node.getName().view().empty()) return;
      writeStartTag(out, node, depth);
    }
    if (node.getCountNodes() > 0) open.push_back({&node, 0});
  };
  enter(top);
  while (!open.empty() && !isTooLong(out.size())) {
    const Node& node = *open.back().node;
    if (const Node* child = node.getNode(open.back().next++)) {
      enter(*child);
      continue;
    }
    open.pop_back();
    const int depth = level + static_cast<int>(open.size());
    if (depth != -1) writeEndTag(out, node, depth);
  }
}

}  // namespace

void Attribute::buildXML(LumString& out) const {
  std::string text = out.takeText();
  buildXML(text);
  out.setText(std::move(text));
}

void Attribute::buildXML(std::string& out) const {
  if (name_.isEmpty()) return;
  out += ' ';
  out.append(name_.view()).append("=\"");
  appendEncoded(out, value_.view());
  out += '"';
}

void Node::addLevelString(LumString& out, int level) const {
  if (isTooLong(tabs(level))) return out.clear();
  std::string text = out.takeText();
  text.append(tabs(level), '\t');
  out.setText(std::move(text));
}

void Node::buildXML(LumString& out, int level) const {
  if (isTooLong(tabs(level))) return out.clear();
  std::string text = out.takeText();
  write(text, *this, level);
  out.setText(std::move(text));
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
