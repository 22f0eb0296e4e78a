// SPDX-License-Identifier: MIT
#include "driver/service/port.h"

namespace driver {

namespace {

using std::chrono::milliseconds;

// How long an interface that left the bus stays away: about what a device takes to enumerate.
constexpr milliseconds kAwayTime{300};

}  // namespace

Port::Port(ServiceContext& context, Interface& interface, RequestHandler& handler)
    : context_(context),
      interface_(interface),
      handler_(handler),
      audio_(context, interface),
      away_(context.event) {
  interface_.setListener(this);
}

Port::~Port() { interface_.setListener(nullptr); }

void Port::plug(std::function<void(bool)> done) {
  // An interface that is about to leave by itself leaves first.
  if (publication_ && away_.running()) disappear();
  away_.stop();
  if (done) waiting_.push_back(std::move(done));
  if (publication_) finishPlug(true);
  if (publication_ || appearing_) return;
  appearing_ = true;
  interface_.connected();
  audio_.publish([this] { appear(); });
}

void Port::unplug() {
  away_.stop();
  disappear();
  finishPlug(false);
}

void Port::replug(std::function<void(bool)> done) {
  if (!publication_ && !appearing_) {
    done(false);
    return;
  }
  disappear();
  plug(std::move(done));
}

void Port::appear() {
  appearing_ = false;
  publication_ = Publication::publish(context_, interface_, handler_, *this);
  finishPlug(publication_ != nullptr);
}

void Port::disappear() {
  appearing_ = false;
  publication_.reset();
  audio_.withdraw();
}

void Port::finishPlug(bool appeared) {
  for (const auto& done : std::exchange(waiting_, {})) done(appeared);
}

void Port::interfaceChanged(std::uint32_t notification) {
  audio_.update();
  if (publication_) publication_->announce(notification);
}

// Comes from inside the publication, which therefore goes only when the loop is back.
void Port::interfaceLeft() {
  away_.start(milliseconds(0), [this] {
    disappear();
    away_.start(kAwayTime, [this] { plug(nullptr); });
  });
}

}  // namespace driver
