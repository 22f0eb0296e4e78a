// SPDX-License-Identifier: MIT
// A string of bytes, ended by NUL.
//
// One thread at a time. No operation reports an error. A string holds at most kMaxLength
// characters: an operation whose result would be longer changes nothing, and a constructor makes an
// empty string. Running out of memory ends the program.
//
// The capacity is the size of the buffer, the NUL included; it follows the rules beside each
// operation and only clear() makes it smaller. The length is a cached number, which a NUL inside
// the text (appended, or put there by asString) does not shorten until the next operation that
// counts. Where nothing else is said, an operation reads a text up to its first NUL.
//
// A pointer to the text is good until the next change of the string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "foundation/lum_object.h"

namespace XML {
class Doc;
class Writer;
}  // namespace XML

class LumString : public LumObject {
 public:
  static constexpr std::int32_t kMaxLength = 0x7fffffff - 64;
  // What a fresh buffer has beyond the text.
  static constexpr std::int32_t kSlack = 33;

  // A text of that length that somebody else keeps for as long as the string lives; a NUL follows
  // it and there is none inside.
  struct Borrowed {
    const char* text;
    std::int32_t length;
  };

  LumString();
  // Null is the empty text. Capacity: the length and kSlack.
  LumString(const char* text);
  LumString(const LumString& other);
  // `count` times `c`; empty when that is NUL or count is not positive.
  LumString(char c, std::int32_t count);
  // Reads as the copy would, but refers to the text until the string is first changed.
  explicit LumString(Borrowed text)
      : capacity_(-(text.length + kSlack)),
        length_(text.length),
        // Never written to while it is borrowed.
        buffer_(const_cast<char*>(text.text)) {}
  ~LumString() override {
    if (!isBorrowed()) freeBuffer();
  }

  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): assign() takes parts of its own text
  LumString& operator=(const LumString& other) { return assign(other); }
  LumString& operator=(const char* text) { return assign(text); }

  operator const char*() const { return buffer_; }
  const char* getCharPointer() const { return buffer_; }
  std::int32_t getLength() const { return length_; }
  std::int32_t getCapacity() const { return isBorrowed() ? -capacity_ : capacity_; }
  bool isEmpty() const { return length_ == 0; }
  // The text up to its first NUL.
  std::string_view view() const { return {buffer_, static_cast<std::size_t>(textLength())}; }
  // Takes the position of the first NUL as the length, and returns it.
  std::int32_t countLength();

  // --- Storage ---

  // Empties the string and gives its memory back; capacity kSlack.
  void clear();
  // Null is the empty text. Keeps the buffer when text and NUL fit in the capacity, else takes one
  // of the text's length and kSlack.
  LumString& assign(const char* text);
  LumString& assign(const LumString& other) { return assign(other.buffer_); }
  // When the capacity is below `size`, makes it size + 1 and counts the length. Never shrinks.
  LumString& setSize(std::int32_t size);
  // Cuts the text, or appends blanks; a negative length is 0.
  LumString& setLength(std::int32_t length);
  // Null appends nothing. When the text does not fit, the capacity grows to 3 more than the new
  // length. Counts the length.
  LumString& operator+=(const char* text);
  LumString& operator+=(const LumString& other) { return *this += other.buffer_; }
  // When the character does not fit, the capacity doubles. A NUL counts in the length.
  LumString& operator+=(char c) {
    const std::int32_t end = length_ + 1;
    if (capacity_ - front_ <= end || c == '\0') return appendSlowly(c);
    buffer_[length_] = c;
    buffer_[end] = '\0';
    length_ = end;
    return *this;
  }
  // Appends `count` bytes, of which none is NUL. False when the string would become too long.
  bool append(const char* bytes, std::int32_t count);

  // --- Text ---

  LumString& toString(short value);
  LumString& toString(std::int32_t value);
  // As the standard library's printf; what is longer than 2047 characters is cut.
  LumString& printf(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Takes the first token off the string: skips characters of `delims`, puts what stands before the
  // next of them in `token`, and keeps what follows that one. False, an empty token and an
  // unchanged string when there is nothing but delimiters.
  bool getToken(const LumString& delims, LumString& token);
  // Puts `with` for each `find`, from the left; what was put in is not searched.
  LumString& replace(const char* find, const char* with);
  LumString& trimLeft();
  LumString& trimRight();

  // At most `count` characters from `start`; empty when start lies outside the text or count is not
  // positive.
  void substring(LumString& out, std::int32_t start, std::int32_t count) const;
  void left(LumString& out, std::int32_t count) const;
  void right(LumString& out, std::int32_t count) const;

  // The standard library's tolower and toupper, for each byte of the length.
  LumString& lowercase();
  LumString& uppercase();

  // Two digits a byte, capital letters, for 7-bit text: the first digit of a byte from 0x80 on is
  // one of the eight characters before '0'.
  void toHexString(LumString& out) const;
  // To a text with its length in front. The length says 255 at most, but no more than 253
  // characters arrive, and byte 254 is always 0; byte 255 is left alone.
  void toStr255(unsigned char (&out)[256]) const;
  // From a text with its length in front. The length stays 256 until countLength() is called.
  void asString(const unsigned char (&in)[256]);

  // As "%d" is scanned; 0 when there is no number, the nearest value when it is too large.
  std::int32_t scanInt() const;
  // The number in the first 256 characters: digits, '-', '.', 'e' and 'E' count, 'm' and 'M' stand
  // for E6, 't' and 'T' for E3, everything else is dropped.
  double asNumeric() const;

  // Where `needle` first occurs, or -1.
  std::int32_t match(const char* needle) const;
  int strcmp(const char* text) const;
  // As cfStricmp: the sign is the reverse of strcmp's for texts that differ within the shorter one.
  std::int32_t stricmp(const char* text) const;
  // `other` must be a LumString. The sign of strcmp.
  std::int32_t compare(const LumObject& other) const override;
  bool operator==(const LumObject& other) const { return compare(other) == 0; }
  bool operator==(const LumString& other) const { return compare(other) == 0; }

  // Copies the whole text when `count` is -1 or at least the length, else that many bytes; and a
  // NUL behind. Returns `out`, which may be null.
  char* copyString(char* out, std::int32_t count) const;
  // A new array, to be freed with delete[].
  char* copyString() const;

 private:
  // The reader of documents works in a text's own place, and the writer appends to one.
  friend class XML::Doc;
  friend class XML::Writer;

  bool isBorrowed() const { return capacity_ < 0; }
  void freeBuffer();
  // A buffer for that capacity, without a text in it.
  void takeBuffer(std::int32_t capacity);
  // A buffer for that capacity, which keeps the text.
  void growBuffer(std::int32_t capacity);
  // Makes the buffer this string's own, with that much room within the capacity; keeps the text.
  void makeRoom(std::int32_t bytes);
  void startWith(const char* text, std::size_t length);
  LumString& assign(const char* text, std::size_t length);
  LumString& appendSlowly(char c);
  bool appendMoving(const char* bytes, std::int32_t count);
  void dropFront(std::int32_t count);
  // Position of the first NUL.
  std::int32_t textLength() const { return nulInside_ ? findNul() : length_; }
  std::int32_t findNul() const;
  // Room for `count` bytes behind the text, which may be written up to the end that is then set;
  // null when the string would become too long.
  char* room(std::int32_t count);
  char* endOfRoom() const;
  void setEnd(char* end);
  // The text, for changes in place that make it shorter; the length stays as it is. Not for a text
  // that is borrowed.
  char* textInPlace() const;

  // Negative while the text is borrowed. The buffer has the next power of two of bytes, so that a
  // capacity that grows in small steps does not cost a copy each.
  std::int32_t capacity_ = -kSlack;
  std::int32_t length_ = 0;
  // How far into the buffer the text starts.
  std::uint32_t front_ : 31 = 0;
  // Whether there may be a NUL before the end: only then is counting worth the time.
  mutable std::uint32_t nulInside_ : 1 = 0;
  char* buffer_ = nullptr;
};
static_assert(sizeof(LumString) == 32 || sizeof(void*) != 8, "documents have very many of them");
