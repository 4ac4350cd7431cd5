#include "Host/Showing/WallpaperShow.h"

#include "Host/Bundles/Places.h"
#include "Host/Rendering/PictureSink.h"
#include "Host/Support/HostError.h"
#include "Host/Support/StandardOutput.h"
#include "Platform/QuartzCore/CAMediaTime.h"

#include <cstdio>
#include <ctime>
#include <filesystem>

namespace Lumivera {

namespace {

constexpr NSInteger kPetalStep = 10;

WallpaperSettings settingsFor(const Display &display, WallpaperSettings settings) {
    settings.size = display.size();
    settings.density = display.density();
    return settings;
}

/// A name that is not taken yet.
std::string screenshotPath() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char time[32];
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", &local);
    const std::string start = Places::picturesFolder() + "/lumivera-" + time;
    std::string path = start + ".png";
    std::error_code error;
    for (int i = 2; std::filesystem::exists(path, error); ++i) {
        path = start + "-" + std::to_string(i) + ".png";
    }
    return path;
}

/// The run loop has its own ways again when the scope ends, however it ends.
struct LoopSettings {
    ~LoopSettings() {
        NSRunLoop::mainRunLoop().setObservers(nullptr, nullptr);
        NSRunLoop::mainRunLoop().setWaiter(nullptr);
    }
};

} // namespace

WallpaperShow::WallpaperShow(Display &display, const WallpaperBundle &bundle,
                             const Options &options)
    : _display(display), _stage(bundle, settingsFor(display, options.settings)),
      _seconds(options.seconds) {
    if (!options.tracePath.empty()) {
        _trace = std::make_unique<TraceWriter>(options.tracePath, TraceWriter::Mode::Live);
    }
    _display.setListener(this);
}

WallpaperShow::~WallpaperShow() { _display.setListener(nullptr); }

void WallpaperShow::run() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    const LoopSettings untilDone;
    runLoop.setWaiter(&_display);
    runLoop.setObservers([this] { guard([this] { callOutBegins(); }); },
                         [this] { guard([this] { callOutEnded(); }); });
    updateRunning();
    if (_seconds) {
        runLoop.runForSeconds(*_seconds);
    } else {
        runLoop.runUntil(Clock::kNever);
    }
    if (_failure) {
        std::rethrow_exception(_failure);
    }
}

/// A failure inside a call-out ends the show; another thread may wait for that call-out's end.
void WallpaperShow::guard(const std::function<void()> &action) {
    if (_failure) {
        return;
    }
    try {
        action();
    } catch (...) {
        _failure = std::current_exception();
        NSRunLoop::mainRunLoop().stop();
    }
}

void WallpaperShow::callOutBegins() {
    // An animating view is called by its own loop alone.
    const auto *view = dynamic_cast<const DeskTopView *>(NSRunLoop::mainRunLoop().currentTarget());
    _isFrame = view && view->isAnimating();
    _stage.callOutBegins();
}

void WallpaperShow::callOutEnded() {
    _stage.callOutEnded();
    const bool hasChanged = _stage.root().layer()->needsComposite();
    if ((hasChanged || _isPictureLost) && _display.isVisible()) {
        draw();
    }
    if (_isFrame && NSRunLoop::mainRunLoop().currentTarget() == &_stage.view()) {
        trace();
    }
}

void WallpaperShow::draw() {
    _display.present([this](const CompositorTarget &target) {
        _compositor.composite(*_stage.root().layer(), target, _display.density());
        _isPictureLost = false;
    });
}

void WallpaperShow::trace() {
    if (_trace) {
        _trace->writeFrame(_frame, CACurrentMediaTime(), _stage.view());
    }
    ++_frame;
}

void WallpaperShow::updateRunning() { _stage.setRunning(!_isPausedByUser && _display.isVisible()); }

void WallpaperShow::displayResized() {
    _isPictureLost = true;
    _stage.resize(_display.size(), _display.density());
}

void WallpaperShow::displayVisibilityChanged() {
    _isPictureLost = true;
    updateRunning();
}

void WallpaperShow::displayClosed() { NSRunLoop::mainRunLoop().stop(); }

void WallpaperShow::keyPressed(DisplayKey key) {
    switch (key) {
    case DisplayKey::Pause:
        _isPausedByUser = !_isPausedByUser;
        updateRunning();
        break;
    case DisplayKey::MorePetals:
        _stage.changePetalCount(kPetalStep);
        break;
    case DisplayKey::FewerPetals:
        _stage.changePetalCount(-kPetalStep);
        break;
    case DisplayKey::Faster:
        _stage.changeSpeedLevel(1);
        break;
    case DisplayKey::Slower:
        _stage.changeSpeedLevel(-1);
        break;
    case DisplayKey::Screenshot:
        takeScreenshot();
        break;
    case DisplayKey::FullScreen:
        _display.toggleFullScreen();
        break;
    case DisplayKey::Quit:
        displayClosed();
        break;
    }
}

/// A picture that cannot be written is told about and ends nothing.
void WallpaperShow::takeScreenshot() {
    _isPictureLost = true;
    try {
        const WallpaperSettings settings = settingsFor(_display, {});
        std::vector<std::uint32_t> pixels(settings.pixelWidth() * settings.pixelHeight());
        SoftwareCompositor().composite(
            *_stage.root().layer(),
            {pixels.data(), settings.pixelWidth(), settings.pixelHeight(), settings.pixelWidth()},
            settings.density);
        OutputFile file(screenshotPath());
        PictureSink::writePicture(file, settings.pixelWidth(), settings.pixelHeight(), pixels,
                                  PictureSink::kSmall);
        file.commit();
        printToStandardOutput(file.path() + "\n");
    } catch (const std::exception &error) {
        std::fprintf(stderr, "lumivera: %s\n", error.what());
    }
}

} // namespace Lumivera
