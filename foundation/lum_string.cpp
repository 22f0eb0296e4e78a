// SPDX-License-Identifier: MIT
#include "foundation/lum_string.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
#include <utility>

#include "foundation/character_class.h"
#include "foundation/numbers.h"

namespace {

constexpr std::int32_t kStr255Size = 256;

bool isTooLong(std::size_t length) {
  return length > static_cast<std::size_t>(LumString::kMaxLength);
}

bool liesIn(const char* pointer, const std::string& text) {
  const char* begin = text.data();
  return !std::less<>()(pointer, begin) && !std::less<>()(begin + text.size(), pointer);
}

}  // namespace

LumString::LumString(const char* text) : text_(text == nullptr ? "" : text) {
  if (isTooLong(text_.size())) clear();
  capacity_ = getLength() + kSlack;
}

LumString::LumString(const LumString& other)
    : LumObject(other),
      capacity_(other.getLength() + kSlack),
      text_(other.text_, other.front_),
      nulInside_(other.nulInside_) {}

LumString::LumString(char c, std::int32_t count) {
  if (count <= 0 || count > kMaxLength) return;
  capacity_ = count + kSlack;
  if (c != '\0') text_.assign(static_cast<std::size_t>(count), c);
}

std::int32_t LumString::countLength() {
  if (nulInside_) text_.resize(front_ + view().size());
  nulInside_ = false;
  return getLength();
}

void LumString::clear() {
  std::string().swap(text_);
  text_.reserve(kSlack - 1);
  capacity_ = kSlack;
  front_ = 0;
}

LumString& LumString::assign(const char* text) {
  return assign(text == nullptr ? std::string_view() : std::string_view(text));
}

// `text` may be a part of this string.
LumString& LumString::assign(std::string_view text) {
  if (isTooLong(text.size())) return *this;
  const auto length = static_cast<std::int32_t>(text.size());
  if (length >= capacity_) capacity_ = length + kSlack;
  text_.assign(text.data(), text.size());
  front_ = 0;
  nulInside_ = false;
  return *this;
}

void LumString::raiseCapacity(std::int32_t capacity) {
  countLength();
  text_.reserve(front_ + static_cast<std::size_t>(capacity));
  capacity_ = capacity;
}

LumString& LumString::setSize(std::int32_t size) {
  if (size > capacity_ && size <= kMaxLength) raiseCapacity(size + 1);
  return *this;
}

LumString& LumString::setLength(std::int32_t length) {
  length = std::max(length, 0);
  if (length <= getLength()) {
    text_.resize(front_ + static_cast<std::size_t>(length));
  } else if (length <= kMaxLength) {
    *this += LumString(' ', length - getLength());
  }
  return *this;
}

LumString& LumString::operator+=(const char* text) {
  if (text == nullptr) return *this;
  const std::size_t count = std::strlen(text);
  if (!isTooLong(count)) append(text, static_cast<std::int32_t>(count));
  return *this;
}

bool LumString::append(const char* bytes, std::int32_t count) {
  const std::int32_t length = getLength();
  if (count > kMaxLength - length) return false;
  if (length + count >= capacity_) {
    // Growing moves the string's own bytes and drops those after a NUL.
    if (liesIn(bytes, text_)) {
      return append(std::string(bytes, static_cast<std::size_t>(count)).c_str(), count);
    }
    raiseCapacity(length + count + 3);
  }
  text_.append(bytes, static_cast<std::size_t>(count));
  countLength();
  return true;
}

LumString& LumString::operator+=(char c) {
  const std::int32_t length = getLength();
  if (length == kMaxLength) return *this;
  if (capacity_ <= length + 1) setSize(length + std::min(length, kMaxLength - length));
  text_ += c;
  if (c == '\0') nulInside_ = true;
  return *this;
}

void LumString::overwrite(std::string_view shorter) const {
  std::memcpy(buffer(), shorter.data(), shorter.size());
  buffer()[shorter.size()] = '\0';
  nulInside_ = true;
}

std::string LumString::takeText() {
  countLength();
  text_.erase(0, std::exchange(front_, 0));
  return std::exchange(text_, std::string());
}

void LumString::setText(std::string text) {
  if (isTooLong(text.size())) return clear();
  text_ = std::move(text);
  front_ = 0;
  nulInside_ = false;
  capacity_ = std::max(capacity_, getLength() + 1);
}

// Erases the dropped bytes only once they are more than the rest.
void LumString::dropFront(std::size_t count) {
  front_ += count;
  if (front_ <= text_.size() / 2) return;
  text_.erase(0, front_);
  front_ = 0;
}

LumString& LumString::toString(short value) { return toString(std::int32_t{value}); }

LumString& LumString::toString(std::int32_t value) { return assign(std::to_string(value).c_str()); }

LumString& LumString::printf(const char* format, ...) {
  std::array<char, 2048> text;
  const CLocale locale;
  std::va_list arguments;
  va_start(arguments, format);
  const int written = std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  setLength(0);
  if (written > 0) *this += text.data();
  return *this;
}

bool LumString::getToken(const LumString& delims, LumString& token) {
  const char* text = getCharPointer();
  const std::size_t start = std::strspn(text, delims);
  const std::size_t count = std::strcspn(text + start, delims);
  if (count == 0) {
    token.assign("");
    return false;
  }
  countLength();
  const std::size_t length = view().size();
  if (&token != this) token.assign(view().substr(start, count));
  dropFront(std::min(start + count + 1, length));
  return true;
}

