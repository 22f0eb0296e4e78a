// SPDX-License-Identifier: MIT
#include "foundation/xml/attribute.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "foundation/lum_string.h"
#include "foundation/xml/writer.h"

namespace XML {

Attribute::Attribute(const char* name) { setName(name); }

Attribute::Attribute(const char* name, const char* value) : Attribute(name) { setValue(value); }

Attribute::Attribute(const char* name, bool value) : Attribute(name) { setValue(value); }

Attribute::Attribute(const char* name, std::int32_t value) : Attribute(name) { setValue(value); }

Attribute::Attribute(const char* name, float value) : Attribute(name) { setValue(value); }

Attribute::~Attribute() {
  if (ownsName_) delete[] name_;
  if (ownsValue_) delete[] value_;
}

void Attribute::replace(const char*& text, bool& isOwn, const char* by) {
  const char* former = isOwn ? text : nullptr;
  isOwn = by != nullptr && *by != '\0';
  if (isOwn) {
    const std::size_t size = std::strlen(by) + 1;
    text = static_cast<const char*>(std::memcpy(new char[size], by, size));
  } else {
    text = "";
  }
  // Last, as the new text may be a part of it.
  delete[] former;
}

void Attribute::setValue(bool value) { setValue(value ? "1" : "0"); }

void Attribute::setValue(std::int32_t value) {
  LumString text;
  setValue(text.printf("%d", value).getCharPointer());
}

void Attribute::setValue(std::uint32_t value) {
  LumString text;
  setValue(text.printf("%u", value).getCharPointer());
}

void Attribute::setValue(float value) {
  LumString text;
  setValue(text.printf("%e", static_cast<double>(value)).getCharPointer());
}

std::int32_t Attribute::getValueLong() const {
  constexpr long long kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr long long kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(std::strtoll(value_, nullptr, 10), kLeast, kMost));
}

std::uint32_t Attribute::getValueULong() const {
  // A minus sign negates within the 32 bits.
  constexpr long long kMost = std::numeric_limits<std::uint32_t>::max();
  const long long value = std::clamp(std::strtoll(value_, nullptr, 10), -kMost - 1, kMost + 1);
  return static_cast<std::uint32_t>(value < -kMost || value > kMost ? kMost : value);
}

float Attribute::getValueFloat() const { return static_cast<float>(std::strtod(value_, nullptr)); }

void Attribute::buildXML(LumString& out) const { Writer(out).write(*this); }

}  // namespace XML
