// SPDX-License-Identifier: MIT
#include "foundation/xml/arena.h"

#include <algorithm>
#include <new>

namespace XML {

namespace {

// What is made from a text needs a few times as much memory as the text. Chunks that are much
// larger would be mapped by the system one by one.
constexpr std::size_t kLeastChunk = 4096;
constexpr std::size_t kLargestChunk = 65536;
// What stands in front of each object: the arena it is in, if any.
constexpr std::size_t kHeader = sizeof(void*);
// In front of an object that is alone, so that it is aligned as any other.
constexpr std::size_t kHeaderAlone = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
static_assert(kHeaderAlone >= kHeader);

constexpr std::size_t aligned(std::size_t size) {
  return (size + alignof(void*) - 1) / alignof(void*) * alignof(void*);
}

Arena*& arenaOf(void* object) { return static_cast<Arena**>(object)[-1]; }

}  // namespace

Arena* Arena::create(std::size_t textSize) {
  auto* arena = new Arena;
  arena->chunkSize_ = std::clamp(textSize, kLeastChunk, kLargestChunk);
  arena->text_ = static_cast<char*>(::operator new(textSize));
  return arena;
}

Arena::~Arena() {
  ::operator delete(text_);
  while (chunks_ != nullptr) {
    Chunk* next = chunks_->next;
    ::operator delete(chunks_);
    chunks_ = next;
  }
}

void* Arena::allocate(std::size_t size) {
  size = aligned(size);
  if (static_cast<std::size_t>(end_ - free_) < size) {
    auto* memory = static_cast<char*>(::operator new(chunkSize_));
    chunks_ = ::new (memory) Chunk{chunks_};
    free_ = memory + sizeof(Chunk);
    end_ = memory + chunkSize_;
  }
  char* memory = free_;
  free_ += size;
  return memory;
}

void* Arena::allocateObject(std::size_t size) {
  void* object = static_cast<char*>(allocate(kHeader + size)) + kHeader;
  arenaOf(object) = this;
  ++made_;
  return object;
}

void Arena::finish() { drop(kMaker - made_); }

void Arena::drop(std::int64_t references) {
  if (references_.fetch_sub(references, std::memory_order_acq_rel) == references) delete this;
}

void* Arena::allocateAlone(std::size_t size) {
  void* object = static_cast<char*>(::operator new(kHeaderAlone + size)) + kHeaderAlone;
  arenaOf(object) = nullptr;
  return object;
}

void Arena::release(void* object) {
  if (object == nullptr) return;
  Arena* arena = arenaOf(object);
  if (arena != nullptr) {
    arena->drop(1);
  } else {
    ::operator delete(static_cast<char*>(object) - kHeaderAlone);
  }
}

}  // namespace XML
