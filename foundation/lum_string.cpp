// SPDX-License-Identifier: MIT
#include "foundation/lum_string.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>

#include "foundation/character_class.h"

namespace {

constexpr std::int32_t kStr255Size = 256;

std::uint32_t bufferSize(std::int32_t capacity) {
  return std::bit_ceil(static_cast<std::uint32_t>(capacity));
}

// `former` is to be moved there, or null.
char* allocate(std::int32_t capacity, char* former = nullptr) {
  auto* memory = static_cast<char*>(std::realloc(former, bufferSize(capacity)));
  if (memory == nullptr) std::abort();
  return memory;
}

bool isTooLong(std::size_t length) {
  return length > static_cast<std::size_t>(LumString::kMaxLength);
}

bool liesIn(const char* pointer, const char* begin, std::int32_t size) {
  return !std::less<>()(pointer, begin) && std::less<>()(pointer, begin + size);
}

}  // namespace

LumString::LumString() { clear(); }

LumString::LumString(const char* text) {
  if (text == nullptr) text = "";
  startWith(text, std::strlen(text));
}

LumString::LumString(const LumString& other) : LumObject(other) {
  startWith(other.buffer_, static_cast<std::size_t>(other.length_));
  nulInside_ = other.nulInside_;
}

LumString::LumString(char c, std::int32_t count) {
  if (count > kMaxLength) count = 0;
  takeBuffer(std::max(count, 0) + kSlack);
  length_ = c == '\0' ? 0 : std::max(count, 0);
  std::memset(buffer_, c, static_cast<std::size_t>(length_));
  buffer_[length_] = '\0';
}

std::int32_t LumString::findNul() const { return static_cast<std::int32_t>(std::strlen(buffer_)); }

std::int32_t LumString::countLength() {
  length_ = textLength();
  nulInside_ = 0;
  return length_;
}

char* LumString::textInPlace() const {
  nulInside_ = 1;
  return buffer_;
}

void LumString::freeBuffer() {
  if (!isBorrowed()) std::free(buffer_ - front_);
}

void LumString::startWith(const char* text, std::size_t length) {
  if (isTooLong(length)) length = 0;
  length_ = static_cast<std::int32_t>(length);
  takeBuffer(length_ + kSlack);
  std::memcpy(buffer_, text, length);
  buffer_[length] = '\0';
}

void LumString::takeBuffer(std::int32_t capacity) {
  freeBuffer();
  buffer_ = allocate(capacity);
  capacity_ = capacity;
  front_ = 0;
}

void LumString::growBuffer(std::int32_t capacity) {
  if (isBorrowed() || front_ != 0) {
    char* larger = allocate(capacity);
    std::memcpy(larger, buffer_, static_cast<std::size_t>(length_) + 1);
    freeBuffer();
    buffer_ = larger;
    front_ = 0;
  } else if (bufferSize(capacity) != bufferSize(capacity_)) {
    buffer_ = allocate(capacity, buffer_);
  }
  capacity_ = capacity;
}

void LumString::makeRoom(std::int32_t bytes) {
  if (isBorrowed()) growBuffer(-capacity_);
  if (bytes <= capacity_ - front_) return;
  std::memmove(buffer_ - front_, buffer_, static_cast<std::size_t>(length_) + 1);
  buffer_ -= front_;
  front_ = 0;
}

void LumString::dropFront(std::int32_t count) {
  makeRoom(length_ + 1);
  buffer_ += count;
  length_ -= count;
  front_ = static_cast<std::uint32_t>(front_ + count) & 0x7fffffffu;
}

void LumString::clear() {
  takeBuffer(kSlack);
  buffer_[0] = '\0';
  length_ = 0;
  nulInside_ = 0;
}

LumString& LumString::assign(const char* text) {
  if (text == nullptr) text = "";
  return assign(text, std::strlen(text));
}

LumString& LumString::assign(const char* text, std::size_t length) {
  if (isTooLong(length)) return *this;
  const auto newLength = static_cast<std::int32_t>(length);
  // A part of this string's own text always fits, so it is not freed under its reader.
  if (newLength >= getCapacity()) {
    takeBuffer(newLength + kSlack);
  } else if (isBorrowed()) {
    takeBuffer(getCapacity());
  } else if (newLength >= capacity_ - front_) {
    buffer_ -= front_;
    front_ = 0;
  }
  std::memmove(buffer_, text, length);
  buffer_[length] = '\0';
  length_ = newLength;
  nulInside_ = 0;
  return *this;
}

LumString& LumString::setSize(std::int32_t size) {
  if (size <= getCapacity() || size > kMaxLength) return *this;
  countLength();
  growBuffer(size + 1);
  return *this;
}

LumString& LumString::setLength(std::int32_t length) {
  length = std::max(length, 0);
  if (length > length_) {
    if (length <= kMaxLength) *this += LumString(' ', length - length_);
    return *this;
  }
  makeRoom(length_ + 1);
  buffer_[length] = '\0';
  length_ = length;
  return *this;
}

