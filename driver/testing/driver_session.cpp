// SPDX-License-Identifier: MIT
#include "driver/testing/driver_session.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cstring>

#include "protocol/services.h"

namespace driver::testing {

using test_support::waitReadable;

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kLargestPacket = 1 << 17;

std::vector<std::string> appendWords(const std::vector<std::string>& words,
                                     const std::vector<std::string>& more) {
  std::vector<std::string> all = words;
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

void appendWordArray(sd_bus_message* message, const std::vector<std::string>& words) {
  sd_bus_message_open_container(message, 'a', "s");
  for (const auto& word : words) sd_bus_message_append(message, "s", word.c_str());
  sd_bus_message_close_container(message);
}

void readDictionary(sd_bus_message* message, SeenService& service);

// Reads the next value, a variant.
void readValue(sd_bus_message* message, const std::string& key, SeenService& service) {
  char type = 0;
  const char* contents = nullptr;
  sd_bus_message_peek_type(message, &type, &contents);
  const std::string signature = contents;
  if (signature == "q") {
    std::uint16_t number = 0;
    sd_bus_message_read(message, "v", "q", &number);
    service.numbers[key] = number;
  } else if (signature == "i") {
    std::int32_t number = 0;
    sd_bus_message_read(message, "v", "i", &number);
    service.numbers[key] = number;
  } else if (signature == "s") {
    const char* text = nullptr;
    sd_bus_message_read(message, "v", "s", &text);
    (key == kClassNameProperty ? service.className : service.productName) = text;
  } else if (signature == "ay") {
    const void* bytes = nullptr;
    std::size_t size = 0;
    sd_bus_message_enter_container(message, 'v', "ay");
    sd_bus_message_read_array(message, 'y', &bytes, &size);
    sd_bus_message_exit_container(message);
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    service.orbekUid.assign(first, first + size);
  } else if (signature == "a{sv}") {
    sd_bus_message_enter_container(message, 'v', "a{sv}");
    readDictionary(message, service);
    sd_bus_message_exit_container(message);
  } else {
    ADD_FAILURE() << key << " is of type " << signature;
    sd_bus_message_skip(message, "v");
  }
}

void readDictionary(sd_bus_message* message, SeenService& service) {
  sd_bus_message_enter_container(message, 'a', "{sv}");
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
    const char* key = nullptr;
    sd_bus_message_read(message, "s", &key);
    readValue(message, key, service);
    sd_bus_message_exit_container(message);
  }
  sd_bus_message_exit_container(message);
}

// Reads an a{sa{sv}}; true when kServiceInterface is in it.
bool readInterfaces(sd_bus_message* message, SeenService& service) {
  bool found = false;
  sd_bus_message_enter_container(message, 'a', "{sa{sv}}");
  while (sd_bus_message_enter_container(message, 'e', "sa{sv}") > 0) {
    const char* interface = nullptr;
    sd_bus_message_read(message, "s", &interface);
    if (std::strcmp(interface, kServiceInterface) == 0) {
      found = true;
      readDictionary(message, service);
    } else {
      sd_bus_message_skip(message, "a{sv}");
    }
    sd_bus_message_exit_container(message);
  }
  sd_bus_message_exit_container(message);
  return found;
}

}  // namespace

std::uint32_t Answer::word(std::size_t index) const {
  EXPECT_EQ(bytes.size(), VQ_Dispatch::kSize);
  return wire::load<std::uint32_t>(bytes, VQ_Dispatch::kPayloadOffset + 4 * index);
}

Bus DriverSession::connectClient() {
  sd_bus* made = nullptr;
  EXPECT_GE(sd_bus_new(&made), 0);
  Bus bus(made);
  sd_bus_set_address(made, session_.address().c_str());
  sd_bus_set_bus_client(made, 1);
  sd_bus_negotiate_fds(made, 1);
  EXPECT_GE(sd_bus_start(made), 0);
  return bus;
}

