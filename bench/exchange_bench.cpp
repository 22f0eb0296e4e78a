// SPDX-License-Identifier: MIT
// One request record to the real driver and back through the device layer, beside the same bytes
// sent over a bare socket pair to a process that returns them. All processes share one processor,
// so that the figures are the work of both sides and the two switches between them.
#include <benchmark/benchmark.h>
#include <sched.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "device/usb_device.h"
#include "protocol/dispatch.h"
#include "protocol/services.h"
#include "tests/support/child_process.h"
#include "tests/support/private_bus.h"

namespace {

void stayOnOneProcessor() {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  CPU_SET(sched_getcpu(), &processors);
  sched_setaffinity(0, sizeof processors, &processors);
}

[[noreturn]] void fail(const char* problem) {
  std::fprintf(stderr, "exchange_bench: %s\n", problem);
  std::exit(1);
}

// The driver service with its virtual interface, found and opened.
class RealDriver {
 public:
  RealDriver() {
    if (!device_->open(false)) fail("the interface does not open");
  }
  bool exchange() { return device_->getCurrentClockSource() >= 0; }

 private:
  static io_service_t find() {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < limit) {
      mach_port_t port = 0;
      if (IOMasterPort(&port) != kIOReturnSuccess) continue;
      io_iterator_t present = 0;
      IOServiceGetMatchingServices(port, IOServiceMatching(kVX310DriverClass), &present);
      const io_service_t service = IOIteratorNext(present);
      IOObjectRelease(present);
      if (service != 0) return service;  // the port stays held for the device
      mach_port_deallocate(port);
    }
    fail("the driver publishes no interface");
  }

  test_support::PrivateBus bus_;
  test_support::ChildProcess driver_{{VX310_DRIVER}};
  std::unique_ptr<USBDevice> device_{std::make_unique<USBDevice>(find())};
};

// A process that returns each record without its selector.
class BareEcho {
 public:
  BareEcho() {
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_.data()) != 0) fail("there is no socket pair");
    process_ = std::make_unique<test_support::ChildProcess>([this] {
      close(ends_[0]);
      std::array<std::uint8_t, 512> packet{};
      while (recv(ends_[1], packet.data(), packet.size(), 0) > 0) {
        send(ends_[1], packet.data() + kDispatchSelectorSize, VQ_Dispatch::kSize, 0);
      }
    });
    close(ends_[1]);
  }
  ~BareEcho() { close(ends_[0]); }

  bool exchange() {
    std::array<std::uint8_t, kRequestPacketSize> packet{};
    return send(ends_[0], packet.data(), packet.size(), 0) > 0 &&
           recv(ends_[0], packet.data(), packet.size(), 0) > 0;
  }

 private:
  std::array<int, 2> ends_{};
  std::unique_ptr<test_support::ChildProcess> process_;
};

template <typename Peer>
void Exchange(benchmark::State& state) {
  static Peer peer;
  for (auto run : state) {
    if (!peer.exchange()) state.SkipWithError("no answer");
  }
}
using Ours = RealDriver;
BENCHMARK_TEMPLATE(Exchange, Ours)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Exchange, BareEcho)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int count, char** arguments) {
  stayOnOneProcessor();
  benchmark::Initialize(&count, arguments);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
