// SPDX-License-Identifier: MIT
// The driver's place in the PipeWire graph: one connection to the server, which all of its nodes
// share. It comes back when the server does, and the nodes with it.
//
// One thread: the graph and its nodes are called, and call back, on the thread that owns them, and
// no function waits. That thread watches descriptor() and calls dispatch() whenever it is readable;
// handlers run inside dispatch(). Only the audio itself runs on PipeWire's data thread.
#pragma once

#include <memory>

namespace driver {

class AudioGraph {
 public:
  // The server need not run. Connects when the first node is made.
  AudioGraph();
  // All nodes must be gone.
  ~AudioGraph();
  AudioGraph(const AudioGraph&) = delete;
  AudioGraph& operator=(const AudioGraph&) = delete;

  // Readable while there is work for dispatch(). Owned by the object and the same for its life. -1
  // when PipeWire's client library could not be set up: then no node ever appears.
  int descriptor() const;

  // Does the work that is ready; never waits.
  void dispatch();

 private:
  friend class AudioNode;
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace driver
