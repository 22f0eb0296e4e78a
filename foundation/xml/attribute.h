// SPDX-License-Identifier: MIT
// A name and a value of an element. The value is stored as text.
//
// One thread at a time. Returned texts are valid until the next change.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/lum_object.h"
#include "foundation/lum_string.h"

namespace XML {

class Attribute : public LumObject {
 public:
  explicit Attribute(const char* name) : name_(name), value_("") {}  // no program calls this
  Attribute(const char* name, const char* value) : name_(name), value_(value) {}
  // Typed values are converted as setValue() does. No program calls these.
  Attribute(const char* name, bool value);
  Attribute(const char* name, std::int32_t value);
  Attribute(const char* name, float value);
  Attribute(const Attribute&) = delete;
  Attribute& operator=(const Attribute&) = delete;

  const char* getName() const { return name_; }
  const char* getValue() const { return value_; }
  // Null is read as "".
  void setName(const char* name) { name_.assign(name); }      // no program calls this
  void setValue(const char* value) { value_.assign(value); }  // no program calls this
  // Writes "1" or "0".
  void setValue(bool value);           // no program calls this
  void setValue(std::int32_t value);   // no program calls this
  void setValue(std::uint32_t value);  // no program calls this
  // Writes as printf's "%e" does.
  void setValue(float value);  // no program calls this

  // Read the number at the start of the value; 0 without a number, clamped to 32 bits. For
  // getValueULong(), a minus sign negates within the 32 bits, and a number too far below 0 gives
  // the largest value.
  std::int32_t getValueLong() const;    // no program calls this
  std::uint32_t getValueULong() const;  // no program calls this
  float getValueFloat() const;          // no program calls this
  // Whether getValueLong() is not 0: words are false.
  bool getValueBool() const { return getValueLong() != 0; }  // no program calls this

  // Appends a blank, the name and the quoted value; nothing when the name is empty.
  void buildXML(LumString& out) const;    // no program calls this
  void buildXML(std::string& out) const;  // no program calls this

 private:
  LumString name_;
  LumString value_;
};

}  // namespace XML
