// SPDX-License-Identifier: MIT
// Qt's event loop needs an application object; the tests of this program share one.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <memory>
#include <thread>

#include "platform/run_loop/run_loop.h"

namespace {

class Application : public testing::Environment {
 public:
  void SetUp() override { application_ = std::make_unique<QCoreApplication>(count_, arguments_); }
  void TearDown() override { application_.reset(); }

 private:
  int count_ = 1;
  char name_[5] = "test";
  char* arguments_[2] = {name_, nullptr};
  std::unique_ptr<QCoreApplication> application_;
};

const auto* const application = testing::AddGlobalTestEnvironment(new Application);

TEST(QtRunLoop, OtherThreadsHaveNone) {
  CFRunLoopRef loop = CFRunLoopGetCurrent();
  std::thread other([&] {
    loop = CFRunLoopGetCurrent();
    EXPECT_FALSE(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0));
  });
  other.join();
  EXPECT_EQ(loop, nullptr);
}

}  // namespace
