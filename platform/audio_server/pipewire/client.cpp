// SPDX-License-Identifier: MIT
#include "platform/audio_server/pipewire/client.h"

namespace pipewire {

Client::~Client() {
  ending_ = true;
  if (loop_) pw_thread_loop_stop(loop_.get());
}

DeviceMirror& Client::devices(Deadline deadline) {
  std::call_once(started_, [this] { start(); });
  // The notification thread receives the list itself: it must not wait for it.
  if (!isNotificationThread()) mirror_.waitUntilKnown(deadline);
  return mirror_;
}

void Client::start() {
  library_.emplace();
  loop_.reset(pw_thread_loop_new("audio server", nullptr));
  if (!loop_) {
    mirror_.setAbsent();
    return;
  }
  pw_loop* loop = pw_thread_loop_get_loop(loop_.get());
  registry_.emplace(mirror_, [this] { listChanged(); });
  connection_.emplace(loop, "client.conf",
                      Connection::Handlers{[this](pw_core* core) { registry_->open(core); },
                                           [this] { registry_->close(); }});
  writeEvent_ = Source(pw_loop_add_event(loop, onWrite, this), {loop});
  notifyEvent_ = Source(pw_loop_add_event(loop, onNotify, this), {loop});
  if (!connection_->start()) mirror_.setAbsent();
  if (pw_thread_loop_start(loop_.get()) < 0) mirror_.setAbsent();
}

bool Client::write(AudioObjectID device, const RoutingBytes& record, Deadline deadline) {
  if (!writeEvent_) return false;
  DeviceMirror::Write write{device, record};
  mirror_.queueWrite(write);
  pw_loop_signal_event(pw_thread_loop_get_loop(loop_.get()), writeEvent_.get());
  return mirror_.finishWrite(write, deadline);
}

void Client::onWrite(void* data, std::uint64_t /*count*/) {
  static_cast<Client*>(data)->registry_->sendWrites();
}

void Client::notifyListeners() {
  if (notifyEvent_) pw_loop_signal_event(pw_thread_loop_get_loop(loop_.get()), notifyEvent_.get());
}

void Client::onNotify(void* data, std::uint64_t /*count*/) {
  static_cast<Client*>(data)->listChanged();
}

void Client::listChanged() {
  // The destructor closes the connection, which removes all devices: report no change.
  if (ending_) return;
  notificationThread_ = std::this_thread::get_id();
  listeners_.call(kAudioObjectSystemObject, kDeviceListAddress);
}

}  // namespace pipewire
