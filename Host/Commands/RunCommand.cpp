#include "Host/Commands/Command.h"

#include "Host/Commands/Chooser/TextPicture.h"
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
#include "Host/Wallpapers/BundleWatch.h"
#include "Host/Wallpapers/Places.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/AudioToolbox/AudioServices.h"
#include "Platform/Foundation/NSThread.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <string>

namespace Lumivera {

namespace {

namespace fs = std::filesystem;

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

/// The words as a picture that is as high as they need.
Retained<CGImage> drawWords(const std::string &words, CGFloat width, CGFloat density) {
    constexpr CGFloat kLineHeight = 4.0 / 3;
    constexpr double kMaxLines = 8;
    const TextPicture::Style style{13, {1, 1, 1, 1}};
    // Lines end between words, so they are not full.
    const double lines = std::ceil(TextPicture::width(words, style) * 1.1 / width + 0.1);
    const double height = std::min(lines, kMaxLines) * style.size * kLineHeight;
    return TextPicture::draw(words, style, {width, height + 1}, density);
}

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
    void load();
    void loadWhatIsThere();
    void showApart();
    void showHere(const WallpaperBundle &bundle);
    std::unique_ptr<Window> open(const std::string &title) const;
    ViewMaker viewMaker(DescriptorWatch &watch) const;
    void show(Show &show);

    std::string _bundle;
    bool _watches = false;
    std::string _tracePath;
    SettingsOptions _settings;
    ProtectionOptions _protection;
    std::optional<double> _seconds;
    std::optional<unsigned> _seed;
    bool _isUnwatched = false;
    WallpaperSettings _shown;
    std::optional<TraceWriter> _trace;

    /// The bundle: its path, and what is known of it.
    std::string _path;
    std::string _title;
    NSInteger _bundleSpeed = 0;
    std::optional<BundleSounds> _sounds;
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
    _app->add_option("--seed", _seed, "Begins with the same random numbers every time")
        ->type_name("N");
    _app->add_option("--trace", _tracePath, "Writes every petal's position, a line of JSON a frame")
        ->type_name("FILE");
    _protection.declare(*_app);
    declareNoWatchdog(*_app, _isUnwatched);
    _app->add_flag("--watch", _watches,
                   "Shows changes of the bundle at once, and in the window what is wrong with it")
        ->excludes("--unprotected");
}

void RunCommand::run() {
    _shown = _settings.settings();
    _shown.seed = _seed.value_or(newSeed());
    _path = _bundle.empty() ? Places::defaultBundle() : PhotoBundle::requireBundle(_bundle);
    const SignalWatch signals([] { NSRunLoop::mainRunLoop().stop(); });
    if (_protection.isUnprotected()) {
        showHere(WallpaperBundle(BundleFolder(_path, _protection.trust())));
    } else {
        showApart();
    }
    AudioServicesCloseDevice();
}

/// Finds as much as possible of what may be wrong with the bundle.
void RunCommand::load() {
    _sounds.reset();
    _title = fs::path(_path).stem().string();
    BundleFolder folder(_path, _protection.trust());
    _path = folder.path();
    const BundleDescription description = BundleDescription::read(_path);
    _title = description.title;
    _bundleSpeed = description.fallingSpeed;
    static_cast<void>(BundleLibrary(folder, description.library));
    _sounds.emplace(std::move(folder));
}

/// The view's process tells what is wrong.
void RunCommand::loadWhatIsThere() {
    try {
        load();
    } catch (const HostError &) {
    }
}

void RunCommand::showApart() {
    std::error_code error;
    if (_watches && fs::is_directory(_path, error)) {
        loadWhatIsThere();
    } else {
        load();
    }
    const auto window = open(_title);
    DescriptorThread descriptors;
    RemoteShow::Options options;
    options.bundle = _path;
    options.values = _shown;
    options.bundleSpeed = _bundleSpeed;
    options.seconds = _seconds;
    options.makeView = viewMaker(descriptors);
    options.frameEnded = [this](std::string_view entry) { _trace->writeEntry(entry); };
    options.playSound = [this](const std::string &name) {
        if (_sounds) {
            _sounds->play(name);
        }
    };
    if (_watches) {
        options.drawWords = drawWords;
        options.viewFailed = printError;
    }
    RemoteShow remote(*window, std::move(options));
    std::optional<BundleWatch> watch;
    if (_watches) {
        watch.emplace(descriptors, _path, [&] {
            loadWhatIsThere();
            window->setTitle(inOneLine(_title));
            remote.reload(_bundleSpeed);
        });
    }
    show(remote);
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
    {
        WallpaperShow here(*window, bundle, options);
        show(here);
    }
    letThreadsEnd();
}

std::unique_ptr<Window> RunCommand::open(const std::string &title) const {
    const bool hasDensity = _app->count("--density") > 0;
    return openWindow(_shown.size, hasDensity ? std::optional(_shown.density) : std::nullopt,
                      inOneLine(title), kWithoutDisplay);
}

ViewMaker RunCommand::viewMaker(DescriptorWatch &watch) const {
    ViewProcess::Start model;
    model.isTrusted = _protection.trust() == BundleFolder::Trust::Anybody;
    model.isInWindow = true;
    model.isTraced = !_tracePath.empty();
    model.hasWatchdog = !_isUnwatched;
    model.seed = *_shown.seed;
    if (_watches) {
        model.logs = model.prints = [this](const std::string &line) {
            printError(_title + " says: " + line);
        };
    }
    // A new size makes a new view, which does the same again.
    return [&watch, model, print = printErrorOnce()](const ViewRequest &request,
                                                     RemoteView::Listener &listener) {
        ViewProcess::Start start = model;
        static_cast<ViewRequest &>(start) = request;
        start.protectionRefused = ConfinedProcess::printsRefusedProtections(print);
        start.says = ConfinedProcess::printsAbout(request.bundle, print);
        if (!start.hasWatchdog) {
            start.confined = ConfinedProcess::printsProcessOf(request.bundle, printError);
        }
        return std::make_unique<ViewProcess>(watch, start, listener);
    };
}

/// A wallpaper that cannot be shown leaves the file of the trace as it was.
void RunCommand::show(Show &show) {
    if (!_tracePath.empty()) {
        _trace.emplace(_tracePath, TraceWriter::Mode::Live);
    }
    show.run();
}

} // namespace

std::unique_ptr<Command> makeRunCommand() { return std::make_unique<RunCommand>(); }

} // namespace Lumivera
