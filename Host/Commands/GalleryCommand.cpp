#include "Host/Commands/Command.h"

#include "Host/Commands/Gallery/GalleryShow.h"
#include "Host/Commands/SettingsOptions.h"
#include "Host/Displays/WindowSystem.h"
#include "Host/Rendering/FrameSink.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Processes.h"
#include "Host/Wallpapers/Places.h"
#include "Platform/Foundation/NSTypes.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace Lumivera {

namespace {

constexpr double kMaxSeconds = 86400;
constexpr NSUInteger kMaxColumns = 1000;

constexpr const char *kHelp = "Shows what every view animation does, on flowers.";

constexpr const char *kMore =
    "Without -o in a window: a click begins an animation anew, with a chime. Keys:\n"
    "  space        hold still, and begin anew\n"
    "  s            screenshot into the pictures folder\n"
    "  f or F11     full screen\n"
    "  q or escape  quit\n"
    "With -o, OUT decides what is made: x.png is a sheet of moments; x-%04d.png is a picture\n"
    "a frame, numbered from 0; x.webp, x.mp4, x.webm and x.gif are films (all but .webp need\n"
    "the program ffmpeg). A film of 12 seconds goes on as it began.";

constexpr const char *kWithoutDisplay =
    "to see the gallery without one, use `lumivera gallery -o film.webp`";

/// lumivera gallery: every view animation on a flower, in a window, a film or a sheet of moments.
class GalleryCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    void show(const std::string &bundle) const;
    void render(const std::string &bundle) const;

    std::string _bundle;
    std::string _output;
    SizeOptions _size;
    NSUInteger _columns = 0;
    std::optional<double> _seconds;
};

void GalleryCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("gallery", kHelp);
    _app->footer(kMore);
    _app->add_option("BUNDLE", _bundle, "The bundle whose flowers are moved [Lumivera]");
    _app->add_option("-o,--output", _output, "Where a film or a sheet goes")->type_name("OUT");
    _size.declare(*_app, {{1200, 720}, 1});
    _app->add_option("--columns", _columns, "How many stand side by side, instead of a good number")
        ->type_name("N")
        ->check(CLI::Range(NSUInteger{1}, kMaxColumns).description(""));
    _app->add_option("--seconds", _seconds, "How long a film is [12], or the window stays")
        ->type_name("S")
        ->check(CLI::Range(0.001, kMaxSeconds).description(""));
}

void GalleryCommand::run() {
    const std::string bundle =
        _bundle.empty() ? Places::defaultBundle() : Places::requireBundle(_bundle);
    if (_output.empty()) {
        show(bundle);
    } else {
        render(bundle);
    }
}

void GalleryCommand::show(const std::string &bundle) const {
    const PictureSize size = _size.pictureSize();
    const bool hasDensity = _app->count("--density") > 0;
    const GalleryPictures pictures(bundle);
    const SignalWatch signals([] { NSRunLoop::mainRunLoop().stop(); });
    const auto window =
        openWindow(size.size, hasDensity ? std::optional(size.density) : std::nullopt, "Animations",
                   kWithoutDisplay);
    GalleryShow(*window, pictures, {_columns, _seconds, Places::soundPath("chime.wav")}).run();
}

void GalleryCommand::render(const std::string &bundle) const {
    FrameSink::checkPath(_output);
    GalleryRendering::Options options{_size.pictureSize(), _columns};
    if (!FrameSink::isOnePicture(_output)) {
        options.seconds = _seconds.value_or(kFilmSeconds);
        GalleryRendering::writeFilm(bundle, _output, options);
        return;
    }
    if (_seconds) {
        throw UsageError("--seconds", "means nothing to a sheet of moments",
                         "end OUT in .webp for a film");
    }
    GalleryRendering::writeSheet(bundle, _output, options);
}

} // namespace

std::unique_ptr<Command> makeGalleryCommand() { return std::make_unique<GalleryCommand>(); }

} // namespace Lumivera