LumString& LumString::operator+=(const char* text) {
  if (text == nullptr) return *this;
  const std::size_t count = std::strlen(text);
  if (count <= static_cast<std::size_t>(kMaxLength)) append(text, static_cast<std::int32_t>(count));
  return *this;
}

bool LumString::append(const char* bytes, std::int32_t count) {
  if (count > kMaxLength - length_) return false;
  const std::int32_t end = length_ + count;
  if (isBorrowed() || front_ != 0 || nulInside_ ||
      static_cast<std::uint32_t>(end + 3) > bufferSize(capacity_)) {
    return appendMoving(bytes, count);
  }
  // Within the buffer the capacity is just a number.
  if (end >= capacity_) capacity_ = end + 3;
  std::memcpy(buffer_ + length_, bytes, static_cast<std::size_t>(count));
  length_ = end;
  buffer_[end] = '\0';
  return true;
}

bool LumString::appendMoving(const char* bytes, std::int32_t count) {
  const std::int32_t end = length_ + count;
  // The bytes may be this string's own, which growing moves.
  const bool own = liesIn(bytes, buffer_, length_ + 1);
  const std::ptrdiff_t offset = own ? bytes - buffer_ : 0;
  if (end >= getCapacity()) {
    growBuffer(end + 3);  // with the string's own bytes behind an inner NUL
    countLength();
  }
  makeRoom(end + 1);
  if (own) bytes = buffer_ + offset;
  std::memmove(buffer_ + length_, bytes, static_cast<std::size_t>(count));
  length_ += count;
  buffer_[length_] = '\0';
  countLength();
  return true;
}

char* LumString::room(std::int32_t count) {
  if (count > kMaxLength - length_) return nullptr;
  if (length_ + count >= getCapacity()) growBuffer(length_ + count + 1);
  makeRoom(length_ + count + 1);
  return buffer_ + length_;
}

char* LumString::endOfRoom() const {
  return std::min(buffer_ - front_ + bufferSize(capacity_) - 1, buffer_ + kMaxLength);
}

void LumString::setEnd(char* end) {
  *end = '\0';
  length_ = static_cast<std::int32_t>(end - buffer_);
  if (length_ >= capacity_) capacity_ = length_ + 1;
}

LumString& LumString::appendSlowly(char c) {
  if (length_ >= kMaxLength) return *this;
  if (getCapacity() <= length_ + 1) setSize(length_ > kMaxLength / 2 ? kMaxLength : 2 * length_);
  makeRoom(length_ + 2);
  buffer_[length_] = c;
  buffer_[++length_] = '\0';
  if (c == '\0') nulInside_ = 1;
  return *this;
}

LumString& LumString::toString(short value) { return toString(std::int32_t{value}); }

LumString& LumString::toString(std::int32_t value) {
  std::array<char, 16> digits;
  std::snprintf(digits.data(), digits.size(), "%d", value);
  return assign(digits.data());
}

LumString& LumString::printf(const char* format, ...) {
  std::array<char, 2048> text;
  std::va_list arguments;
  va_start(arguments, format);
  const int written = std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  setLength(0);
  if (written > 0) *this += text.data();
  return *this;
}

bool LumString::getToken(const LumString& delims, LumString& token) {
  const std::size_t start = std::strspn(buffer_, delims.buffer_);
  const std::size_t count = std::strcspn(buffer_ + start, delims.buffer_);
  if (count == 0) {
    token.assign("");
    return false;
  }
  const std::int32_t end = static_cast<std::int32_t>(start + count);
  countLength();
  if (&token != this) token.assign(buffer_ + start, count);
  dropFront(std::min(end + 1, length_));
  return true;
}

LumString& LumString::replace(const char* find, const char* with) {
  if (find == nullptr || *find == '\0' || isEmpty()) return *this;
  if (with == nullptr) with = "";
  const char* rest = buffer_;
  const char* hit = std::strstr(rest, find);
  if (hit == nullptr) return *this;
  const std::size_t findLength = std::strlen(find);
  const auto withLength = static_cast<std::int32_t>(std::strlen(with));
  LumString replaced;
  bool fits = true;
  for (; hit != nullptr; hit = std::strstr(rest, find)) {
    fits = fits && replaced.append(rest, static_cast<std::int32_t>(hit - rest)) &&
           replaced.append(with, withLength);
    rest = hit + findLength;
  }
  fits = fits && replaced.append(rest, static_cast<std::int32_t>(std::strlen(rest)));
  return fits ? assign(replaced) : *this;
}

LumString& LumString::trimLeft() {
  countLength();
  std::int32_t blanks = 0;
  while (cfIsSpace(buffer_[blanks])) ++blanks;
  if (blanks > 0) dropFront(blanks);
  return *this;
}

