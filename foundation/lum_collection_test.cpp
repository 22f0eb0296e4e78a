// SPDX-License-Identifier: MIT
#include "foundation/lum_collection.h"

#include <gtest/gtest.h>

#include <vector>

#include "foundation/lum_string.h"

namespace {

// Counts destructions and records its commands.
class Element : public LumObject {
 public:
  explicit Element(int* destroyed = nullptr) : destroyed_(destroyed) {}
  ~Element() override {
    if (destroyed_ != nullptr) ++*destroyed_;
  }
  std::int32_t onCommand(std::int32_t command, std::int32_t param) override {
    commands.push_back(command * 100 + param);
    return 0;
  }

  std::vector<std::int32_t> commands;

 private:
  int* destroyed_;
};

// The test holds a reference, so that no collection destroys the element.
class Kept : public Element {
 public:
  Kept() { incReferences(); }
};

TEST(LumCollection, TheSixthObjectDoublesTheFiveSlots) {
  LumCollection collection;
  EXPECT_EQ(collection.getCapacity(), 5);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(collection.add(new Element));
  EXPECT_EQ(collection.getCapacity(), 5);
  EXPECT_TRUE(collection.add(new Element));
  EXPECT_EQ(collection.getCapacity(), 10);
  EXPECT_EQ(collection.count(), 6);
}

TEST(LumCollection, HoldsAtMost40960Objects) {
  Kept element;
  LumCollection collection;
  std::vector<std::int32_t> capacities;
  while (collection.add(&element)) {
    if (capacities.empty() || capacities.back() != collection.getCapacity()) {
      capacities.push_back(collection.getCapacity());
    }
  }
  EXPECT_EQ(capacities, (std::vector<std::int32_t>{5, 10, 20, 40, 80, 160, 320, 640, 1280, 2560,
                                                   5120, 10240, 20480, 40960}));
  EXPECT_EQ(collection.count(), 40960);
  EXPECT_EQ(element.getReferences(), 40961);
  collection.removeAll();
  EXPECT_EQ(collection.getCapacity(), 40960);
}

TEST(LumCollection, AFullCollectionGrowsUpToACapacityOf32766) {
  Kept element;
  for (const std::int32_t capacity : {32766, 32767}) {
    LumCollection collection;
    collection.expand(capacity);
    for (std::int32_t i = 0; i < capacity; ++i) collection.add(&element);
    EXPECT_EQ(collection.add(&element), capacity == 32766);
  }
}

TEST(LumCollection, ExpandingToNoLargerCapacityAddsFive) {
  LumCollection collection;
  collection.add(new Element);
  LumObject* first = collection.atPos(0);
  collection.expand(0);
  EXPECT_EQ(collection.getCapacity(), 10);
  collection.expand(10);
  EXPECT_EQ(collection.getCapacity(), 15);
  collection.expand(16);
  EXPECT_EQ(collection.getCapacity(), 16);
  EXPECT_EQ(collection.atPos(0), first);
}

TEST(LumCollection, NullIsRefused) {
  LumCollection collection;
  EXPECT_FALSE(collection.add(nullptr));
  collection.remove(nullptr);
  EXPECT_EQ(collection.count(), 0);
  EXPECT_EQ(collection.findIndex(nullptr), -1);
  EXPECT_EQ(collection.find(nullptr), nullptr);
  EXPECT_FALSE(collection.findSame(nullptr));
  EXPECT_EQ(collection.findSameIndex(nullptr), -1);
}

TEST(LumCollection, HoldsAReferenceOnEachObject) {
  int destroyed = 0;
  auto* element = new Element(&destroyed);
  LumCollection first;
  {
    LumCollection second;
    first.add(element);
    second.add(element);
    EXPECT_EQ(element->getReferences(), 2);
    first.remove(element);
    EXPECT_EQ(element->getReferences(), 1);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(LumCollection, TheSameObjectMayBeHeldTwice) {
  Kept element;
  LumCollection collection;
  collection.add(&element);
  collection.add(&element);
  EXPECT_EQ(element.getReferences(), 3);
  collection.remove(&element);
  EXPECT_EQ(collection.count(), 1);
  EXPECT_EQ(collection.atPos(0), &element);
}

TEST(LumCollection, RemovingMovesTheFollowingDown) {
  Kept a;
  Kept b;
  Kept c;
  LumCollection collection;
  for (LumObject* each : {&a, &b, &c}) collection.add(each);
  collection.remove(&a);
  EXPECT_EQ(collection.count(), 2);
  EXPECT_EQ(collection.atPos(0), &b);
  EXPECT_EQ(collection.atPos(1), &c);
  EXPECT_EQ(collection.atPos(2), nullptr);
}

TEST(LumCollection, RemoveReleasesThenMovesThenCounts) {
  class Looking : public LumObject {
   public:
    Looking(LumCollection& collection, std::vector<std::int32_t>& seen)
        : collection_(collection), seen_(seen) {}
    ~Looking() override { seen_ = {collection_.findSameIndex(this), collection_.count()}; }

   private:
    LumCollection& collection_;
    std::vector<std::int32_t>& seen_;
  };
  Kept a;
  Kept c;
  std::vector<std::int32_t> seen;
  LumCollection collection;
  collection.add(&a);
  auto* looking = new Looking(collection, seen);
  collection.add(looking);
  collection.add(&c);
  collection.remove(looking);
  EXPECT_EQ(seen, (std::vector<std::int32_t>{1, 3}));
  EXPECT_EQ(collection.count(), 2);
  EXPECT_EQ(collection.atPos(1), &c);
}

TEST(LumCollection, TakeAllEmptiesTheCollectionWithoutReleasing) {
  Kept a;
  Kept b;
  LumCollection collection;
  collection.add(&a);
  collection.add(&b);
  const std::vector<LumObject*> taken = collection.takeAll();
  EXPECT_EQ(taken, (std::vector<LumObject*>{&a, &b}));
  EXPECT_EQ(collection.count(), 0);
  EXPECT_EQ(a.getReferences(), 2);
  for (LumObject* each : taken) each->decReferences();
  EXPECT_TRUE(collection.add(&a));
}

TEST(LumCollection, RemovingAnObjectThatIsNotHeldChangesNothing) {
  Kept held;
  Kept other;
  LumCollection collection;
  collection.add(&held);
  collection.remove(&other);
  EXPECT_EQ(collection.count(), 1);
  EXPECT_EQ(held.getReferences(), 2);
  EXPECT_EQ(other.getReferences(), 1);
}

TEST(LumCollection, AtPosOutOfRangeIsNull) {
  LumCollection collection;
  EXPECT_EQ(collection.atPos(0), nullptr);
  collection.add(new Element);
  EXPECT_NE(collection.atPos(0), nullptr);
  EXPECT_EQ(collection.atPos(-1), nullptr);
  EXPECT_EQ(collection.atPos(1), nullptr);
}

TEST(LumCollection, RemoveAllReleasesEveryObjectAndKeepsTheCapacity) {
  int destroyed = 0;
  LumCollection collection;
  for (int i = 0; i < 7; ++i) collection.add(new Element(&destroyed));
  collection.removeAll();
  EXPECT_EQ(destroyed, 7);
  EXPECT_EQ(collection.count(), 0);
  EXPECT_EQ(collection.getCapacity(), 10);
  EXPECT_TRUE(collection.add(new Element(&destroyed)));
}

TEST(LumCollection, FindsTheSameObjectByIdentity) {
  Kept a;
  Kept b;
  Kept other;
  LumCollection collection;
  collection.add(&a);
  collection.add(&b);
  EXPECT_EQ(collection.findSameIndex(&b), 1);
  EXPECT_TRUE(collection.findSame(&b));
  EXPECT_EQ(collection.findSameIndex(&other), -1);
  EXPECT_FALSE(collection.findSame(&other));
}

TEST(LumCollection, ObjectsWithoutAnIsEqualOfTheirOwnAreAllEqual) {
  LumCollection collection;
  LumString wanted("b");
  EXPECT_EQ(collection.findIndex(&wanted), -1);
  collection.add(new LumString("a"));
  collection.add(new LumString("b"));
  EXPECT_EQ(collection.findIndex(&wanted), 0);
  EXPECT_EQ(collection.find(&wanted), collection.atPos(0));
}

TEST(LumCollection, ForEachReachesEveryObject) {
  Kept a;
  Kept b;
  LumCollection collection;
  collection.add(&a);
  collection.add(&b);
  collection.forEach(3, 7);
  EXPECT_EQ(a.commands, std::vector<std::int32_t>{307});
  EXPECT_EQ(b.commands, std::vector<std::int32_t>{307});
  collection.reset();
  EXPECT_EQ(collection.count(), 2);
}

TEST(LumCollection, ForEachReachesObjectsAddedMeanwhile) {
  class Adding : public Element {
   public:
    explicit Adding(LumCollection& collection) : collection_(collection) {}
    std::int32_t onCommand(std::int32_t command, std::int32_t param) override {
      if (collection_.count() < 8) collection_.add(new Adding(collection_));
      return Element::onCommand(command, param);
    }

   private:
    LumCollection& collection_;
  };
  LumCollection collection;
  collection.add(new Adding(collection));
  collection.forEach(1, 2);
  EXPECT_EQ(collection.count(), 8);
  EXPECT_EQ(static_cast<const Element*>(collection.atPos(7))->commands,
            std::vector<std::int32_t>{102});
}

TEST(LumCollection, AnObjectMayEmptyTheCollectionInItsDestructor) {
  class Emptying : public LumObject {
   public:
    explicit Emptying(LumCollection& collection) : collection_(collection) {}
    ~Emptying() override { collection_.removeAll(); }

   private:
    LumCollection& collection_;
  };
  int destroyed = 0;
  LumCollection collection;
  auto* emptying = new Emptying(collection);
  collection.add(emptying);
  collection.add(new Element(&destroyed));
  collection.remove(emptying);
  EXPECT_EQ(collection.count(), 0);
  collection.add(new Emptying(collection));
  collection.add(new Element(&destroyed));
  collection.removeAll();
  EXPECT_EQ(collection.count(), 0);
  EXPECT_EQ(destroyed, 2);
}

}  // namespace
