// The driver's audio device: one node in the PipeWire graph with six capture and four playback
// channels, and the routing property 'VQrt'.
//
// The property is the entry "VQrt" of the struct `params` in the node's Props: the five routing
// records one after the other, as bytes in host order (SPA type Bytes). A client writes one record
// of 12 bytes under the same key.
//
// One thread: everything here is called, and calls back, on the thread that owns the object, and
// no function waits. That thread watches descriptor() and calls dispatch() whenever it is readable;
// handlers run inside dispatch(). Only the audio itself runs on PipeWire's data thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace driver {

// One routing: which source feeds a pair of channels.
struct RoutingRecord {
  std::uint32_t input;  // 1 = an input routing, 0 = an output routing
  std::int32_t pair;    // outputs: 0 = line, 1 = digital; inputs: 0 = 1/2, 1 = 3/4, 2 = 5/6
  std::int32_t value;   // the selected source, as the index of its menu item
  bool operator==(const RoutingRecord&) const = default;
};
static_assert(sizeof(RoutingRecord) == 12, "the record is sent as its bytes");

// Outputs 0 and 1, then inputs 0, 1 and 2.
inline constexpr std::size_t kRoutingCount = 5;
using RoutingRecords = std::array<RoutingRecord, kRoutingCount>;

// The source of an input pair that gives back what is played on channels 1 and 2.
inline constexpr std::int32_t kInputSourceLoopback = 3;

inline constexpr int kCaptureChannels = 6;
inline constexpr int kPlaybackChannels = 4;

class AudioNode {
 public:
  struct Handlers {
    // A client wrote a well-formed record; whether the routing exists and takes the value is the
    // handler's matter. It calls setRoutings() with what holds now. After its return the node shows
    // the records again in any case, so that the writer sees the answer, a refusal too. May call
    // any member function, but must not destroy the node.
    std::function<void(const RoutingRecord&)> routingWritten;

    // The node came into the graph and can be found by others (true), or left it (false): by
    // withdraw() at once, or because the server went away.
    std::function<void(bool present)> presenceChanged;
  };

  // `description` is the name under which others find the device. The handlers may be empty.
  // Nothing is published yet; the server need not run.
  AudioNode(std::string description, Handlers handlers);
  ~AudioNode();
  AudioNode(const AudioNode&) = delete;
  AudioNode& operator=(const AudioNode&) = delete;

  // Readable while there is work for dispatch(); the same for the life of the object, which keeps
  // it. -1 when PipeWire's client library could not be set up: then nothing is ever published.
  int descriptor() const;

  // Does the work that is ready; never waits.
  void dispatch();

  // Publishes the node, or as soon as a server runs; and again after each restart of the server,
  // until withdraw(). Publishing twice sets the records.
  void publish(const RoutingRecords& records);

  // Takes the node out of the graph. Without a published node it does nothing.
  void withdraw();

  // Changes the published records and the audio with them. Before publish() it does nothing.
  void setRoutings(const RoutingRecords& records);

  // True while the node is in the graph.
  bool present() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace driver
