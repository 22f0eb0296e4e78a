#include "foundation/xml/writer.h"

#include <cstring>
#include <vector>

#include "foundation/xml/attribute.h"
#include "foundation/xml/entities.h"
#include "foundation/xml/node.h"

namespace XML {

void Writer::append(std::string_view text) {
  fits_ = fits_ && out_.append(text.data(), static_cast<std::int32_t>(text.size()));
}

void Writer::indent(int level) {
  for (; level > 0 && fits_; --level) append("\t");
}

void Writer::write(const Attribute& attribute) {
  const std::string_view name = attribute.getName();
  if (name.empty()) return;
  append(" ");
  append(name);
  append("=\"");
  const char* run = attribute.getValue();
  const char* p = run;
  for (; *p != '\0'; ++p) {
    const char* entity = entityOf(*p);
    if (entity == nullptr) continue;
    append({run, static_cast<std::size_t>(p - run)});
    append(entity);
    run = p + 1;
  }
  append({run, static_cast<std::size_t>(p - run)});
  append("\"");
}

void Writer::startTag(const Node& node, int level) {
  indent(level);
  append("<");
  append(node.getName().getCharPointer());
  for (std::int32_t i = 0; i < node.getCountAttributes(); ++i) write(*node.getAttribute(i));
  append(node.getCountNodes() > 0 ? ">\n" : "/>\n");
}

void Writer::endTag(const Node& node, int level) {
  indent(level);
  append("</");
  append(node.getName().getCharPointer());
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
      if (*node.getName().getCharPointer() == '\0') return;
      startTag(node, depth);
    }
    if (node.getCountNodes() > 0) open.push_back({&node, 0});
  };
  enter(top);
  while (!open.empty() && fits_) {
    Open& last = open.back();
    const Node* child = last.node->getNode(last.next++);
    if (child != nullptr) {
      enter(*child);
      continue;
    }
    const Node& done = *last.node;
    open.pop_back();
    const int depth = level + static_cast<int>(open.size());
    if (depth != -1) endTag(done, depth);
  }
  if (!fits_) out_.clear();
}

}  // namespace XML
