// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/testing/scripted_driver.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <utility>

#include "protocol/services.h"

namespace scripted_driver {

namespace {

int check(int result, const char* what) {
  if (result < 0) {
    std::fprintf(stderr, "scripted driver: %s: %d\n", what, result);
    std::abort();
  }
  return result;
}

std::string pathOf(const std::string& name) { return std::string(kDriverPath) + "/" + name; }

int appendVariant(sd_bus_message* message, const CFValue& value);

int appendArray(sd_bus_message* message, const CFArray& array) {
  sd_bus_message_open_container(message, 'v', "av");
  sd_bus_message_open_container(message, 'a', "v");
  for (const CFValue& element : array) appendVariant(message, element);
  sd_bus_message_close_container(message);
  return sd_bus_message_close_container(message);
}

int appendVariant(sd_bus_message* message, const CFValue& value) {
  if (const auto* truth = value.as<bool>()) {
    return sd_bus_message_append(message, "v", "b", *truth ? 1 : 0);
  }
  if (const auto* number = value.as<std::int64_t>()) {
    if (*number >= std::numeric_limits<std::int32_t>::min() &&
        *number <= std::numeric_limits<std::int32_t>::max()) {
      return sd_bus_message_append(message, "v", "i", static_cast<std::int32_t>(*number));
    }
    return sd_bus_message_append(message, "v", "x", *number);
  }
  if (const auto* number = value.as<double>()) {
    return sd_bus_message_append(message, "v", "d", *number);
  }
  if (const auto* text = value.as<std::string>()) {
    return sd_bus_message_append(message, "v", "s", text->c_str());
  }
  if (const auto* array = value.as<CFArray>()) return appendArray(message, *array);
  if (const auto* data = value.as<CFData>()) {
    sd_bus_message_open_container(message, 'v', "ay");
    sd_bus_message_append_array(message, 'y', data->data(), data->size());
    return sd_bus_message_close_container(message);
  }
  sd_bus_message_open_container(message, 'v', "a{sv}");
  appendDictionary(message, *value.as<CFDictionary>());
  return sd_bus_message_close_container(message);
}

int appendInterfaces(sd_bus_message* message, const Service& service) {
  if (service.announce) return service.announce(message);
  sd_bus_message_open_container(message, 'a', "{sa{sv}}");
  sd_bus_message_open_container(message, 'e', "sa{sv}");
  sd_bus_message_append(message, "s", kServiceInterface);
  appendDictionary(message, {{"ClassName", service.className}, {"Properties", service.properties}});
  sd_bus_message_close_container(message);
  return sd_bus_message_close_container(message);
}

}  // namespace

int appendDictionary(sd_bus_message* message, const CFDictionary& dictionary) {
  sd_bus_message_open_container(message, 'a', "{sv}");
  for (const auto& [key, value] : dictionary) {
    sd_bus_message_open_container(message, 'e', "sv");
    sd_bus_message_append(message, "s", key.c_str());
    appendVariant(message, value);
    sd_bus_message_close_container(message);
  }
  return sd_bus_message_close_container(message);
}

void sendPacket(int socket, std::span<const std::uint8_t> packet) {
  // The client may have closed its end; the test deals with that.
  [[maybe_unused]] const ssize_t sent = send(socket, packet.data(), packet.size(), MSG_NOSIGNAL);
}

Driver::Driver(const std::string& address) {
  check(sd_bus_new(&bus_), "bus");
  check(sd_bus_set_address(bus_, address.c_str()), "address");
  check(sd_bus_set_bus_client(bus_, 1), "client");
  check(sd_bus_negotiate_fds(bus_, 1), "descriptors");
  check(sd_bus_start(bus_), "start");
  check(sd_bus_add_filter(bus_, nullptr, received, this), "filter");
}

Driver::~Driver() { sd_bus_flush_close_unref(bus_); }

void Driver::claimName() { check(sd_bus_request_name(bus_, kDriverName, 0), "name"); }

void Driver::dropName() { check(sd_bus_release_name(bus_, kDriverName), "name"); }

void Driver::publish(const std::string& name, Service service) {
  const Service& kept = services_.insert_or_assign(name, std::move(service)).first->second;
  announce(pathOf(name), [&kept](sd_bus_message* m) { return appendInterfaces(m, kept); });
}

void Driver::terminate(const std::string& name) {
  services_.erase(name);
  std::erase_if(channels_, [&](const auto& channel) { return channel->service == name; });
  announceRemoval(pathOf(name), kServiceInterface);
}

void Driver::announce(const std::string& path,
                      const std::function<int(sd_bus_message*)>& interfaces) {
  sendSignal(kDriverPath, kObjectManagerInterface, "InterfacesAdded", [&](sd_bus_message* m) {
    sd_bus_message_append(m, "o", path.c_str());
    return interfaces(m);
  });
}

void Driver::announceRemoval(const std::string& path, const char* interface) {
  sendSignal(kDriverPath, kObjectManagerInterface, "InterfacesRemoved", [&](sd_bus_message* m) {
    return sd_bus_message_append(m, "oas", path.c_str(), 1, interface);
  });
}

void Driver::sendMessage(const std::string& name, std::uint32_t type,
                         std::span<const std::uint8_t> bytes) {
  sendSignal(pathOf(name), kServiceInterface, "Message", [&](sd_bus_message* m) {
    sd_bus_message_append(m, "u", type);
    return sd_bus_message_append_array(m, 'y', bytes.data(), bytes.size());
  });
}

void Driver::sendSignal(const std::string& path, const char* interface, const char* member,
                        const std::function<int(sd_bus_message*)>& append) {
  sd_bus_message* signal = nullptr;
  check(sd_bus_message_new_signal(bus_, &signal, path.c_str(), interface, member), member);
  check(append(signal), "append");
  check(sd_bus_send(bus_, signal, nullptr), "send");
  sd_bus_message_unref(signal);
  check(sd_bus_flush(bus_), "flush");
}

int Driver::openChannel(const std::string& name) {
  std::array<int, 2> ends{};
  check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), "socketpair");
  channels_.push_back(std::make_unique<Channel>(Channel{FileDescriptor(ends[0]), name}));
  return ends[1];
}

