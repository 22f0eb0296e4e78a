// A session bus for one test: its own dbus-daemon with its own address in a temporary folder, so
// that nothing of the machine's session is touched.
#pragma once

#include <sys/types.h>

#include <string>

class PrivateBus {
 public:
  // Starts the daemon and makes it this process's session bus. Aborts the test program when it
  // cannot be started.
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& address() const { return address_; }

  // Where its files are; removed with the bus.
  const std::string& folder() const { return folder_; }

  // From now on the bus starts `command` when somebody asks for the name.
  void makeActivatable(const std::string& name, const std::string& command);

  // The bus goes away, with everybody's connection.
  void stop();

 private:
  std::string folder_;
  std::string address_;
  pid_t daemon_ = -1;
};
