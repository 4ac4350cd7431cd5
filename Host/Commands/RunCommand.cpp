#include "Host/Commands/Command.h"

#include "Host/Commands/SettingsOptions.h"
#include "Host/Displays/WindowSystem.h"
#include "Host/Playing/WallpaperShow.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Processes.h"
#include "Host/Wallpapers/Places.h"
#include "Platform/AudioToolbox/AudioServices.h"
#include "Platform/Foundation/NSThread.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace Lumivera {

namespace {

constexpr double kMaxSeconds = 86400 * 365.0;
constexpr int kEndingTurns = 100;
constexpr NSTimeInterval kEndingTurn = 0.01;

constexpr const char *kHelp = "Shows a wallpaper in a window.";

constexpr const char *kMore = "Click or touch blows petals away, sideways scrolling or dragging\n"
                              "moves the offset. Keys:\n"
                              "  space        pause and go on\n"
                              "  + and -      more and fewer petals\n"
                              "  up and down  faster and slower\n"
                              "  s            screenshot into the pictures folder\n"
                              "  f or F11     full screen\n"
                              "  q or escape  quit";

constexpr const char *kWithoutDisplay =
    "to see the wallpaper without one, use `lumivera render BUNDLE -o film.webp`";

/// Waits, because the animation thread may still run its last frame when the view is gone.
void letThreadsEnd() {
    for (int turn = 0; turn < kEndingTurns && NSThread::detachedThreadCount() > 0; ++turn) {
        NSRunLoop::mainRunLoop().runForSeconds(kEndingTurn);
    }
}

/// lumivera run: a wallpaper in a window.
class RunCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    std::string _bundle;
    std::string _trace;
    SettingsOptions _settings;
    std::optional<double> _seconds;
};

void RunCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("run", kHelp);
    _app->footer(kMore);
    _app->add_option("BUNDLE", _bundle,
                     "The bundle's folder, or the name of an installed one [Lumivera]");
    WallpaperSettings defaults;
    defaults.size = {480, 720};
    _settings.declare(*_app, defaults);
    _app->add_option("--seconds", _seconds, "Ends after this many seconds")
        ->type_name("S")
        ->check(CLI::Range(0.001, kMaxSeconds).description(""));
    _app->add_option("--trace", _trace, "Writes every petal's position, a line of JSON a frame")
        ->type_name("FILE");
}

void RunCommand::run() {
    const WallpaperSettings settings = _settings.settings();
    const bool hasDensity = _app->count("--density") > 0;
    const WallpaperBundle bundle(_bundle.empty() ? Places::defaultBundle()
                                                 : Places::requireBundle(_bundle));
    {
        const SignalWatch signals([] { NSRunLoop::mainRunLoop().stop(); });
        const auto window =
            openWindow(settings.size, hasDensity ? std::optional(settings.density) : std::nullopt,
                       inOneLine(bundle.title()), kWithoutDisplay);
        WallpaperShow(*window, bundle, {settings, _seconds, _trace}).run();
        letThreadsEnd();
        AudioServicesCloseDevice();
    }
}

} // namespace

std::unique_ptr<Command> makeRunCommand() { return std::make_unique<RunCommand>(); }

} // namespace Lumivera
