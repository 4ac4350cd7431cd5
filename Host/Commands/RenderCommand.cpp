#include "Host/Commands/Command.h"

#include "Host/Commands/Making/PhotoBundle.h"
#include "Host/Commands/SettingsOptions.h"
#include "Host/Desktop/Isolation/RenderingProcess.h"
#include "Host/Playing/TraceWriter.h"
#include "Host/Rendering/FrameSink.h"
#include "Host/Rendering/RenderingSession.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Lumivera {

namespace {

constexpr double kDefaultSeconds = 10;
constexpr double kMaxSeconds = 86400 * 7.0;
constexpr NSUInteger kMaxFrames = 80'000'000; // WebP times are milliseconds in 31 bits

constexpr const char *kHelp = "Renders a wallpaper as pictures or a film, without a display.";

constexpr const char *kMore =
    "OUT decides what is written: x.png is the last frame; x-%04d.png one for each frame,\n"
    "numbered from 0; x.webp, x.mp4, x.webm and x.gif are films (all but .webp need the\n"
    "program ffmpeg). A frame lasts 25 ms. With the same --seed, size and script every run\n"
    "gives the same bytes. --trace alone writes the petals' places and no picture.";

/// lumivera render: a wallpaper as pictures or a film, without a display.
class RenderCommand final : public Command {
  public:
    void declare(CLI::App &parent) override;
    void run() override;

  private:
    NSUInteger frameCount() const;
    NSUInteger firstPicture() const;
    RenderingSession::Options sessionOptions() const;
    void renderApart();
    void renderHere();
    void write(const RenderingRun &run, const PictureSize &size,
               const std::function<void(NSUInteger, FrameSink *, TraceWriter *)> &writeFrame);
    const std::string &subject() const;

    std::string _bundle;
    std::string _output;
    std::string _script;
    std::string _trace;
    SettingsOptions _settings;
    std::optional<unsigned> _seed;
    std::optional<NSUInteger> _frames;
    std::optional<double> _seconds;
    ProtectionOptions _protection;
};

void RenderCommand::declare(CLI::App &parent) {
    _app = parent.add_subcommand("render", kHelp);
    _app->footer(kMore);
    _app->add_option("BUNDLE", _bundle,
                     "The bundle's folder, the name of an installed one, or a photo")
        ->required();
    _app->add_option("-o,--output", _output, "The picture or film to write")->type_name("OUT");
    _settings.declare(*_app, {});
    auto *frames = _app->add_option("--frames", _frames, "Number of frames")->type_name("N");
    frames->check(CLI::Range(NSUInteger{1}, kMaxFrames).description(""));
    _app->add_option("--seconds", _seconds, "Length in seconds, instead of --frames [10]")
        ->type_name("S")
        ->check(CLI::Range(0.001, kMaxSeconds).description(""))
        ->excludes(frames);
    _app->add_option("--seed", _seed, "Makes the run repeatable")->type_name("N");
    _app->add_option("--script", _script, "Events: taps, pauses, changes (see the manual)")
        ->type_name("FILE");
    _app->add_option("--trace", _trace, "Writes every petal's position, a line of JSON a frame")
        ->type_name("FILE");
    _protection.declare(*_app);
}

void RenderCommand::run() {
    if (_output.empty() && _trace.empty()) {
        throw UsageError("render", "has nothing to write", "give -o OUT, --trace FILE or both");
    }
    if (!_output.empty()) {
        FrameSink::checkPath(_output);
    }
    if (_protection.isUnprotected()) {
        renderHere();
    } else {
        renderApart();
    }
}

void RenderCommand::renderApart() {
    RenderingSession::Options options = sessionOptions();
    const RenderingRun run(subject());
    RenderingProcess::Start start;
    start.bundle = PhotoBundle::requireBundle(_bundle);
    start.isTrusted = _protection.trust() == BundleFolder::Trust::Anybody;
    start.protectionRefused = ConfinedProcess::printsRefusedProtections(printError);
    start.says = ConfinedProcess::printsAbout(start.bundle, printError);
    start.settings = options.settings;
    start.seed = options.seed;
    start.script = std::move(options.script);
    start.frameCount = frameCount();
    start.firstPicture = firstPicture();
    start.isTraced = !_trace.empty();
    RenderingProcess process(start);
    const RenderingProcess::Frame *next = process.nextFrame();
    write(run, start.settings, [&](NSUInteger frame, FrameSink *sink, TraceWriter *trace) {
        if (frame > 0) {
            next = process.nextFrame();
        }
        if (next && sink && sink->wantsFrame(frame)) {
            sink->writeFrame(frame, next->pixels);
        }
        if (next && trace) {
            trace->writeEntry(next->trace);
        }
    });
}

void RenderCommand::renderHere() {
    const RenderingSession::Options options = sessionOptions();
    const RenderingRun run(subject());
    RenderingSession session(BundleFolder(PhotoBundle::requireBundle(_bundle), _protection.trust()),
                             options);
    write(run, options.settings, [&](NSUInteger frame, FrameSink *sink, TraceWriter *trace) {
        if (frame > 0) {
            session.nextFrame();
        }
        if (sink && sink->wantsFrame(frame)) {
            sink->writeFrame(frame, session.composite());
        }
        if (trace) {
            trace->writeFrame(session.time(), session.view());
        }
    });
}

/// Writes all frames. Called when the wallpaper has shown its first frame, so that one which cannot
/// be shown leaves all files as they are.
void RenderCommand::write(
    const RenderingRun &run, const PictureSize &size,
    const std::function<void(NSUInteger, FrameSink *, TraceWriter *)> &writeFrame) {
    std::unique_ptr<FrameSink> sink;
    if (!_output.empty()) {
        sink = FrameSink::forPath(_output, {size.pixelWidth(), size.pixelHeight(), frameCount()});
    }
    std::unique_ptr<TraceWriter> trace;
    if (!_trace.empty()) {
        trace = std::make_unique<TraceWriter>(_trace, TraceWriter::Mode::Whole);
    }
    run.renderFrames(frameCount(),
                     [&](NSUInteger frame) { writeFrame(frame, sink.get(), trace.get()); });
    if (trace) {
        trace->flush(); // reports a full disk before any file gets its name
    }
    if (sink) {
        sink->finish();
    }
    if (trace) {
        trace->finish();
    }
}

NSUInteger RenderCommand::frameCount() const {
    return _frames ? *_frames : framesIn(_seconds.value_or(kDefaultSeconds));
}

/// The first frame whose picture is written; as many as there are frames for none.
NSUInteger RenderCommand::firstPicture() const {
    if (_output.empty()) {
        return frameCount();
    }
    return FrameSink::isOnePicture(_output) ? frameCount() - 1 : 0;
}

RenderingSession::Options RenderCommand::sessionOptions() const {
    RenderingSession::Options options;
    options.settings = _settings.settings();
    options.seed = _seed.value_or(newSeed());
    if (!_script.empty()) {
        options.script = Script::readFile(_script);
    }
    return options;
}

const std::string &RenderCommand::subject() const { return _output.empty() ? _trace : _output; }

} // namespace

std::unique_ptr<Command> makeRenderCommand() { return std::make_unique<RenderCommand>(); }

} // namespace Lumivera
