// SPDX-License-Identifier: MIT
// Iterators, interest notifications, and the run loop source of a notification port, in which
// events wait until the run loop performs them.
//
// Each event is queued as soon as the registry receives it, and reported to the client only from
// perform(). So an operation that waits for a driver never runs a callback. Thread: that of the
// registry's operations.
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

// The services that a client has not taken yet: the services present at one time, or those that a
// matching notification collects.
class Iterator : public Object {
 public:
  using Object::Object;

  // A service and its place in the order of all events of the port; 0 for a service that was
  // present before the iterator was made.
  struct Item {
    std::uint64_t place;
    std::shared_ptr<Service> service;
  };
  std::deque<Item> items;

  // The members below are used by the iterator of a matching notification only.
  std::weak_ptr<PortSource> port;
  std::string kind;
  std::string className;
  IOServiceMatchingCallback callback = nullptr;
  void* refcon = nullptr;
  // next() has returned null once.
  bool drained = false;
  // The next service that is added causes a callback. True until that callback starts.
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
  // The parts of the registry that the source uses.
  struct Surroundings {
    // Receives the events that the drivers have sent so far; may be empty.
    std::function<void()> receive;
    // A descriptor that reads as ready when receive() has an event to receive; -1 if there is none.
    // Closing it ends the watch.
    int incoming = -1;
    // The clients' references.
    std::shared_ptr<ObjectTable> objects;
  };

  // Null when the process has no descriptors left.
  static std::shared_ptr<PortSource> create(Surroundings surroundings);

  int descriptor() const override { return descriptor_.get(); }
  void perform() override;

  // Ends all notifications. The source itself lives as long as a run loop owns it.
  void close();

  void add(const std::shared_ptr<Iterator>& iterator);
  // Takes the next service of an iterator of this port; null, which arms the iterator, when the
  // iterator is empty or an earlier event must be reported first.
  std::shared_ptr<Service> next(Iterator& iterator);

  // Adds `service` to the iterators of `kind` that match it.
  void queueService(const char* kind, const std::shared_ptr<Service>& service);
  // Queues a message for every interest in `service`.
  void queueMessage(const Service& service, natural_t type, std::span<const std::uint8_t> argument);
  void add(const std::shared_ptr<Interest>& interest);

  // Makes the run loop perform the source, because there are more events to receive.
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
  FileDescriptor event_;       // readable while an event is queued
  FileDescriptor descriptor_;  // watches event_ and the incoming descriptor
  std::vector<std::weak_ptr<Iterator>> iterators_;
  std::vector<std::weak_ptr<Interest>> interests_;
  std::deque<Message> messages_;
  std::uint64_t lastPlace_ = 0;
  bool woken_ = false;
  bool shownReady_ = false;
};

}  // namespace device_registry
