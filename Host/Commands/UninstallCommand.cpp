#include "Host/Commands/Command.h"

#include "Host/Commands/Installing/RunningDesktop.h"
#include "Host/Commands/Installing/TerminalQuestion.h"
#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/UserWallpapers.h"

#include <CLI/CLI.hpp>

namespace Lumivera {

namespace {

constexpr const char *kHelp = "Removes a wallpaper that `lumivera install` has installed.";
constexpr const char *kMore =
    "Others, such as your own and those that come with the program, stay.";

/// lumivera uninstall: takes an installed bundle away.
class UninstallCommand final : public Command {
  public:
    void declare(CLI::App &parent) override {
        _app = parent.add_subcommand("uninstall", kHelp);
        _app->footer(kMore);
        _app->add_option("BUNDLE", _bundle, "Its name")->required();
        _app->add_flag("-y,--yes", _isConfirmed, "Does not ask");
    }

    void run() override {
        const UserWallpapers wallpapers(Places::userWallpapersFolder());
        const std::string name = wallpapers.find(_bundle);
        const std::string path = wallpapers.pathOf(name);
        checkIsNotShown(path);
        const std::string about = inOneLine(path) + "\n";
        if (!_isConfirmed && !askInTerminal(_bundle, about, "Remove it for good?")) {
            printToStandardOutput("Nothing was changed.\n");
            return;
        }
        wallpapers.uninstall(name);
        printToStandardOutput(inOneLine(path) + " is removed.\n");
    }

  private:
    static void checkIsNotShown(const std::string &path) {
        const RunningDesktop desktop(ControlPlace::standardFolder());
        const std::vector<std::string> outputs = desktop.outputsWith(path);
        if (!outputs.empty()) {
            throw HostError(path, "is the wallpaper on " + outputs.front() + " now",
                            "choose another one first, with `lumivera choose`");
        }
    }

    std::string _bundle;
    bool _isConfirmed = false;
};

} // namespace

std::unique_ptr<Command> makeUninstallCommand() { return std::make_unique<UninstallCommand>(); }

} // namespace Lumivera
