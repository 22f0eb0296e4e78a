// SPDX-License-Identifier: MIT
// Iterators, interest notifications, and the run loop source of a notification port, in which what
// happened waits until the run loop performs it.
//
// Everything that happens is put in its place of a queue at once, whoever notices it, and told to
// the client only from inside perform(). So a call that waits on a driver never runs a callback.
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

// The services that a client has still to take: those present at one time, or those that a matching
// notification collects.
class Iterator : public Object {
 public:
  using Object::Object;

  // A service and its place among all that happened on the port; 0 for a service that was there
  // before the iterator.
  struct Item {
    std::uint64_t place;
    std::shared_ptr<Service> service;
  };
  std::deque<Item> items;

  // The rest is for an iterator of a matching notification.
  std::weak_ptr<PortSource> port;
  std::string kind;
  std::string className;
  IOServiceMatchingCallback callback = nullptr;
  void* refcon = nullptr;
  // Has returned 0 once.
  bool drained = false;
  // The next service that comes makes a callback. Stays so until that callback begins.
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
  // What the source needs of the registry around it.
  struct Surroundings {
    // Takes in what has come from the drivers by now; may be empty.
    std::function<void()> receive;
    // A descriptor that reads as ready when receive() has something to take in; -1 for none. When
    // it is closed it is watched no more.
    int incoming = -1;
    // Where the client's references are kept.
    std::shared_ptr<ObjectTable> objects;
  };

  // Null when the system has no descriptors left.
  static std::shared_ptr<PortSource> create(Surroundings surroundings);

  int descriptor() const override { return descriptor_.get(); }
  void perform() override;

  // Ends all notifications. The source itself stays as long as a run loop keeps it.
  void close();

  void add(const std::shared_ptr<Iterator>& iterator);
  // The next service of an iterator of this port, null when there is none or when it would overtake
  // what happened earlier. Null arms the iterator.
  std::shared_ptr<Service> next(Iterator& iterator);

  // Puts `service` into the iterators of `kind` that match it.
  void queueService(const char* kind, const std::shared_ptr<Service>& service);
  // Puts a message into the queue of every interest in `service`.
  void queueMessage(const Service& service, natural_t type, std::span<const std::uint8_t> argument);
  void add(const std::shared_ptr<Interest>& interest);

  // Makes the run loop perform the source though nothing is queued: there is more to receive.
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
