#include "Host/Commands/Command.h"
#include "Host/Commands/Making/PhotoBundle.h"
#include "Host/Commands/SettingsOptions.h"

#include "Host/Desktop/Backgrounds/DesktopBackgrounds.h"
#include "Host/Desktop/Configuration/ConfigurationFile.h"
#include "Host/Desktop/Control/ControlClient.h"
#include "Host/Desktop/Control/ControlServer.h"
#include "Host/Desktop/DesktopHost.h"
#include "Host/Desktop/Isolation/ViewProcess.h"
#include "Host/Desktop/Isolation/ViewScopes.h"
#include "Host/Desktop/Policy/SessionWatch.h"
#include "Host/Displays/Shared/SharedDesktop.h"
#include "Host/Displays/WindowSystem.h"
#include "Host/Support/HostError.h"
#include "Host/Support/ListeningSocket.h"
#include "Host/Support/Printing.h"
#include "Host/Support/Processes.h"
#include "Host/Wallpapers/Places.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cmath>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Lumivera {

namespace {

constexpr const char *kHelp = "Shows wallpapers on the desktop, on every output, until it is told "
                              "to quit. Icons and menus keep working.";

constexpr const char *kMore =
    "Each switch has its opposite, such as --no-pause-when-covered. The configuration\n"
    "file, then the bundle, decide what the command line does not set. `lumivera ctl`\n"
    "controls it while it runs; `lumivera doctor` says what works on this desktop,\n"
    "and what does not.";

/// Makes the folders above the control socket's own, such as ~/.local/state for a new user.
std::string controlFolder() {
    std::string folder = ControlPlace::standardFolder();
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(folder).parent_path(), error);
    return folder;
}

/// What is the same for all views.
struct ViewOptions {
    bool isTrusted = false;
    bool hasWatchdog = true;
    std::optional<unsigned> seed;
    std::shared_ptr<WallpaperLog> log;
};

/// Adds lines about a view, or of it, to the log.
ConfinedProcess::LineSink keeper(const std::shared_ptr<WallpaperLog> &log,
                                 WallpaperLine::Source source, const ViewRequest &request) {
    return
        [log, source, output = request.output, bundle = request.bundle](const std::string &line) {
            log->add({source, output, bundle, line});
        };
}

ConfinedProcess::LineSink about(const std::string &output, ConfinedProcess::LineSink print) {
    return [output, print = std::move(print)](const std::string &line) {
        print(output + ": " + line);
    };
}

ConfinedProcess::LineSink both(ConfinedProcess::LineSink first, ConfinedProcess::LineSink second) {
    return [first = std::move(first), second = std::move(second)](const std::string &line) {
        first(line);
        second(line);
    };
}

ViewMaker viewMaker(DescriptorWaiter &waiter, const ViewOptions &options) {
    // All views are refused the same protections, and a bundle that ends is begun anew and does the
    // same again.
    const auto printOnce = printErrorOnce();
    const auto scopes = std::make_shared<ViewScopes>(waiter);
    return [&waiter, options, printOnce, scopes](const ViewRequest &request,
                                                 RemoteView::Listener &listener) {
        using Source = WallpaperLine::Source;
        const auto keep = about(request.output, keeper(options.log, Source::Host, request));
        ViewProcess::Start start{request, {options.isTrusted}};
        start.hasWatchdog = options.hasWatchdog;
        start.seed = options.seed ? seedForOutput(*options.seed, request.output) : start.seed;
        start.protectionRefused = ConfinedProcess::printsRefusedProtections(printOnce);
        start.says = ConfinedProcess::printsAbout(request.bundle, both(keep, printOnce));
        start.logs = keeper(options.log, Source::Log, request);
        start.prints = keeper(options.log, Source::Print, request);
        const auto tell = ConfinedProcess::printsProcessOf(
            request.bundle, both(keep, about(request.output, printError)));
        const SharedBuffers &memory = *request.memory;
        start.confined =
            [scopes, tell, isTold = !options.hasWatchdog,
             bytes = maxViewBytes(memory.width(), memory.height(), memory.bytes())](int process) {
                scopes->add(process, {bytes, kMaxViewThreads});
                if (isTold) {
                    tell(process);
                }
            };
        return std::make_unique<ViewProcess>(waiter, start, listener);
    };
}