LumString& LumString::replace(const char* find, const char* with) {
  if (find == nullptr || *find == '\0' || isEmpty()) return *this;
  if (with == nullptr) with = "";
  const std::string_view text = view();
  const std::string_view wanted = find;
  std::size_t hit = text.find(wanted);
  if (hit == std::string_view::npos) return *this;
  std::string replaced;
  std::size_t rest = 0;
  for (; hit != std::string_view::npos; hit = text.find(wanted, rest)) {
    replaced.append(text, rest, hit - rest).append(with);
    rest = hit + wanted.size();
    if (isTooLong(replaced.size())) return *this;
  }
  replaced.append(text, rest);
  return assign(std::string_view(replaced));
}

LumString& LumString::trimLeft() {
  countLength();
  std::size_t blanks = 0;
  while (cfIsSpace(buffer()[blanks])) ++blanks;
  dropFront(blanks);
  return *this;
}

LumString& LumString::trimRight() {
  while (!isEmpty() && cfIsSpace(text_.back())) text_.pop_back();
  return *this;
}

void LumString::substring(LumString& out, std::int32_t start, std::int32_t count) const {
  if (start < 0 || start > getLength() || count <= 0) {
    out.assign("");
    return;
  }
  const char* from = getCharPointer() + start;
  const std::string_view rest =
      nulInside_ ? std::string_view(from)
                 : std::string_view(from, static_cast<std::size_t>(getLength() - start));
  // The whole rest is assigned and then cut, as far as the capacity is concerned.
  const auto restLength = static_cast<std::int32_t>(rest.size());
  if (restLength >= out.capacity_) out.capacity_ = restLength + kSlack;
  out.assign(rest.substr(0, static_cast<std::size_t>(count)));
}

void LumString::left(LumString& out, std::int32_t count) const { substring(out, 0, count); }

void LumString::right(LumString& out, std::int32_t count) const {
  substring(out, getLength() - std::clamp(count, 0, getLength()), count);
}

LumString& LumString::lowercase() {
  std::transform(buffer(), buffer() + getLength(), buffer(), [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  });
  return *this;
}

LumString& LumString::uppercase() {
  std::transform(buffer(), buffer() + getLength(), buffer(), [](char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  });
  return *this;
}

void LumString::toHexString(LumString& out) const {
  if (getLength() > kMaxLength / 2) return;
  if (&out == this) {
    const LumString copy(*this);
    copy.toHexString(out);
    return;
  }
  out.countLength();
  out.setLength(2 * getLength());
  const auto digit = [](int value) {
    return static_cast<char>(value > 9 ? value + 0x37 : value + '0');
  };
  char* to = out.buffer();
  for (const char c : view()) {
    const auto byte = static_cast<signed char>(c);
    *to++ = digit(byte >> 4);
    *to++ = digit(byte & 0x0f);
  }
}

void LumString::toStr255(unsigned char (&out)[256]) const {
  constexpr std::size_t kLongestText = kStr255Size - 3;
  std::memset(out, 0, kStr255Size - 1);
  out[0] = static_cast<unsigned char>(std::min(getLength(), 255));
  std::memcpy(out + 1, getCharPointer(), std::min(view().size(), kLongestText));
}

void LumString::asString(const unsigned char (&in)[256]) {
  countLength();
  setLength(kStr255Size);
  std::memcpy(buffer(), in + 1, in[0]);
  buffer()[in[0]] = '\0';
  nulInside_ = true;
}

std::int32_t LumString::scanInt() const { return parseInt32(getCharPointer()); }

double LumString::asNumeric() const {
  constexpr std::size_t kRead = 256;
  std::string number;
  for (const char c : view().substr(0, kRead)) {
    switch (c) {
      case 'm':
      case 'M':
        number += "E6";
        break;
      case 't':
      case 'T':
        number += "E3";
        break;
      default:
        if (cfIsDigit(c) || c == '-' || c == '.' || c == 'e' || c == 'E') number += c;
    }
  }
  return parseDouble(number.c_str());
}

std::int32_t LumString::match(const char* needle) const {
  const char* text = getCharPointer();
  const char* hit = needle == nullptr ? nullptr : std::strstr(text, needle);
  return hit == nullptr ? -1 : static_cast<std::int32_t>(hit - text);
}

int LumString::strcmp(const char* text) const { return std::strcmp(getCharPointer(), text); }

std::int32_t LumString::stricmp(const char* text) const {
  return cfStricmp(getCharPointer(), text);
}

std::int32_t LumString::compare(const LumObject& other) const {
  const int difference = strcmp(static_cast<const LumString&>(other).getCharPointer());
  return (difference > 0) - (difference < 0);
}

char* LumString::copyString(char* out, std::int32_t count) const {
  if (out == nullptr) return nullptr;
  const std::size_t copied = count == -1 || getLength() <= count
                                 ? view().size()
                                 : static_cast<std::size_t>(std::max(count, 0));
  std::memcpy(out, getCharPointer(), copied);
  out[copied] = '\0';
  return out;
}

char* LumString::copyString() const {
  auto* copy = new char[static_cast<std::size_t>(getLength()) + 1]();
  std::memcpy(copy, getCharPointer(), view().size());
  return copy;
}
