#include "Host/Commands/Command.h"

#include "Host/Commands/Installing/AutostartEntry.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

#include <CLI/CLI.hpp>
#include <filesystem>

namespace Lumivera {

namespace {

constexpr const char *kHelp = "Lets `lumivera desktop` start with your session, or not.";

/// The program that runs now, wherever it lies.
std::string ownPath() {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw HostError("autostart", "the program does not find itself: " + error.message(),
                        "see whether /proc is there");
    }
    return path.string();
}

AutostartEntry entry() { return AutostartEntry(AutostartEntry::standardPath()); }

void say(const std::string &line) { printToStandardOutput(inOneLine(line) + "\n"); }

/// lumivera autostart: whether the desktop starts with the user's session.
class AutostartCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    static void turnOn();
    static void turnOff();
    static void tellStatus();
};

void AutostartCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("autostart", kHelp);
    _app->require_subcommand(1);
    _app->add_subcommand("on", "From now on it starts with your session.");
    _app->add_subcommand("off", "From now on it does not.");
    _app->add_subcommand("status", "Tells whether it does.");
}

void AutostartCommand::run() {
    if (_app->got_subcommand("on")) {
        turnOn();
    } else if (_app->got_subcommand("off")) {
        turnOff();
    } else {
        tellStatus();
    }
}

void AutostartCommand::turnOn() {
    const bool isNew = entry().turnOn(ownPath());
    say((isNew ? "on; wrote " : "on already, by ") + entry().path());
}

void AutostartCommand::turnOff() {
    const bool wasThere = entry().turnOff();
    say(wasThere ? "off; removed " + entry().path() : "off already");
}

void AutostartCommand::tellStatus() {
    const auto command = entry().command();
    if (!command) {
        say("off");
    } else if (*command == AutostartEntry::commandFor(ownPath())) {
        say("on, by " + entry().path());
    } else {
        say("on, by " + entry().path() + ", but with another program: " + *command);
    }
}

} // namespace

std::unique_ptr<Command> makeAutostartCommand() { return std::make_unique<AutostartCommand>(); }

} // namespace Lumivera
