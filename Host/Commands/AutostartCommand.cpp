#include "Host/Commands/Command.h"

#include "Host/Commands/Installing/AutostartEntry.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

#include <CLI/CLI.hpp>
#include <filesystem>

namespace Lumivera {

namespace {

constexpr const char *kHelp = "Lets `lumivera desktop` start with your session, or not.";

/// The path of this program's executable file.
std::string ownPath() {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw HostError("autostart", "the program does not find itself: " + error.message(),
                        "see whether /proc is there");
    }
    return path.string();
}

/// lumivera autostart: whether the desktop starts with the user's session.
class AutostartCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _app = parent.add_subcommand("autostart", kHelp);
        _app->require_subcommand(1);
        _app->add_subcommand("on", "From now on it starts with your session.");
        _app->add_subcommand("off", "From now on it does not.");
        _app->add_subcommand("status", "Tells whether it does.");
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
