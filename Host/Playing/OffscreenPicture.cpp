#include "Host/Playing/OffscreenPicture.h"

#include "Host/Wallpapers/BundleCall.h"
#include "Host/Wallpapers/PictureFile.h"
#include "Host/Wallpapers/Places.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"

#include <ctime>
#include <filesystem>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kTurn = 0.05;
constexpr int kMaxTurns = 1200;

bool isAnythingLeft() {
    return NSThread::detachedThreadCount() > 0 ||
           NSRunLoop::mainRunLoop().nextDeadline() != Clock::kNever;
}

/// A path at which there is no file yet.
std::string freePath() {
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

} // namespace

/// The first picture allocates the memory; each later one repaints only what changed since.
const std::vector<std::uint32_t> &OffscreenPicture::composite(CALayer &root) {
    const unsigned age = _pixels.empty() ? 0 : 1;
    _pixels.resize(width() * height());
    composite(root, _pixels.data(), age);
    return _pixels;
}

void OffscreenPicture::composite(CALayer &root, std::uint32_t *pixels, unsigned age) {
    const BundleCall call(BundleCall::Kind::Drawing);
    _compositor.composite(root, {pixels, width(), height(), width(), age}, _size.density);
}

std::string writeScreenshot(std::span<const std::uint32_t> pixels, std::size_t width,
                            std::size_t height) {
    OutputFile file(freePath());
    PictureFile::writePNG(file, pixels, width, height, PictureFile::Compression::Small);
    file.commit();
    return file.path();
}

SimulatedTime::SimulatedTime(const CGRect &screenBounds, CGFloat screenScale)
    : _clock(std::make_unique<SimulatedClock>()) {
    Clock::setCurrent(_clock.get());
    UIScreen::setMainScreen(makeRetained<UIScreen>(screenBounds, screenScale));
}

SimulatedTime::~SimulatedTime() {
    for (int turn = 0; turn < kMaxTurns && isAnythingLeft(); ++turn) {
        NSRunLoop::mainRunLoop().runForSeconds(kTurn);
    }
    UIScreen::setMainScreen(nullptr);
    if (isAnythingLeft()) {
        // A wallpaper's thread that does not end still uses the clock.
        static_cast<void>(_clock.release());
        return;
    }
    Clock::setCurrent(nullptr);
}

} // namespace Lumivera
