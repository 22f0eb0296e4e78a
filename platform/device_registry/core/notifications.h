// SPDX-License-Identifier: MIT
// Iterators, interest notifications, and the run loop source of a notification port, which queues
// events until the run loop performs it.
//
// Events are queued as soon as they are received, also during a call that waits on a driver.
// Callbacks run only inside perform().
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/device_registry/core/object.h"
#include "platform/device_registry/core/service.h"
#include "platform/posix/posix.h"

namespace device_registry {

class PortSource;

// The services that IOIteratorNext has yet to return: those present at one moment, or those that a
// matching notification collects.
class Iterator : public Object {
 public:
  using Object::Object;

  // A service and its place in the order of the port's events; 0 for a service that was present
  // when the iterator was made.
  struct Item {
    std::uint64_t place;
    std::shared_ptr<Service> service;
  };
  std::deque<Item> items;

  // Of an iterator of a matching notification only.
  std::weak_ptr<PortSource> port;
  std::string kind;
  std::string className;
  IOServiceMatchingCallback callback = nullptr;
  void* refcon = nullptr;
  // IOIteratorNext has returned 0 once.
  bool drained = false;
  // The next service added makes a callback. Cleared when that callback begins.
  bool armed = false;
};

class Interest : public Object {
 public:
  using Object::Object;

  std::weak_ptr<PortSource> port;
  std::shared_ptr<Service> service;
  IOServiceInterestCallback callback = nullptr;
  void* refcon = nullptr;
};

class PortSource : public CFRunLoopSource, public std::enable_shared_from_this<PortSource> {
 public:
  // Messages that wait; the oldest of more than these are dropped.
  static constexpr std::size_t kMessageLimit = 4096;

  // The parts of the registry that the source uses.
  struct Surroundings {
    // As those of Registry.
    std::function<void()> beginTurn;
    std::function<void()> endTurn;
    // As Registry::incoming(). Closing the descriptor ends its watching.
    int incoming = -1;
    // The clients' references.
    std::shared_ptr<ObjectTable> objects;
  };

  // Null when the system has no descriptors left.
  static std::shared_ptr<PortSource> create(Surroundings surroundings);

  int descriptor() const override { return descriptor_.get(); }
  void perform() override;

  // Ends all notifications. A run loop may keep the source itself longer.
  void close();

  void add(const std::shared_ptr<Iterator>& iterator);
  // Takes the next service of an iterator of this port. Returns null, and arms the iterator, when
  // the iterator is empty or its next service would overtake an earlier event.
  std::shared_ptr<Service> next(Iterator& iterator);

  // Adds `service` to the iterators of `kind` that match it.
  void queueService(const char* kind, const std::shared_ptr<Service>& service);
  // Removes a terminated service from the publish iterators in which it still waits.
  void drop(const Service& service);
  // Queues a message for every interest in `service`. A message of the same type and number as one
  // that still waits is dropped: the client reads the state of both when it sees the earlier.
  void queueMessage(const Service& service, natural_t type, std::span<const std::uint8_t> argument);
  void add(const std::shared_ptr<Interest>& interest);

  // Makes the source ready though nothing is queued: there is more to receive.
  void wake();

 private:
  struct Message {
    std::uint64_t place;
    std::weak_ptr<Interest> interest;
    natural_t type;
    std::vector<std::uint8_t> argument;
  };

  PortSource(Surroundings surroundings, FileDescriptor event, FileDescriptor descriptor);

  bool wouldOvertake(const Iterator& iterator) const;
  std::shared_ptr<Iterator> earliestArmed() const;
  bool performEarliest(std::uint64_t lastPlace);
  void performMessage();
  void showReadiness();

  Surroundings surroundings_;
  FileDescriptor event_;       // readable while something is queued
  FileDescriptor descriptor_;  // watches event_ and the incoming descriptor
  std::vector<std::weak_ptr<Iterator>> iterators_;
  std::vector<std::weak_ptr<Interest>> interests_;
  std::deque<Message> messages_;
  std::uint64_t lastPlace_ = 0;
  bool woken_ = false;
  bool shownReady_ = false;
};

}  // namespace device_registry
