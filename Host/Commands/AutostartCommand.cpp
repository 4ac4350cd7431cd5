#include "Host/Commands/Command.h"

#include "Host/Commands/Installing/AutostartEntry.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

#include <CLI/CLI.hpp>
#include <filesystem>

namespace Lumivera {

namespace {

constexpr const char *kHelp = "Controls whether `lumivera desktop` starts with your session.";

/// The path of this program's executable file.
std::string ownPath() {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw HostError("autostart", "the program cannot find its own file: " + error.message(),
                        "check that /proc is mounted");
    }
    return path.string();
}

/// lumivera autostart: whether the desktop starts with the user's session.
class AutostartCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _app = parent.add_subcommand("autostart", kHelp);
        _app->require_subcommand(1);
        _app->add_subcommand("on", "Starts the desktop with your session from now on.");
        _app->add_subcommand("off", "Stops starting it with your session.");
        _app->add_subcommand("status", "Tells whether it starts with your session.");
    }

    void run() override {
        const AutostartEntry entry(AutostartEntry::standardPath());
        std::string answer;
        if (_app->got_subcommand("on")) {
            const bool isNew = entry.turnOn(ownPath());
            answer = (isNew ? "on; wrote " : "on already, by ") + entry.path();
        } else if (_app->got_subcommand("off")) {
            answer = entry.turnOff() ? "off; removed " + entry.path() : "off already";
        } else {
            answer = statusOf(entry);
        }
        printToStandardOutput(inOneLine(answer) + "\n");
    }

  private:
    static std::string statusOf(const AutostartEntry &entry) {
        const auto command = entry.command();
        if (!command) {
            return "off";
        }
        const bool isOurs = *command == AutostartEntry::commandFor(ownPath());
        return "on, by " + entry.path() + (isOurs ? "" : ", but with another program: " + *command);
    }
};

} // namespace

std::unique_ptr<Command> makeAutostartCommand() { return std::make_unique<AutostartCommand>(); }

} // namespace Lumivera