void Driver::run(int stop) {
  pollfd watched{stop, POLLIN, 0};
  while (poll(&watched, 1, 0) == 0) runOnce(stop);
}

void Driver::runOnce(int also) {
  int processed = lost_ ? -1 : 1;
  while (processed > 0) processed = sd_bus_process(bus_, nullptr);
  lost_ = processed < 0;
  std::vector<pollfd> watched{{lost_ ? -1 : sd_bus_get_fd(bus_), POLLIN, 0}, {also, POLLIN, 0}};
  for (const auto& channel : channels_) watched.push_back({channel->socket.get(), POLLIN, 0});
  poll(watched.data(), watched.size(), -1);
  for (std::size_t i = 2; i < watched.size(); ++i) {
    if (watched[i].revents == 0) continue;
    // Serving another channel may have closed this one: look it up.
    for (std::size_t j = 0; j < channels_.size(); ++j) {
      if (channels_[j]->socket.get() != watched[i].fd) continue;
      if (!serve(*channels_[j])) {
        std::erase_if(channels_,
                      [&](const auto& entry) { return entry->socket.get() == watched[i].fd; });
      }
      break;
    }
  }
}

bool Driver::serve(Channel& channel) {
  Bytes packet(65536);
  const ssize_t size = recv(channel.socket.get(), packet.data(), packet.size(), MSG_DONTWAIT);
  if (size < 4) return false;
  std::uint32_t selector = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    selector |= static_cast<std::uint32_t>(packet[i]) << (8 * i);
  }
  const Bytes request(packet.begin() + 4, packet.begin() + size);
  const Service& service = services_.at(channel.service);
  if (service.handle) return service.handle(channel.socket.get(), request);
  const auto answer = service.respond ? service.respond(selector, request) : request;
  if (answer) sendPacket(channel.socket.get(), *answer);
  return true;
}

int Driver::received(sd_bus_message* message, void* self, sd_bus_error*) {
  if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0) return 0;
  const int result = static_cast<Driver*>(self)->reply(message);
  if (result < 0) {
    sd_bus_reply_method_errorf(message, "com.vantrel.Driver1.Failed", "scripted");
  }
  return 1;
}

