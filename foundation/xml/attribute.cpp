// SPDX-License-Identifier: MIT
#include "foundation/xml/attribute.h"

#include "foundation/numbers.h"

namespace XML {

Attribute::Attribute(const char* name, bool value) : Attribute(name) { setValue(value); }

Attribute::Attribute(const char* name, std::int32_t value) : Attribute(name) { setValue(value); }

Attribute::Attribute(const char* name, float value) : Attribute(name) { setValue(value); }

void Attribute::setValue(bool value) { setValue(value ? "1" : "0"); }

void Attribute::setValue(std::int32_t value) { value_.printf("%d", value); }

void Attribute::setValue(std::uint32_t value) { value_.printf("%u", value); }

void Attribute::setValue(float value) { value_.printf("%e", static_cast<double>(value)); }

std::int32_t Attribute::getValueLong() const { return parseInt32(value_); }

std::uint32_t Attribute::getValueULong() const { return parseUInt32(value_); }

float Attribute::getValueFloat() const { return static_cast<float>(parseDouble(value_)); }

}  // namespace XML