LumString& LumString::trimRight() {
  std::int32_t end = length_;
  while (end > 0 && cfIsSpace(buffer_[end - 1])) --end;
  return setLength(end);
}

void LumString::substring(LumString& out, std::int32_t start, std::int32_t count) const {
  if (start < 0 || start > length_ || count <= 0) {
    out.assign("");
    return;
  }
  const char* text = buffer_ + start;
  const std::int32_t rest =
      nulInside_ ? static_cast<std::int32_t>(std::strlen(text)) : length_ - start;
  // What is assigned and then cut leaves a capacity for all of it.
  if (rest >= out.getCapacity()) out.takeBuffer(rest + kSlack);
  out.assign(text, static_cast<std::size_t>(std::min(rest, count)));
}

void LumString::left(LumString& out, std::int32_t count) const { substring(out, 0, count); }

void LumString::right(LumString& out, std::int32_t count) const {
  if (count < length_) {
    substring(out, count < 0 ? length_ : length_ - count, count);
  } else {
    out.assign(*this);
  }
}

LumString& LumString::lowercase() {
  makeRoom(length_ + 1);
  std::transform(buffer_, buffer_ + length_, buffer_, [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  });
  return *this;
}

LumString& LumString::uppercase() {
  makeRoom(length_ + 1);
  std::transform(buffer_, buffer_ + length_, buffer_, [](char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  });
  return *this;
}

void LumString::toHexString(LumString& out) const {
  if (length_ > kMaxLength / 2) return;
  if (&out == this) {
    const LumString copy(*this);
    copy.toHexString(out);
    return;
  }
  out.countLength();
  out.setLength(2 * length_);
  out.makeRoom(out.length_ + 1);
  const auto digit = [](int value) {
    return static_cast<char>(value > 9 ? value + 0x37 : value + '0');
  };
  char* to = out.buffer_;
  for (const char* from = buffer_; *from != '\0'; ++from) {
    const auto byte = static_cast<signed char>(*from);
    *to++ = digit(byte >> 4);
    *to++ = digit(byte & 0x0f);
  }
}

void LumString::toStr255(unsigned char (&out)[256]) const {
  constexpr std::int32_t kLastText = kStr255Size - 2;
  std::memset(out, 0, kStr255Size - 1);
  out[0] = static_cast<unsigned char>(std::min(length_, 255));
  std::memcpy(out + 1, buffer_, static_cast<std::size_t>(std::min(textLength(), kLastText)));
  out[kLastText] = 0;
}

void LumString::asString(const unsigned char (&in)[256]) {
  countLength();
  setLength(kStr255Size);
  std::memcpy(buffer_, in + 1, in[0]);
  buffer_[in[0]] = '\0';
  nulInside_ = 1;
}

std::int32_t LumString::scanInt() const {
  constexpr long long kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr long long kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(std::strtoll(buffer_, nullptr, 10), kLeast, kMost));
}

double LumString::asNumeric() const {
  constexpr int kRead = 256;
  std::array<char, 2 * kRead + 1> number = {};
  char* to = number.data();
  for (int i = 0; i < kRead && buffer_[i] != '\0'; ++i) {
    const char c = buffer_[i];
    switch (c) {
      case '-':
      case '.':
      case 'e':
      case 'E':
        *to++ = c;
        break;
      case 'm':
      case 'M':
        *to++ = 'E';
        *to++ = '6';
        break;
      case 't':
      case 'T':
        *to++ = 'E';
        *to++ = '3';
        break;
      default:
        if (cfIsDigit(c)) *to++ = c;
    }
  }
  return std::strtod(number.data(), nullptr);
}

std::int32_t LumString::match(const char* needle) const {
  const char* hit = needle == nullptr ? nullptr : std::strstr(buffer_, needle);
  return hit == nullptr ? -1 : static_cast<std::int32_t>(hit - buffer_);
}

int LumString::strcmp(const char* text) const { return std::strcmp(buffer_, text); }

std::int32_t LumString::stricmp(const char* text) const { return cfStricmp(buffer_, text); }

std::int32_t LumString::compare(const LumObject& other) const {
  const int difference = std::strcmp(buffer_, static_cast<const LumString&>(other).buffer_);
  return (difference > 0) - (difference < 0);
}

char* LumString::copyString(char* out, std::int32_t count) const {
  if (out == nullptr) return nullptr;
  const std::int32_t all = textLength();
  const std::int32_t copied = count == -1 || length_ <= count ? all : std::max(count, 0);
  // A NUL within the bytes is copied as one.
  std::memcpy(out, buffer_, static_cast<std::size_t>(copied));
  out[copied] = '\0';
  return out;
}

char* LumString::copyString() const {
  auto* copy = new char[static_cast<std::size_t>(length_) + 1]();
  std::memcpy(copy, buffer_, static_cast<std::size_t>(textLength()));
  return copy;
}
