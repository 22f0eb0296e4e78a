// SPDX-License-Identifier: MIT
// A document: the unnamed node above the top-level elements, its reader and its writer.
//
// The reader knows nested elements with double-quoted attributes, and at the top a header, comments
// and a document type line. What it takes and what it refuses is that of the files it was made for,
// not of the XML standard: names are letters, digits and '_'; blanks after '>' are dropped wherever
// it stands; of an element's text the last run is kept, undecoded; the end of the text closes what
// is open, but for a tag, a value or an element's text that it cuts: that is refused. Text of any
// bytes up to the first NUL is read to its end or refused.
//
// Nodes that were read refer to the text until they are changed: as long as one of them lives, so
// does the memory of all that was read with it.
#pragma once

#include "foundation/lum_string.h"
#include "foundation/xml/node.h"

namespace XML {

class Doc : public Node {
 public:
  Doc();
  // Loads the text.
  explicit Doc(const LumString& xml);

  // Takes any header.
  bool onTagHeader(char* content) override;

  // Appends the elements of the text to those that are here. Whatever is wrong with the text, what
  // stands before is read and nothing is reported.
  void load(const LumString& xml);
  // The same, but drops blanks in the text's own place: xml has its former length until its
  // countLength() is called. Null when the text is malformed.
  const char* parse(const LumString& xml);
  // Whatever the class derived from this one put there; load and parse empty it.
  const LumString& getDocBase() const { return docBase_; }

  // Replaces `out` by a header and the elements, one a line, in the form that load() reads. A
  // text longer than a string can be leaves `out` empty instead.
  void buildXML(LumString& out) const;

 protected:
  LumString docBase_;
};

}  // namespace XML
