// SPDX-License-Identifier: MIT
#include "driver/virtual_control/virtual_interfaces.h"

#include <memory>

#include "driver/virtual_control/usage.h"
#include "platform/command_line/command_line.h"
#include "protocol/services.h"

namespace driver {

namespace {

// Far more than anybody plugs in by hand.
constexpr std::uint32_t kMaximumInterfaces = 1024;

// Reads an array of strings. Negative errno when the next argument is not one.
int readWords(sd_bus_message* message, Words& words) {
  int result = sd_bus_message_enter_container(message, 'a', "s");
  const char* word = nullptr;
  while (result >= 0 && (result = sd_bus_message_read(message, "s", &word)) > 0) {
    words.emplace_back(word);
  }
  return result < 0 ? result : sd_bus_message_exit_container(message);
}

// The command whose help the words ask for; empty when they do not. A product may be named "help".
std::string_view commandToExplain(const Words& words) {
  std::string problem;
  if (words.size() < 2 || parseVirtualCommand(words, &problem)) return {};
  if (words.back() == "--help" || words.back() == "-h") return words[0];
  if (words.size() > 2) return {};
  if (words[0] == "help") return words[1];
  return words[1] == "help" ? std::string_view(words[0]) : std::string_view();
}

void failWithoutInterface(const VirtualCall& call, std::uint32_t index) {
  call.fail(kNoInterfaceError, "there is no interface " + std::to_string(index));
}

}  // namespace

const sd_bus_vtable VirtualInterfaces::kVtable[] = {
    SD_BUS_VTABLE_START(0),
    // The number of an interface and the words of a command; replies with the text to print.
    SD_BUS_METHOD(kRunMethod, "uas", "s", onRun, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

struct VirtualInterfaces::Command {
  Usage usage;
  void (VirtualInterfaces::*run)(std::uint32_t index, bool option, const VirtualCall& call);
};

const VirtualInterfaces::Command VirtualInterfaces::kCommands[] = {
    {{"help", "[COMMAND]", "print this, or the help of one command or setting"},
     &VirtualInterfaces::help},
    {{"list", "", "list the virtual interfaces"}, &VirtualInterfaces::list},
    {{"plug", "[--second]",
      "plug the interface in; with --second add another one and print its number"},
     &VirtualInterfaces::plug},
};

void VirtualInterfaces::declareOptions(CLI::App& program) {
  // The last of the two options holds.
  program
      .add_option(
          "--count", atStart_,
          "Number of interfaces to start with, at most " + std::to_string(kMaximumInterfaces))
      ->transform(numberUpTo(kMaximumInterfaces))
      ->trigger_on_parse();
  program
      .add_flag_callback(
          "--unplugged", [this] { atStart_ = 0; },
          "Start without an interface; 'vx310ctl sim plug' plugs it in")
      ->trigger_on_parse();
}

int VirtualInterfaces::start(ServiceContext& context, std::function<void()> ready) {
  context_ = &context;
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_add_object_vtable(context.bus, &slot, kVirtualInterfacesPath,
                                              kVirtualInterfacesInterface, kVtable, this);
  slot_.reset(slot);
  if (result < 0) return result;
  if (atStart_ == 0) ready();
  const auto awaited = std::make_shared<unsigned>(atStart_);
  for (unsigned i = 0; i < atStart_; ++i) {
    add().usbPort().plug([awaited, ready](bool) {
      if (--*awaited == 0) ready();
    });
  }
  return 0;
}

PluggableInterface& VirtualInterfaces::add() {
  return interfaces_.emplace_back(*context_, interfaces_.size() + 1);
}

int VirtualInterfaces::onRun(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  std::uint32_t index = 0;
  Words words;
  int result = sd_bus_message_read(message, "u", &index);
  if (result >= 0) result = readWords(message, words);
  if (result < 0) return result;
  static_cast<VirtualInterfaces*>(self)->run(index, words, VirtualCall(message));
  return 1;
}

void VirtualInterfaces::run(std::uint32_t index, const Words& words, const VirtualCall& call) {
  if (const auto name = commandToExplain(words); !name.empty()) return helpOf(name, call);
  for (const Command& command : kCommands) {
    if (words.empty() || command.usage.name != words[0]) continue;
    // These commands take one option at most, as their usage shows.
    const bool option = words.size() == 2 && command.usage.arguments == "[" + words[1] + "]";
    if (words.size() > 1 && !option) return call.failAsWrong(expectedArguments(command.usage));
    return (this->*command.run)(index, option, call);
  }
  std::string problem;
  const VirtualAction action = parseVirtualCommand(words, &problem);
  if (!action) return call.failAsWrong(problem);
  if (index >= interfaces_.size()) return failWithoutInterface(call, index);
  action(interfaces_[index], call);
}

void VirtualInterfaces::plug(std::uint32_t index, bool another, const VirtualCall& call) {
  if (another && interfaces_.size() >= kMaximumInterfaces) {
    return call.fail(SD_BUS_ERROR_LIMITS_EXCEEDED, "There are too many interfaces");
  }
  if (another) index = static_cast<std::uint32_t>(interfaces_.size());
  // The first interface need not have been added to be plugged in.
  if (another || (index == 0 && interfaces_.empty())) add();
  if (index >= interfaces_.size()) return failWithoutInterface(call, index);
  const std::string output = another ? std::to_string(index) + "\n" : "";
  interfaces_[index].usbPort().plug([call, output](bool appeared) {
    if (appeared) {
      call.succeed(output);
    } else {
      call.fail(SD_BUS_ERROR_FAILED, "The interface did not appear");
    }
  });
}

void VirtualInterfaces::list(std::uint32_t /*index*/, bool /*option*/, const VirtualCall& call) {
  std::string output;
  std::size_t number = 0;
  for (auto& interface : interfaces_) {
    output += std::to_string(number++) + "  " +
              (interface.usbPort().publication() ? "plugged    " : "unplugged  ") +
              interface.productName() + "\n";
  }
  call.succeed(output);
}

void VirtualInterfaces::helpOf(std::string_view name, const VirtualCall& call) {
  const std::string help = commandHelp(name, kCommands) + virtualCommandHelp(name);
  if (help.empty()) {
    return call.failAsWrong("there is no command or setting '" + std::string(name) + "'");
  }
  call.succeed(help);
}

void VirtualInterfaces::help(std::uint32_t /*index*/, bool /*option*/, const VirtualCall& call) {
  call.succeed(
      "Usage: vx310ctl sim [--interface N] COMMAND\n"
      "Moves the virtual interfaces of the running driver service. Numbers may be decimal or,\n"
      "after 0x, hexadecimal. Interface 0 is meant unless --interface names another.\n" +
      helpSection("Commands", kCommands) + virtualCommandsHelp());
}

}  // namespace driver
