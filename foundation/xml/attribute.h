// A name and a value of an element. The value is always text.
//
// One thread at a time; texts that are returned are good until the next change.
#pragma once

#include <cstdint>

#include "foundation/lum_object.h"
#include "foundation/lum_string.h"
#include "foundation/xml/arena.h"

namespace XML {

class Attribute : public LumObject, public ArenaObject {
 public:
  explicit Attribute(const char* name);
  // The value as setValue() makes it.
  Attribute(const char* name, const char* value);
  Attribute(const char* name, bool value);
  Attribute(const char* name, std::int32_t value);
  Attribute(const char* name, float value);
  // Refers to both texts until they are changed; the arena that keeps them keeps the attribute too.
  Attribute(LumString::Borrowed name, LumString::Borrowed value);
  Attribute(const Attribute&) = delete;
  Attribute& operator=(const Attribute&) = delete;

  const char* getName() const { return name_; }
  const char* getValue() const { return value_; }
  void setName(const char* name) { name_.assign(name); }
  void setValue(const char* value) { value_.assign(value); }
  // "1" or "0".
  void setValue(bool value);
  void setValue(std::int32_t value);
  void setValue(std::uint32_t value);
  // As "%e" prints it.
  void setValue(float value);

  // The number that the value starts with; 0 when there is none, the nearest possible value when it
  // is too large.
  std::int32_t getValueLong() const;
  std::uint32_t getValueULong() const;
  float getValueFloat() const;
  // Whether that number is not 0: words are false.
  bool getValueBool() const { return getValueLong() != 0; }

  // Appends a blank, the name and the quoted value; nothing when the name is empty.
  void buildXML(LumString& out) const;

 private:
  friend class Writer;

  LumString name_;
  LumString value_;
};

}  // namespace XML
