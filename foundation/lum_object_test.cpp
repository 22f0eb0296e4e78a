// SPDX-License-Identifier: MIT
#include "foundation/lum_object.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

class Counted : public LumObject {
 public:
  explicit Counted(int& destroyed) : destroyed_(destroyed) {}
  ~Counted() override { ++destroyed_; }

 private:
  int& destroyed_;
};

TEST(LumObject, ANewObjectHasNoReferences) {
  const LumObject object;
  EXPECT_EQ(object.getReferences(), 0);
}

TEST(LumObject, TheLastReleaseDestroysTheObject) {
  int destroyed = 0;
  auto* object = new Counted(destroyed);
  object->incReferences();
  object->incReferences();
  EXPECT_EQ(object->getReferences(), 2);
  object->decReferences();
  EXPECT_EQ(object->getReferences(), 1);
  EXPECT_EQ(destroyed, 0);
  object->decReferences();
  EXPECT_EQ(destroyed, 1);
}

TEST(LumObject, AReleaseFrom0DestroysNothing) {
  int destroyed = 0;
  {
    Counted object(destroyed);
    object.decReferences();
    EXPECT_EQ(object.getReferences(), -1);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(LumObject, TwoThreadsReleaseTheirReferencesAndTheLastOneDestroysTheObject) {
  constexpr int kRounds = 1000;
  int destroyed = 0;
  auto* object = new Counted(destroyed);
  object->incReferences();
  object->incReferences();
  const auto useAndRelease = [object] {
    for (int i = 0; i < kRounds; ++i) object->incReferences();
    for (int i = 0; i <= kRounds; ++i) object->decReferences();
  };
  std::thread first(useAndRelease);
  std::thread second(useAndRelease);
  first.join();
  second.join();
  EXPECT_EQ(destroyed, 1);
}

TEST(LumObject, ACopyHasReferencesOfItsOwn) {
  LumObject object;
  object.incReferences();
  LumObject copy(object);
  EXPECT_EQ(copy.getReferences(), 0);
  copy.incReferences();
  copy.incReferences();
  object = copy;
  EXPECT_EQ(object.getReferences(), 1);
}

TEST(LumObject, TheRootComparesEqualAndReturnsTheParameter) {
  LumObject a;
  const LumObject b;
  EXPECT_EQ(a.compare(b), 0);
  EXPECT_TRUE(a.isEqual(b));
  EXPECT_TRUE(a == b);
  EXPECT_EQ(a.onCommand(7, -12), -12);
}

TEST(LumObject, EqualityFollowsTheClassesIsEqual) {
  class Unequal : public LumObject {
    bool isEqual(const LumObject&) const override { return false; }
  };
  EXPECT_FALSE(Unequal() == LumObject());
}

}  // namespace