/// Where petals fall over a program's icons, that program shows their background.
void showBackgroundsBy(DesktopBackgrounds &backgrounds, DesktopHost::Options &options) {
    options.showBackground = [&](const DesktopSurface &surface, const SharedBuffers &picture) {
        const SurfaceLayer layer = surface.layer();
        backgrounds.show(layer.program, layer.window, surface.outputName(), surface.outputArea(),
                         picture);
    };
    options.hideBackground = [&](const std::string &output) { backgrounds.remove(output); };
}

/// Passes changes of the configuration file and of the session to the host.
class Surroundings final : private ConfigurationFile::Listener, private SessionWatch::Listener {
  public:
    Surroundings(DesktopHost &host, ConfigurationFile &file, SessionWatch &session)
        : _host(host), _file(file), _session(session) {
        _file.setListener(this);
        _session.setListener(this);
        if (!_file.problem().empty()) {
            printError(_file.problem());
        }
        _host.setSession(_session.state());
    }
    ~Surroundings() {
        _file.setListener(nullptr);
        _session.setListener(nullptr);
    }
    Surroundings(const Surroundings &) = delete;
    Surroundings &operator=(const Surroundings &) = delete;

  private:
    void configurationChanged(const Configuration &configuration) override {
        _host.setConfiguration(configuration);
    }
    void configurationBroken(const std::string &problem) override { printError(problem); }
    void sessionChanged(const SessionState &state) override { _host.setSession(state); }

    DesktopHost &_host;
    ConfigurationFile &_file;
    SessionWatch &_session;
};

/// Hears of the Enter key on the terminal that the program was started from, if there is one.
class EnterKey final : private DescriptorSource {
  public:
    EnterKey(DescriptorWatch &watch, std::function<void()> pressed)
        : _watch(watch), _pressed(std::move(pressed)) {
        _isWatched = isatty(STDIN_FILENO) != 0 && tcgetpgrp(STDIN_FILENO) == getpgrp();
        if (_isWatched) {
            _watch.add(*this);
        }
    }
    ~EnterKey() { end(); }
    EnterKey(const EnterKey &) = delete;
    EnterKey &operator=(const EnterKey &) = delete;

    bool isThere() const { return _isWatched; }

  private:
    int descriptor() const override { return STDIN_FILENO; }
    void serve() override {
        std::array<char, 256> line{};
        const bool isPressed = read(STDIN_FILENO, line.data(), line.size()) > 0;
        end();
        if (isPressed) {
            _pressed();
        }
    }
    void end() {
        if (std::exchange(_isWatched, false)) {
            _watch.remove(*this);
        }
    }

    DescriptorWatch &_watch;
    const std::function<void()> _pressed;
    bool _isWatched = false;
};

/// Says what happens to the icons of a program whose own background stays.
void sayWhatHappensToIcons(const SurfaceLayer &layer) {
    if (layer.name == "over" && !layer.program.empty() &&
        !DesktopBackgrounds::knows(layer.program)) {
        printError(
            "petals fall in front of the icons of " + layer.program +
            ", over the background that is there; `lumivera desktop --try 20` takes them back by "
            "itself");
    }
}

/// lumivera desktop: wallpapers on the desktop, on every output.
class DesktopCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    void declarePauses();
    void declareSwitch(const std::string &name, const char *help);

    /// Nothing when the command line has neither --NAME nor --no-NAME.
    std::optional<bool> switchNamed(const std::string &name) const;
    DesktopHost::Options hostOptions() const;
    DesktopOptions desktopOptions(const Configuration &configuration) const;
    void readBundles();

    std::string _bundle;
    std::vector<std::string> _outputs;

    /// The output and the bundle of each --output.
    std::vector<std::pair<std::string, std::string>> _outputBundles;
    ValueOptions _values;
    std::string _display = "auto";
    std::string _configuration;
    std::optional<double> _density;
    std::optional<LayerChoice> _layer;
    std::optional<double> _trial;
    std::optional<unsigned> _seed;
    bool _isUnwatched = false;
    bool _isStandalone = false;
    std::optional<PauseOptions::OnBattery> _onBattery;
};

void DesktopCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("desktop", kHelp);
    _app->footer(kMore);
    _app->add_option("BUNDLE", _bundle,
                     "The bundle's folder, the name of an installed one, or a photo [Lumivera]");
    _app->add_option("--output", _outputs, "Another bundle for one output; may be given again")
        ->type_name("NAME=BUNDLE")
        ->allow_extra_args(false);
    _values.declare(*_app);
    declarePauses();
    _app->add_option("--display", _display,
                     "The window system: auto, wayland, x11, or headless for none [auto]")
        ->type_name("SYSTEM")
        ->check(CLI::IsMember({"auto", "wayland", "x11", "headless"}).description(""));
    _app->add_option("--density", _density, "Pixels a point, instead of the desktop's own; X11")
        ->type_name("D")
        ->check(CLI::Range(0.1, 10.0).description(""));
    _app->add_option("--layer", _layer,
                     "Where: auto; on X11 behind the icons, or petals over them; on Wayland "
                     "background or bottom [auto]")
        ->type_name("LAYER")
        ->transform(CLI::CheckedTransformer(layerChoices()).description(""));
    _app->add_option("--try", _trial,
                     "Ends after so many seconds, unless `lumivera ctl keep` is run before")
        ->type_name("SECONDS")
        ->check(CLI::Range(1.0, 3600.0).description(""));
    _app->add_flag("--standalone", _isStandalone,
                   "For a lock screen: runs beside another host, also while the session is locked; "
                   "`lumivera ctl` does not reach it")
        ->excludes("--try");
    declareSwitch("trust", "Runs bundles' own libraries even if others can write them");
    _app->add_option("--seed", _seed,
                     "Begins with the same random numbers every time, others for each output")
        ->type_name("N");
    declareNoWatchdog(*_app, _isUnwatched);
    _app->add_option("--config", _configuration,
                     "The configuration file [~/.config/lumivera/lumivera.toml]")
        ->type_name("FILE");
}

void DesktopCommand::declarePauses() {
    using OnBattery = PauseOptions::OnBattery;
    const std::map<std::string, OnBattery> ways{
        {"run", OnBattery::Run}, {"slow", OnBattery::Slow}, {"pause", OnBattery::Pause}};
    _app->add_option("--on-battery", _onBattery, "run, slow (half the petals) or pause [run]")
        ->type_name("WAY")
        ->transform(CLI::CheckedTransformer(ways).description(""));
    declareSwitch("pause-when-covered", "Pauses where windows cover the output [yes]");
    declareSwitch("pause-when-locked", "Pauses while the session is locked [yes]");
    declareSwitch("pause-when-idle", "Pauses while the session is idle [yes]");
}

/// Declares --NAME and --no-NAME; the latter overrides the configuration file.
void DesktopCommand::declareSwitch(const std::string &name, const char *help) {
    CLI::Option *const positive = _app->add_flag("--" + name)->description(help);
    _app->add_flag("--no-" + name)->group("")->excludes(positive);
}

std::optional<bool> DesktopCommand::switchNamed(const std::string &name) const {
    if (_app->count("--no-" + name) > 0) {
        return false;
    }
    return _app->count("--" + name) > 0 ? std::optional(true) : std::nullopt;
}

