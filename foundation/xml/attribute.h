// SPDX-License-Identifier: MIT
// A name and a value of an element. The value is always text.
//
// One thread at a time; texts that are returned are good until the next change.
#pragma once

#include <cstdint>

#include "foundation/lum_object.h"
#include "foundation/xml/arena.h"

class LumString;

namespace XML {

class Attribute : public LumObject, public ArenaObject {
 public:
  explicit Attribute(const char* name);
  // The value as setValue() makes it.
  Attribute(const char* name, const char* value);
  Attribute(const char* name, bool value);
  Attribute(const char* name, std::int32_t value);
  Attribute(const char* name, float value);
  // Texts that the arena keeps in which the attribute is made; they are not copied until they are
  // changed.
  struct Borrowed {
    const char* name;
    const char* value;
  };
  explicit Attribute(Borrowed texts) : name_(texts.name), value_(texts.value) {}
  ~Attribute() override;
  Attribute(const Attribute&) = delete;
  Attribute& operator=(const Attribute&) = delete;

  const char* getName() const { return name_; }
  const char* getValue() const { return value_; }
  // Null is the empty text.
  void setName(const char* name) { replace(name_, ownsName_, name); }
  void setValue(const char* value) { replace(value_, ownsValue_, value); }
  // "1" or "0".
  void setValue(bool value);
  void setValue(std::int32_t value);
  void setValue(std::uint32_t value);
  // As "%e" prints it.
  void setValue(float value);

  // The number that the value starts with; 0 when there is none, the nearest possible value when it
  // is too large. Unsigned, a minus sign negates within the 32 bits, and what is too far below 0 is
  // the largest value.
  std::int32_t getValueLong() const;
  std::uint32_t getValueULong() const;
  float getValueFloat() const;
  // Whether that number is not 0: words are false.
  bool getValueBool() const { return getValueLong() != 0; }

  // Appends a blank, the name and the quoted value; nothing when the name is empty.
  void buildXML(LumString& out) const;

 private:
  // A copy of `by` in place of a text, which is freed if it was a copy too.
  static void replace(const char*& text, bool& isOwn, const char* by);

  // Documents have very many attributes, and reading one takes as long as touching its memory: so
  // these are no strings with a room of their own. What is not owned is the arena's, or constant.
  bool ownsName_ = false;
  bool ownsValue_ = false;
  const char* name_ = "";
  const char* value_ = "";
};
static_assert(sizeof(Attribute) == 32 || sizeof(void*) != 8);

}  // namespace XML
