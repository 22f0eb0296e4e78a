// SPDX-License-Identifier: MIT
#include "platform/device_registry/core/notifications.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <utility>

namespace device_registry {

namespace {

bool watch(const FileDescriptor& watcher, int descriptor) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = descriptor;
  return epoll_ctl(watcher.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

template <typename T>
void addLiving(std::vector<std::weak_ptr<T>>& list, const std::shared_ptr<T>& object) {
  std::erase_if(list, [](const std::weak_ptr<T>& entry) { return entry.expired(); });
  list.push_back(object);
}

// Leading bytes of an argument that identify the event: size and number.
constexpr std::size_t kMessageHead = 8;

bool tellsTheSame(std::span<const std::uint8_t> left, std::span<const std::uint8_t> right) {
  return left.size() == right.size() &&
         std::ranges::equal(left.first(std::min(left.size(), kMessageHead)),
                            right.first(std::min(right.size(), kMessageHead)));
}

}  // namespace

std::shared_ptr<PortSource> PortSource::create(Surroundings surroundings) {
  FileDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  FileDescriptor watcher(epoll_create1(EPOLL_CLOEXEC));
  if (!event || !watcher || !watch(watcher, event.get())) return nullptr;
  if (surroundings.incoming >= 0 && !watch(watcher, surroundings.incoming)) return nullptr;
  return std::shared_ptr<PortSource>(
      new PortSource(std::move(surroundings), std::move(event), std::move(watcher)));
}

PortSource::PortSource(Surroundings surroundings, FileDescriptor event, FileDescriptor descriptor)
    : surroundings_(std::move(surroundings)),
      event_(std::move(event)),
      descriptor_(std::move(descriptor)) {}

void PortSource::perform() {
  const std::shared_ptr<PortSource> self = shared_from_this();  // a callback may release it
  woken_ = false;
  if (surroundings_.beginTurn) surroundings_.beginTurn();
  // Events that arrive during the callbacks are left to the next call, so that a driver that never
  // stops sending cannot keep the run loop from its other sources.
  const std::uint64_t lastPlace = lastPlace_;
  while (performEarliest(lastPlace)) {
  }
  surroundings_.endTurn();
  showReadiness();
}

void PortSource::close() {
  for (const auto& entry : iterators_) {
    if (const auto iterator = entry.lock()) iterator->items.clear();
  }
  iterators_.clear();
  interests_.clear();
  messages_.clear();
  woken_ = false;
  surroundings_.beginTurn = nullptr;
  if (surroundings_.incoming >= 0) {
    // Fails harmlessly when the descriptor was closed before.
    epoll_ctl(descriptor_.get(), EPOLL_CTL_DEL, surroundings_.incoming, nullptr);
  }
  showReadiness();
}

void PortSource::add(const std::shared_ptr<Iterator>& iterator) { addLiving(iterators_, iterator); }

void PortSource::add(const std::shared_ptr<Interest>& interest) { addLiving(interests_, interest); }

std::shared_ptr<Service> PortSource::next(Iterator& iterator) {
  if (iterator.items.empty() || wouldOvertake(iterator)) {
    iterator.drained = true;
    iterator.armed = true;
    showReadiness();
    return nullptr;
  }
  std::shared_ptr<Service> service = std::move(iterator.items.front().service);
  iterator.items.pop_front();
  showReadiness();
  return service;
}

// Only an iterator that is sure to be drained can hold back another: an iterator whose callback is
// due, or, while a client drains its new iterators one after the other, an iterator that has yet to
// be drained for the first time. Otherwise a client that never drains an iterator would never see
// the services of the others.
bool PortSource::wouldOvertake(const Iterator& iterator) const {
  const std::uint64_t place = iterator.items.front().place;
  return std::any_of(iterators_.begin(), iterators_.end(), [&](const auto& entry) {
    const auto other = entry.lock();
    return other && !other->items.empty() && other->items.front().place < place &&
           (other->armed || (!other->drained && !iterator.drained));
  });
}

void PortSource::queueService(const char* kind, const std::shared_ptr<Service>& service) {
  const std::uint64_t place = ++lastPlace_;
  for (const auto& entry : iterators_) {
    const auto iterator = entry.lock();
    if (iterator && iterator->kind == kind && iterator->className == service->className()) {
      iterator->items.push_back({place, service});
    }
  }
  showReadiness();
}

void PortSource::drop(const Service& service) {
  for (const auto& entry : iterators_) {
    const auto iterator = entry.lock();
    if (!iterator || iterator->kind != kIOPublishNotification) continue;
    std::erase_if(iterator->items,
                  [&](const auto& item) { return item.service.get() == &service; });
  }
  showReadiness();
}

void PortSource::queueMessage(const Service& service, natural_t type,
                              std::span<const std::uint8_t> argument) {
  for (const auto& entry : interests_) {
    const auto interest = entry.lock();
    if (!interest || interest->service.get() != &service) continue;
    const bool waits = std::ranges::any_of(messages_, [&](const Message& message) {
      return message.interest.lock() == interest && message.type == type &&
             tellsTheSame(message.argument, argument);
    });
    if (waits) continue;
    messages_.push_back({++lastPlace_, interest, type, {argument.begin(), argument.end()}});
    if (messages_.size() > kMessageLimit) messages_.pop_front();
  }
  showReadiness();
}

void PortSource::wake() {
  woken_ = true;
  showReadiness();
}

std::shared_ptr<Iterator> PortSource::earliestArmed() const {
  std::shared_ptr<Iterator> earliest;
  for (const auto& entry : iterators_) {
    const auto iterator = entry.lock();
    if (!iterator || !iterator->armed || iterator->items.empty()) continue;
    if (!earliest || iterator->items.front().place < earliest->items.front().place) {
      earliest = iterator;
    }
  }
  return earliest;
}

// Makes the callback of the earliest event. False when there is no event up to `lastPlace`.
bool PortSource::performEarliest(std::uint64_t lastPlace) {
  const std::shared_ptr<Iterator> iterator = earliestArmed();
  if (!messages_.empty() &&
      (!iterator || messages_.front().place < iterator->items.front().place)) {
    if (messages_.front().place > lastPlace) return false;
    performMessage();
    return true;
  }
  if (!iterator || iterator->items.front().place > lastPlace) return false;
  iterator->armed = false;
  if (iterator->callback) iterator->callback(iterator->refcon, iterator->number());
  return true;
}

void PortSource::performMessage() {
  const Message message = std::move(messages_.front());
  messages_.pop_front();
  const auto interest = message.interest.lock();
  if (!interest || !interest->callback) return;
  // The client may have released the service, so it gets a reference for the callback.
  const io_service_t service = surroundings_.objects->give(interest->service);
  interest->callback(interest->refcon, service, message.type, message.argument);
  surroundings_.objects->release(service);
}

void PortSource::showReadiness() {
  const bool ready = woken_ || !messages_.empty() || earliestArmed();
  if (ready == shownReady_) return;
  shownReady_ = ready;
  eventfd_t ignored = 0;
  if (ready) {
    eventfd_write(event_.get(), 1);
  } else {
    eventfd_read(event_.get(), &ignored);
  }
}

}  // namespace device_registry
