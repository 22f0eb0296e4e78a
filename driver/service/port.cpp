#include "driver/service/port.h"

namespace driver {

namespace {

using std::chrono::milliseconds;

// How long an interface that left the bus stays away: about what a device takes to enumerate.
constexpr milliseconds kAwayTime{300};

}  // namespace

Port::Port(ServiceContext& context, Interface& interface, RequestHandler& handler)
    : context_(context), interface_(interface), handler_(handler), away_(context.event) {
  interface_.setListener(this);
}

Port::~Port() { interface_.setListener(nullptr); }

void Port::plug(std::function<void(bool)> done) {
  away_.stop();
  finishPlug(false);
  plugDone_ = std::move(done);
  if (publication_) {
    finishPlug(true);
    return;
  }
  interface_.connected();
  appear();
}

void Port::unplug() {
  away_.stop();
  disappear();
  finishPlug(false);
}

void Port::replug() {
  if (!publication_) return;
  disappear();
  plug(nullptr);
}

void Port::appear() {
  publication_ = Publication::publish(context_, interface_, handler_, *this);
  finishPlug(publication_ != nullptr);
}

void Port::disappear() { publication_.reset(); }

void Port::finishPlug(bool appeared) {
  if (const auto done = std::exchange(plugDone_, nullptr)) done(appeared);
}

void Port::interfaceChanged(std::uint32_t notification) {
  if (publication_) publication_->announce(notification);
}

// Comes from inside the publication, which therefore goes only when the loop is back.
void Port::interfaceLeft(Publication&) {
  away_.start(milliseconds(0), [this] {
    disappear();
    away_.start(kAwayTime, [this] { plug(nullptr); });
  });
}

}  // namespace driver