int Driver::reply(sd_bus_message* call) {
  const std::string_view member = sd_bus_message_get_member(call);
  const std::string path = sd_bus_message_get_path(call);
  if (member == "GetManagedObjects") return replyWithAll(call);
  ++callsToServices_;
  const std::string prefix = pathOf("");
  if (!path.starts_with(prefix) || !services_.contains(path.substr(prefix.size()))) return -1;
  const std::string name = path.substr(prefix.size());
  if (member == "Open") return replyToOpen(call, name);
  if (member == "Get") return replyToRead(call, name);
  return -1;
}

int Driver::replyToOpen(sd_bus_message* call, const std::string& name) {
  std::uint32_t type = 0;
  check(sd_bus_message_read(call, "u", &type), "Open");
  const auto script = services_.at(name).open;  // a copy: it may terminate its own service
  const int handed = script ? script(type) : openChannel(name);
  if (handed < 0) return handed;
  const FileDescriptor owned(handed);
  return sd_bus_reply_method_return(call, "h", handed);
}

int Driver::replyToRead(sd_bus_message* call, const std::string& name) {
  const auto script = services_.at(name).read;
  if (script) return replyWith(call, script);
  return replyWith(call, [this, &name](sd_bus_message* reply) {
    return appendVariant(reply, CFValue(services_.at(name).properties));
  });
}

int Driver::replyWithAll(sd_bus_message* call) {
  if (listing_) return replyWith(call, listing_);
  return replyWith(call, [this](sd_bus_message* reply) {
    sd_bus_message_open_container(reply, 'a', "{oa{sa{sv}}}");
    for (const auto& [name, service] : services_) {
      sd_bus_message_open_container(reply, 'e', "oa{sa{sv}}");
      sd_bus_message_append(reply, "o", pathOf(name).c_str());
      appendInterfaces(reply, service);
      sd_bus_message_close_container(reply);
    }
    return sd_bus_message_close_container(reply);
  });
}

int Driver::replyWith(sd_bus_message* call, const std::function<int(sd_bus_message*)>& append) {
  sd_bus_message* reply = nullptr;
  check(sd_bus_message_new_method_return(call, &reply), "reply");
  const int result = append(reply);
  const int sent = result < 0 ? result : sd_bus_send(bus_, reply, nullptr);
  sd_bus_message_unref(reply);
  return sent;
}

DriverThread::DriverThread(const std::string& address)
    : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), thread_([this, address] { run(address); }) {}

DriverThread::~DriverThread() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  eventfd_write(wake_.get(), 1);
  thread_.join();
}

void DriverThread::perform(const std::function<void(Driver&)>& action) { start(action).wait(); }

std::future<void> DriverThread::start(std::function<void(Driver&)> action) {
  std::packaged_task<void(Driver&)> task(std::move(action));
  std::future<void> done = task.get_future();
  {
    const std::lock_guard lock(mutex_);
    actions_.push_back(std::move(task));
  }
  eventfd_write(wake_.get(), 1);
  return done;
}

void DriverThread::run(const std::string& address) {
  Driver driver(address);
  for (;;) {
    std::vector<std::packaged_task<void(Driver&)>> actions;
    {
      const std::lock_guard lock(mutex_);
      if (stopping_) return;
      eventfd_t ignored = 0;
      eventfd_read(wake_.get(), &ignored);
      actions.swap(actions_);
    }
    for (auto& action : actions) action(driver);
    driver.runOnce(wake_.get());
  }
}

DriverProcess::DriverProcess(const std::string& address,
                             const std::function<void(Driver&)>& prepare)
    : process_([&] {
        Driver driver(address);
        prepare(driver);
        driver.claimName();
        std::puts("ready");
        std::fflush(stdout);
        driver.run(-1);
      }) {
  check(process_.readLine() == "ready" ? 0 : -1, "process");
}

void DriverProcess::kill() {
  process_.signal(SIGKILL);
  process_.wait();
}

}  // namespace scripted_driver
