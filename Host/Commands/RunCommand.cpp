#include "Host/Commands/Command.h"

#include "Host/Commands/Making/PhotoBundle.h"
#include "Host/Commands/SettingsOptions.h"
#include "Host/Desktop/Isolation/RemoteShow.h"
#include "Host/Desktop/Isolation/ViewProcess.h"
#include "Host/Displays/WindowSystem.h"
#include "Host/Playing/TraceWriter.h"
#include "Host/Playing/WallpaperShow.h"
#include "Host/Support/DescriptorThread.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Support/Processes.h"
#include "Host/Wallpapers/BundleLibrary.h"
#include "Host/Wallpapers/BundleSounds.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/WallpaperBundle.h"
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
    void showApart(BundleFolder folder);
    void showHere(const WallpaperBundle &bundle);
    std::unique_ptr<Window> open(const std::string &title) const;
    ViewMaker viewMaker(DescriptorWatch &watch) const;
    void show(Show &&show);

    std::string _bundle;
    std::string _tracePath;
    SettingsOptions _settings;
    ProtectionOptions _protection;
    std::optional<double> _seconds;
    WallpaperSettings _shown;
    std::optional<TraceWriter> _trace;
};

void RunCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("run", kHelp);
    _app->footer(kMore);
    _app->add_option("BUNDLE", _bundle,
                     "The bundle's folder, the name of an installed one, or a photo [Lumivera]");
    WallpaperSettings defaults;
    defaults.size = {480, 720};
    _settings.declare(*_app, defaults);
    _app->add_option("--seconds", _seconds, "Ends after this many seconds")
        ->type_name("S")
        ->check(CLI::Range(0.001, kMaxSeconds).description(""));
    _app->add_option("--trace", _tracePath, "Writes every petal's position, a line of JSON a frame")
        ->type_name("FILE");
    _protection.declare(*_app);
}

void RunCommand::run() {
    _shown = _settings.settings();
    BundleFolder folder(_bundle.empty() ? Places::defaultBundle()
                                        : PhotoBundle::requireBundle(_bundle),
                        _protection.trust());
    const SignalWatch signals([] { NSRunLoop::mainRunLoop().stop(); });
    if (_protection.isUnprotected()) {
        showHere(WallpaperBundle(std::move(folder)));
    } else {
        showApart(std::move(folder));
    }
    AudioServicesCloseDevice();
}

/// As much as possible of what may be wrong with the bundle is found before a window opens.
void RunCommand::showApart(BundleFolder folder) {
    const BundleDescription description = BundleDescription::read(folder.path());
    static_cast<void>(BundleLibrary(folder, description.library));
    const auto window = open(description.title);
    DescriptorThread descriptors;
    RemoteShow::Options options;
    options.bundle = folder.path();
    options.values = _shown;
    options.bundleSpeed = description.fallingSpeed;
    options.seconds = _seconds;
    options.makeView = viewMaker(descriptors);
    options.frameEnded = [this](std::string_view entry) { _trace->writeEntry(entry); };
    BundleSounds sounds(std::move(folder));
    options.playSound = [&sounds](const std::string &name) { sounds.play(name); };
    show(RemoteShow(*window, std::move(options)));
}

void RunCommand::showHere(const WallpaperBundle &bundle) {
    const auto window = open(bundle.description().title);
    WallpaperShow::Options options;
    options.settings = _shown;
    options.seconds = _seconds;
    if (!_tracePath.empty()) {
        options.frameEnded = [this](NSTimeInterval time, const DeskTopView &view) {
            _trace->writeFrame(time, view);
        };
    }
    show(WallpaperShow(*window, bundle, options));
    letThreadsEnd();
}

std::unique_ptr<Window> RunCommand::open(const std::string &title) const {
    const bool hasDensity = _app->count("--density") > 0;
    return openWindow(_shown.size, hasDensity ? std::optional(_shown.density) : std::nullopt,
                      inOneLine(title), kWithoutDisplay);
}

ViewMaker RunCommand::viewMaker(DescriptorWatch &watch) const {
    const bool isTrusted = _protection.trust() == BundleFolder::Trust::Anybody;
    const bool isTraced = !_tracePath.empty();
    // A new size makes a new view, which does the same again.
    return [&watch, isTrusted, isTraced, print = printErrorOnce()](const ViewRequest &request,
                                                                   RemoteView::Listener &listener) {
        ViewProcess::Start start{request, {isTrusted}};
        start.isInWindow = true;
        start.isTraced = isTraced;
        start.protectionRefused = ConfinedProcess::printsRefusedProtections(print);
        start.says = ConfinedProcess::printsAbout(request.bundle, print);
        return std::make_unique<ViewProcess>(watch, start, listener);
    };
}

/// A wallpaper that cannot be shown leaves the file of the trace as it was.
void RunCommand::show(Show &&show) {
    if (!_tracePath.empty()) {
        _trace.emplace(_tracePath, TraceWriter::Mode::Live);
    }
    show.run();
}

} // namespace

std::unique_ptr<Command> makeRunCommand() { return std::make_unique<RunCommand>(); }

} // namespace Lumivera