void DesktopCommand::run() {
    readBundles();
    const SignalWatch signals([] { NSRunLoop::mainRunLoop().stop(); });
    DescriptorWaiter waiter;
    ConfigurationFile file(waiter, _configuration.empty() ? ConfigurationFile::standardPath()
                                                          : _configuration);
    const Configuration &configuration = file.configuration();
    DesktopHost::Options options = hostOptions();
    ViewOptions viewOptions;
    viewOptions.isTrusted = switchNamed("trust").value_or(configuration.trusts().value_or(false));
    viewOptions.hasWatchdog = !_isUnwatched;
    viewOptions.seed = _seed;
    viewOptions.log = options.wallpaperLog;
    options.makeView = viewMaker(waiter, viewOptions);
    SharedDesktop desktop(waiter, openDesktop(waiter, desktopOptions(configuration)));
    DesktopBackgrounds backgrounds(waiter, DesktopBackgrounds::userFolder(), printError);
    if (!_isStandalone) {
        showBackgroundsBy(backgrounds, options);
    }
    SessionWatch session(waiter);
    DesktopHost host(desktop, options, configuration);
    std::optional<ControlServer> control;
    std::optional<ListeningSocket> viewers;
    if (!_isStandalone) {
        const std::string folder = controlFolder();
        control.emplace(waiter, host, desktop.name(), folder);
        viewers.emplace(waiter, ListeningSocket::Kind::Packets,
                        ControlPlace::pictureSocketIn(folder),
                        [&desktop](int viewer, bool isOfUser) {
                            isOfUser ? desktop.welcome(viewer) : void(close(viewer));
                        });
        backgrounds.giveBackLeftOver();
    }
    const Surroundings surroundings(host, file, session);
    std::optional<EnterKey> enterKey;
    if (_trial) {
        enterKey.emplace(waiter, [&host] {
            host.keep();
            printError("it is kept");
        });
        printError("everything is taken back in " + std::to_string(std::lround(*_trial)) +
                   " s, unless you " + (enterKey->isThere() ? "press Enter or run" : "run") +
                   " `lumivera ctl keep`");
    }
    NSRunLoop::mainRunLoop().runUntil(Clock::kNever);
    backgrounds.giveBack();
    if (!host.lossReason().empty()) {
        throw HostError(desktop.name(), host.lossReason());
    }
}

DesktopHost::Options DesktopCommand::hostOptions() const {
    DesktopHost::Options options;
    options.choice = {_values.values(), {}};
    if (!_bundle.empty()) {
        options.choice.bundle = _bundle;
    }
    for (const auto &[output, bundle] : _outputBundles) {
        options.outputChoices[output].bundle = bundle;
    }
    options.layer = _layer;
    options.trial = _trial;
    options.aboutLayer = sayWhatHappensToIcons;
    options.pauses = {_onBattery, switchNamed("pause-when-covered"),
                      switchNamed("pause-when-locked"), switchNamed("pause-when-idle")};
    options.shippedBundle = Places::defaultBundle();
    if (_isStandalone) {
        options.pauses.whenLocked = options.pauses.whenLocked.value_or(false);
    } else {
        options.lastGoodPath = LastGoodBundle::userFilePath();
    }
    options.log = printError;
    return options;
}

/// Checks the bundles' names, and makes bundles of photos.
void DesktopCommand::readBundles() {
    const auto read = [](const std::string &argument) {
        Places::checkNameIsNotOfFolderHere(argument);
        return PhotoBundle::pathFor(argument).value_or(argument);
    };
    _bundle = _bundle.empty() ? "" : read(_bundle);
    for (const std::string &output : _outputs) {
        const std::size_t equals = output.find('=');
        if (equals == 0 || equals == std::string::npos || equals + 1 == output.size()) {
            throw UsageError("--output", "\"" + output + "\" is not NAME=BUNDLE",
                             "`lumivera doctor` lists the outputs' names");
        }
        _outputBundles.emplace_back(output.substr(0, equals), read(output.substr(equals + 1)));
    }
}

DesktopOptions DesktopCommand::desktopOptions(const Configuration &configuration) const {
    return {_display, _layer.value_or(configuration.layer().value_or(LayerChoice::Automatic)),
            _density ? _density : configuration.density()};
}

} // namespace

std::unique_ptr<Command> makeDesktopCommand() { return std::make_unique<DesktopCommand>(); }

} // namespace Lumivera
