#include "Host/Commands/Command.h"

#include "Host/Commands/Chooser/BundleChoices.h"
#include "Host/Commands/Chooser/ChooserShow.h"
#include "Host/Commands/Making/PhotoBundle.h"
#include "Host/Commands/SettingsOptions.h"
#include "Host/Desktop/Configuration/ConfigurationFile.h"
#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Desktop/Isolation/ViewProcess.h"
#include "Host/Displays/WindowSystem.h"
#include "Host/Support/DescriptorThread.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Support/Processes.h"
#include "Host/Wallpapers/Places.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace Lumivera {

namespace {

constexpr const char *kHelp = "Opens a window in which to choose the wallpaper.";

constexpr const char *kMore =
    "Shows the installed wallpapers, the user's own and those in the folders. What is chosen is\n"
    "written into the configuration, and shown at once where `lumivera desktop` runs. Of a photo\n"
    "it makes a wallpaper first.\n"
    "A click selects a wallpaper; another one, or \"Use\", chooses it. Keys:\n"
    "  arrows, page up and down, home, end\n"
    "               select\n"
    "  enter        choose, and close\n"
    "  space        pause and go on\n"
    "  s            screenshot into the pictures folder\n"
    "  f or F11     full screen\n"
    "  q or escape  close without choosing";

constexpr const char *kWithoutDisplay =
    "to choose without one, set `wallpaper` in the configuration file";

/// The one that is shown when none was chosen yet is Lumivera's own. Ignores a broken
/// configuration: writing the choice reports it.
std::string presentWallpaper(const std::string &configuration) {
    try {
        return ConfigurationFile::read(configuration)
            .choice()
            .bundle.value_or(Places::defaultBundle());
    } catch (const HostError &) {
        return Places::defaultBundle();
    }
}

/// lumivera choose: a window in which a person picks a wallpaper.
class ChooseCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    std::string takePhotos();

    std::vector<std::string> _folders;
    SizeOptions _size;
};

void ChooseCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("choose", kHelp);
    _app->footer(kMore);
    _app->add_option("DIR", _folders, "More folders that hold bundles, or a photo");
    _size.declare(*_app, {{1040, 660}, 1});
}

void ChooseCommand::run() {
    const PictureSize size = _size.pictureSize();
    const bool hasDensity = _app->count("--density") > 0;
    const std::string configuration = ConfigurationFile::standardPath();
    const ChosenWallpaper chosen(configuration, ControlPlace::standardFolder());
    ChooserShow::Options options;
    const std::string photo = takePhotos();
    options.bundles = BundleChoices::find(_folders);
    options.selected = BundleChoices::indexOf(
        options.bundles, photo.empty() ? presentWallpaper(configuration) : photo);
    const SignalWatch signals([] { NSRunLoop::mainRunLoop().stop(); });
    const auto window =
        openWindow(size.size, hasDensity ? std::optional(size.density) : std::nullopt,
                   "Choose a wallpaper", kWithoutDisplay);
    DescriptorThread descriptors;
    options.makeView = [&](const ViewRequest &request, RemoteView::Listener &listener) {
        return std::make_unique<ViewProcess>(descriptors, ViewProcess::Start{request, {}},
                                             listener);
    };
    options.use = [&](const BundleListing &bundle) {
        printToStandardOutput(inOneLine(chosen.use(bundle.path)) + "\n");
    };
    ChooserShow(*window, std::move(options)).run();
}

/// Takes the photos out of the folders and makes bundles of them, which are among the user's own.
/// Returns the path of the last one; empty without any.
std::string ChooseCommand::takePhotos() {
    std::string last;
    std::erase_if(_folders, [&last](const std::string &argument) {
        const auto bundle = PhotoBundle::pathFor(argument);
        last = bundle.value_or(last);
        return bundle.has_value();
    });
    return last;
}

} // namespace

std::unique_ptr<Command> makeChooseCommand() { return std::make_unique<ChooseCommand>(); }

} // namespace Lumivera