void DriverSession::SetUp() {
  bus_ = connectClient();
  for (const char* rule : {"type='signal',path_namespace='/com/vantrel'",
                           "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',"
                           "arg0='com.vantrel.Driver1'"}) {
    ASSERT_GE(sd_bus_add_match(bus_.get(), nullptr, rule, &DriverSession::onSignal, this), 0);
  }
}

std::vector<std::string> DriverSession::environment() const {
  return appendWords({"PIPEWIRE_CONFIG_DIR", "PIPEWIRE_PROPS", "PIPEWIRE_REMOTE",
                      "XDG_CONFIG_HOME=" + session_.folder()},
                     audioEnvironment_);
}

void DriverSession::startDriver(const std::vector<std::string>& options) {
  driver_ = std::make_unique<ChildProcess>(appendWords({VX310_DRIVER}, options), environment());
  ASSERT_TRUE(waitUntil([this] { return nameOwned_; })) << "the driver service does not start";
  catchUp();
  added_.clear();
}

bool DriverSession::waitUntil(const std::function<bool()>& done) {
  const auto end = steady_clock::now() + kPatience;
  while (!done()) {
    const int handled = sd_bus_process(bus_.get(), nullptr);
    if (handled < 0 || steady_clock::now() > end) return false;
    if (handled > 0) continue;
    const auto left = std::chrono::duration_cast<microseconds>(end - steady_clock::now());
    sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(left.count()));
  }
  return true;
}

void DriverSession::catchUp() {
  std::string error;
  call(kDriverPath, "org.freedesktop.DBus.Peer", "Ping", nullptr, &error);
  // Messages sent before this reply are already queued.
  while (sd_bus_process(bus_.get(), nullptr) > 0) {
  }
}

int DriverSession::onSignal(sd_bus_message* message, void* self, sd_bus_error*) {
  static_cast<DriverSession*>(self)->note(message);
  return 0;
}

void DriverSession::note(sd_bus_message* message) {
  const std::string member = sd_bus_message_get_member(message);
  if (member == "NameOwnerChanged") {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* owner = nullptr;
    sd_bus_message_read(message, "sss", &name, &before, &owner);
    nameOwned_ = *owner != 0;
  } else if (member == "InterfacesAdded" || member == "InterfacesRemoved") {
    const char* path = nullptr;
    sd_bus_message_read(message, "o", &path);
    (member == "InterfacesAdded" ? added_ : removed_).emplace_back(path);
  } else if (member == "PropertiesChanged") {
    propertiesChanged_.emplace_back(sd_bus_message_get_path(message));
  } else if (member == "Message") {
    SeenMessage seen{sd_bus_message_get_path(message), 0, {}};
    const void* bytes = nullptr;
    std::size_t size = 0;
    sd_bus_message_read(message, "u", &seen.type);
    sd_bus_message_read_array(message, 'y', &bytes, &size);
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    seen.argument.assign(first, first + size);
    messages_.push_back(std::move(seen));
  }
}

BusMessage DriverSession::call(const char* path, const char* interface, const char* method,
                               const std::function<void(sd_bus_message*)>& append,
                               std::string* error) {
  return callFrom(bus_, path, interface, method, append, error);
}

BusMessage DriverSession::callFrom(const Bus& client, const char* path, const char* interface,
                                   const char* method,
                                   const std::function<void(sd_bus_message*)>& append,
                                   std::string* error) {
  sd_bus_message* raw = nullptr;
  sd_bus_message_new_method_call(client.get(), &raw, kDriverName, path, interface, method);
  const BusMessage message(raw);
  if (append) append(raw);
  sd_bus_error busError{};
  sd_bus_message* reply = nullptr;
  const auto limit = static_cast<std::uint64_t>(microseconds(kPatience).count());
  const int result = sd_bus_call(client.get(), raw, limit, &busError, &reply);
  *error = sd_bus_error_is_set(&busError) ? busError.name : result < 0 ? "(not sent)" : "";
  sd_bus_error_free(&busError);
  return BusMessage(reply);
}

