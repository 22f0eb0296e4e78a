// Owners for what sd-bus, sd-event and the kernel hand out.
#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <memory>
#include <utility>

namespace driver {

template <auto release>
struct Releaser {
  template <typename T>
  void operator()(T* handle) const {
    release(handle);
  }
};

// What the bus has not taken by then is dropped: a bus that hangs must not keep the process.
using Bus = std::unique_ptr<sd_bus, Releaser<sd_bus_close_unref>>;
using BusSlot = std::unique_ptr<sd_bus_slot, Releaser<sd_bus_slot_unref>>;
using BusMessage = std::unique_ptr<sd_bus_message, Releaser<sd_bus_message_unref>>;
using Event = std::unique_ptr<sd_event, Releaser<sd_event_unref>>;
// Its callback is not called any more once it is gone; it may go from inside that callback.
using EventSource = std::unique_ptr<sd_event_source, Releaser<sd_event_source_disable_unref>>;

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      reset();
      descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
  }

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }
  void reset() {
    if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
  }

 private:
  int descriptor_ = -1;
};

}  // namespace driver
