// SPDX-License-Identifier: MIT
// Reads any bytes as a document. Both ways of reading must accept or refuse them alike, and an
// accepted document that is written and read again must be the same.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "foundation/xml/doc.h"
#include "foundation/xml/testing/tree.h"

using XML::testing::treeOf;

namespace {

void check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  XML::Doc doc;
  doc.load(text.c_str());
  const std::string tree = treeOf(doc);

  XML::Doc parsed;
  const LumString whole(text.c_str());
  const bool isTaken = parsed.parse(whole) != nullptr;
  check(treeOf(parsed) == tree);

  // The text has been compacted, as reading in place expects. A copy of exactly its size lets the
  // address sanitizer see a read beyond its end.
  const std::size_t compactedSize = std::strlen(whole) + 1;
  const auto compacted = std::make_unique<char[]>(compactedSize);
  std::memcpy(compacted.get(), whole.getCharPointer(), compactedSize);
  XML::Doc inPlace;
  check((inPlace.doParse(compacted.get()) != nullptr) == isTaken);
  check(treeOf(inPlace) == tree);

  LumString written;
  doc.buildXML(written);
  XML::Doc again;
  const LumString copy(written);
  check(again.parse(copy) != nullptr);
  check(treeOf(again, false) == treeOf(doc, false));

  std::int32_t nodes = 0;
  std::int32_t attributes = 0;
  doc.countNodesAndAttributes(nodes, attributes);
  std::int32_t nodesAgain = 0;
  std::int32_t attributesAgain = 0;
  again.countNodesAndAttributes(nodesAgain, attributesAgain);
  check(nodes == nodesAgain && attributes == attributesAgain);
  return 0;
}
