// SPDX-License-Identifier: MIT
// A document: the unnamed node above the top-level elements, with reader and writer.
//
// The reader accepts nested elements with double-quoted attributes, and at the top level a header,
// comments and a document type line. It follows the files that it was made for, not the XML
// standard: names consist of letters, digits and '_'; blanks after '>' are dropped, even inside a
// value; an element keeps only its last text run, entities undecoded; the end of input closes open
// elements, but inside a tag, a value or a text run it is an error. Input ends at its first NUL.
#pragma once

#include "foundation/lum_string.h"
#include "foundation/xml/node.h"

namespace XML {

class Doc : public Node {
 public:
  Doc();
  // Loads the text.
  explicit Doc(const LumString& xml);

  // Accepts any header.
  bool onTagHeader(char* content) override;

  // Appends the elements of the text. Reading stops at the first fault, and nothing is reported.
  void load(const LumString& xml);
  // As load(), but also drops the skipped blanks from `xml` itself, whose length stays until its
  // countLength() is called. Null for malformed text.
  const char* parse(const LumString& xml);  // no program calls this
  // For derived classes to set; load() and parse() empty it.
  const LumString& getDocBase() const { return docBase_; }  // no program calls this

  // Replaces `out` by a header and the elements, one a line, in the form that load() reads. `out`
  // is cleared when it would become longer than a string can be.
  void buildXML(LumString& out) const;  // no program calls this

 protected:
  LumString docBase_;
};

}  // namespace XML
