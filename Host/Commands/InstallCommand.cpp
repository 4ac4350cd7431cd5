#include "Host/Commands/Command.h"

#include "Host/Commands/Installing/BundleNotice.h"
#include "Host/Commands/Installing/RunningDesktop.h"
#include "Host/Commands/Installing/TerminalQuestion.h"
#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Displays/SDL/SDLMessage.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Support/Processes.h"
#include "Host/Wallpapers/BundleArchive.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/UserWallpapers.h"

#include <CLI/CLI.hpp>
#include <atomic>
#include <filesystem>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

constexpr const char *kHelp = "Installs a wallpaper that somebody has shared.";
constexpr const char *kMore =
    "Says first whose it is and whether it holds code, and asks. The wallpaper\n"
    "goes into your own wallpapers folder; an installed one of the same name is\n"
    "replaced. Nothing is written before all of it was checked.";

constexpr const char *kTitle = "Lumivera";

/// lumivera install: a shared bundle into the user's wallpapers.
class InstallCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    static void tellInWindow(const char *problem);
    std::string install() const;
    BundleContents contents() const;
    bool isWanted(const std::string &about) const;
    static void write(const BundleContents &bundle, const UserWallpapers &wallpapers);

    std::string _source;
    std::string _name;
    bool _isConfirmed = false;
    bool _isInWindow = false;
};

void InstallCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("install", kHelp);
    _app->footer(kMore);
    _app->add_option("FILE", _source, "A file NAME.lumivera, or a bundle's folder")->required();
    _app->add_option("--as", _name, "Another name for it")->type_name("NAME");
    _app->add_flag("-y,--yes", _isConfirmed, "Does not ask");
    _app->add_flag("--window", _isInWindow, "Asks and answers in a window");
}

void InstallCommand::run() {
    try {
        const std::string result = install();
        _isInWindow && !result.empty() ? SDLMessage::tell(kTitle, result)
                                       : printToStandardOutput(result);
    } catch (const HostError &error) {
        if (_isInWindow) {
            tellInWindow(error.what());
        }
        throw;
    }
}

/// What cannot be told in a window appears on standard error alone.
void InstallCommand::tellInWindow(const char *problem) {
    try {
        SDLMessage::tell(kTitle, problem);
    } catch (const HostError &) {
    }
}

/// Returns what to tell the person.
std::string InstallCommand::install() const {
    BundleContents bundle = contents();
    if (!_name.empty()) {
        bundle.rename(_name);
    }
    const UserWallpapers wallpapers(Places::userWallpapersFolder());
    const std::string target = wallpapers.pathOf(bundle.name());
    const bool isUpdate = wallpapers.hasInstalled(bundle.name());
    if (!isWanted(BundleNotice::installing(bundle, _source, target, isUpdate))) {
        return _isInWindow ? "" : "Nothing was changed.\n";
    }
    write(bundle, wallpapers);
    const std::string name = fs::path(bundle.name()).stem().string();
    return inOneLine(name) + " is installed. Choose it with `lumivera choose`, or in the menu of "
                             "Lumivera.\n";
}

BundleContents InstallCommand::contents() const {
    std::error_code error;
    return fs::is_directory(_source, error) ? BundleContents::readFolder(_source)
                                            : BundleArchive::read(_source);
}

bool InstallCommand::isWanted(const std::string &about) const {
    if (_isConfirmed) {
        printToStandardOutput(about);
        return true;
    }
    return _isInWindow ? SDLMessage::ask(kTitle, about, "Install")
                       : askInTerminal(_source, about, "Install it?");
}

void InstallCommand::write(const BundleContents &bundle, const UserWallpapers &wallpapers) {
    std::atomic<bool> isStopped = false;
    const SignalWatch signals([&isStopped] { isStopped = true; });
    ProgressBar bar("installing", bundle.byteCount());
    const auto progress = [&](std::uint64_t bytes) {
        if (isStopped) {
            throw HostError(bundle.name(), "was stopped; nothing was changed");
        }
        bar.update(bytes);
    };
    const auto replaced = [&] {
        try {
            const RunningDesktop desktop(ControlPlace::standardFolder());
            desktop.showAnew(wallpapers.pathOf(bundle.name()));
        } catch (const HostError &error) {
            printError(error.what());
        }
    };
    wallpapers.install(bundle, progress, replaced);
}

} // namespace

std::unique_ptr<Command> makeInstallCommand() { return std::make_unique<InstallCommand>(); }

} // namespace Lumivera
