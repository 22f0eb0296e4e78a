#include "foundation/xml/attribute.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "foundation/xml/writer.h"

namespace XML {

Attribute::Attribute(const char* name) : name_(name) {}

Attribute::Attribute(const char* name, const char* value) : name_(name), value_(value) {}

Attribute::Attribute(const char* name, bool value) : name_(name) { setValue(value); }

Attribute::Attribute(const char* name, std::int32_t value) : name_(name) { setValue(value); }

Attribute::Attribute(const char* name, float value) : name_(name) { setValue(value); }

Attribute::Attribute(LumString::Borrowed name, LumString::Borrowed value)
    : name_(name), value_(value) {}

void Attribute::setValue(bool value) { value_.assign(value ? "1" : "0"); }

void Attribute::setValue(std::int32_t value) { value_.printf("%d", value); }

void Attribute::setValue(std::uint32_t value) { value_.printf("%u", value); }

void Attribute::setValue(float value) { value_.printf("%e", static_cast<double>(value)); }

std::int32_t Attribute::getValueLong() const { return value_.scanInt(); }

std::uint32_t Attribute::getValueULong() const {
  // A minus sign negates within the 32 bits.
  constexpr long long kMost = std::numeric_limits<std::uint32_t>::max();
  const long long value = std::clamp(std::strtoll(value_, nullptr, 10), -kMost - 1, kMost + 1);
  return static_cast<std::uint32_t>(value < -kMost || value > kMost ? kMost : value);
}

float Attribute::getValueFloat() const { return static_cast<float>(std::strtod(value_, nullptr)); }

void Attribute::buildXML(LumString& out) const { Writer(out).write(*this); }

}  // namespace XML