std::map<std::string, SeenService> DriverSession::services() {
  std::map<std::string, SeenService> services;
  std::string error;
  const BusMessage reply =
      call(kDriverPath, kObjectManagerInterface, "GetManagedObjects", nullptr, &error);
  EXPECT_EQ(error, "");
  if (!reply) return services;
  sd_bus_message_enter_container(reply.get(), 'a', "{oa{sa{sv}}}");
  while (sd_bus_message_enter_container(reply.get(), 'e', "oa{sa{sv}}") > 0) {
    const char* path = nullptr;
    sd_bus_message_read(reply.get(), "o", &path);
    SeenService service;
    EXPECT_TRUE(readInterfaces(reply.get(), service)) << path;
    services[path] = service;
    sd_bus_message_exit_container(reply.get());
  }
  return services;
}

std::string DriverSession::onlyService() {
  const auto all = services();
  EXPECT_EQ(all.size(), 1u);
  return all.empty() ? "" : all.begin()->first;
}

FileDescriptor DriverSession::open(const std::string& path, std::uint32_t type) {
  return openFor(bus_, path, type);
}

FileDescriptor DriverSession::openFor(const Bus& client, const std::string& path,
                                      std::uint32_t type) {
  const BusMessage reply = callFrom(
      client, path.c_str(), kServiceInterface, kOpenMethod,
      [type](sd_bus_message* message) { sd_bus_message_append(message, "u", type); }, &openError_);
  int descriptor = -1;
  if (!reply || sd_bus_message_read(reply.get(), "h", &descriptor) < 0) return FileDescriptor();
  return FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
}

bool DriverSession::sendPacket(const FileDescriptor& connection,
                               const std::vector<std::uint8_t>& packet) {
  return send(connection.get(), packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
         static_cast<ssize_t>(packet.size());
}

Answer DriverSession::receive(const FileDescriptor& connection, milliseconds limit) {
  if (!waitReadable(connection.get(), limit)) return {Answer::Kind::none, {}};
  std::vector<std::uint8_t> bytes(kLargestPacket);
  const ssize_t size = recv(connection.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
  if (size <= 0) return {Answer::Kind::closed, {}};
  bytes.resize(static_cast<std::size_t>(size));
  return {Answer::Kind::packet, bytes};
}

Answer DriverSession::request(const FileDescriptor& connection, const VQ_Dispatch& record,
                              milliseconds limit) {
  if (!sendPacket(connection, packetOf(record, 0))) return {Answer::Kind::closed, {}};
  return receive(connection, limit);
}

Answer DriverSession::request(const FileDescriptor& connection, VQ_Command command,
                              std::initializer_list<std::uint32_t> words, milliseconds limit) {
  VQ_Dispatch record(command);
  std::size_t index = 0;
  for (const std::uint32_t word : words) record.setWord(index++, word);
  return request(connection, record, limit);
}

std::vector<std::uint8_t> DriverSession::packetOf(const VQ_Dispatch& record,
                                                  std::uint32_t selector) {
  std::array<std::uint8_t, 4 + VQ_Dispatch::kSize> packet{};
  wire::store(packet, 0, selector);
  std::copy(record.bytes.begin(), record.bytes.end(), packet.begin() + 4);
  return {packet.begin(), packet.end()};
}

std::string DriverSession::control(const std::vector<std::string>& words, std::uint32_t interface) {
  std::string error;
  call(
      kVirtualInterfacesPath, kVirtualInterfacesInterface, kRunMethod,
      [&](sd_bus_message* message) {
        sd_bus_message_append(message, "u", interface);
        appendWordArray(message, words);
      },
      &error);
  return error;
}

}  // namespace driver::testing
