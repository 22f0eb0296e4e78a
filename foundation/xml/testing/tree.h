// SPDX-License-Identifier: MIT
// Prints a document for tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/xml/node.h"

namespace XML::testing {

// Names, texts and attributes of everything below `top` on one line: a(x=1 y=2)["text"]{b{} c{}}.
inline std::string treeOf(const Node& top, bool withTexts = true) {
  struct Open {
    const Node* node;
    std::int32_t next;
  };
  std::string tree;
  std::vector<Open> open = {{&top, 0}};
  while (!open.empty()) {
    const Node* node = open.back().node->getNode(open.back().next++);
    if (node == nullptr) {
      open.pop_back();
      if (!open.empty()) tree += '}';
      continue;
    }
    tree += node->getName();
    if (node->getCountAttributes() > 0) tree += '(';
    for (std::int32_t i = 0; i < node->getCountAttributes(); ++i) {
      if (i > 0) tree += ' ';
      tree.append(node->getAttribute(i)->getName())
          .append("=")
          .append(node->getAttribute(i)->getValue());
    }
    if (node->getCountAttributes() > 0) tree += ')';
    if (withTexts && !node->getText().isEmpty())
      tree.append("[").append(node->getText()).append("]");
    tree += '{';
    open.push_back({node, 0});
  }
  return tree;
}

}  // namespace XML::testing
