// SPDX-License-Identifier: MIT
#include "driver/service/usb_port.h"

#include "protocol/services.h"

namespace driver {

namespace {

using std::chrono::milliseconds;

// How long an interface that left the USB bus stays away: about what a device takes to enumerate.
constexpr milliseconds kAwayTime{300};

}  // namespace

UsbPort::UsbPort(ServiceContext& context, Interface& interface, RequestHandler& handler)
    : context_(context),
      interface_(interface),
      handler_(handler),
      audio_(context, interface, handler),
      away_(context.event) {
  interface_.setListener(this);
}

UsbPort::~UsbPort() { interface_.setListener(nullptr); }

void UsbPort::plug(std::function<void(bool)> done) {
  // An interface that is about to reconnect by itself disappears first.
  if (publication_ && away_.running()) disappear();
  away_.stop();
  if (done) waiting_.push_back(std::move(done));
  if (publication_) finishPlug(true);
  if (publication_ || appearing_) return;
  appearing_ = true;
  interface_.connected();
  const std::string path =
      std::string(kDriverPath) + "/service" + std::to_string(context_.publications++);
  audio_.publish(path, [this, path] { appear(path); });
}

void UsbPort::unplug() {
  away_.stop();
  disappear();
  finishPlug(false);
}

void UsbPort::replug(std::function<void(bool)> done) {
  if (!publication_ && !appearing_) {
    done(false);
    return;
  }
  disappear();
  plug(std::move(done));
}

void UsbPort::appear(const std::string& path) {
  appearing_ = false;
  publication_ = Publication::publish(context_, path, interface_, handler_, *this);
  finishPlug(publication_ != nullptr);
}

void UsbPort::disappear() {
  appearing_ = false;
  publication_.reset();
  audio_.withdraw();
}

void UsbPort::finishPlug(bool appeared) {
  for (const auto& done : std::exchange(waiting_, {})) done(appeared);
}

void UsbPort::audioChanged() { audio_.update(); }

void UsbPort::interfaceChanged(std::uint32_t notification) {
  if (publication_) publication_->announce(notification);
}

// The publication calls this, so it is destroyed only from the event loop.
void UsbPort::interfaceLeft() {
  away_.start(milliseconds(0), [this] {
    disappear();
    away_.start(kAwayTime, [this] { plug(nullptr); });
  });
}

}  // namespace driver
