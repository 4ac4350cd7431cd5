#include "Host/Commands/Gallery/GalleryShow.h"

#include "Host/Playing/OffscreenPicture.h"
#include "Host/Rendering/FrameSink.h"
#include "Platform/Foundation/NSRunLoop.h"

namespace Lumivera {

namespace {

/// A player of the sound file, switched on. The player owns the sound.
Retained<SoundPlay> playerFor(const std::string &path) {
    auto player = makeRetained<SoundPlay>();
    SystemSoundID sound = 0;
    AudioServicesCreateSystemSoundID(NSURL::fileURLWithPath(path).get(), &sound);
    player->setSoundID(sound);
    player->setSoundSwitch(true);
    return player;
}

constexpr Clock::Nanoseconds kFramePeriod = Clock::Nanoseconds{kFrameMilliseconds} * 1'000'000;

/// Renders `count` pictures of the gallery; `prepare` runs before each.
void write(const std::string &bundlePath, const std::string &output, const PictureSize &size,
           const Gallery::Options &options, NSUInteger count,
           const std::function<void(Gallery &gallery, NSUInteger frame)> &prepare) {
    const RenderingRun run(output);
    const SimulatedTime time({{0, 0}, size.size}, size.density);
    const GalleryPictures pictures(bundlePath);
    Gallery gallery(pictures, size, options);
    OffscreenPicture picture(size);
    const auto sink = FrameSink::forPath(output, {picture.width(), picture.height(), count});
    run.renderFrames(count, [&](NSUInteger frame) {
        prepare(gallery, frame);
        sink->writeFrame(frame, picture.composite(*gallery.root().layer()));
    });
    sink->finish();
}

} // namespace

GalleryShow::GalleryShow(Window &window, const GalleryPictures &pictures, const Options &options)
    : TreeShow(window, options.seconds), _gallery(pictures, pictureSize(), {options.columns, 1}),
      _sound(playerFor(options.chimePath)) {}

GalleryShow::~GalleryShow() { AudioServicesCloseDevice(); }

/// setPlaying(true) restarts every exhibit, so it must not be called while they play.
void GalleryShow::setRunning(bool running) {
    if (running != _isRunning) {
        _isRunning = running;
        _gallery.setPlaying(running);
    }
}

void GalleryShow::windowResized() {
    drawAgain();
    _gallery.resize(pictureSize());
}

void GalleryShow::tapped(CGPoint point) {
    _gallery.restartAt(point);
    _sound->playSysSound(_sound->soundID());
}

void GalleryRendering::writeFilm(const std::string &bundlePath, const std::string &output,
                                 const Options &options) {
    Clock::Nanoseconds start = 0;
    write(bundlePath, output, options.size, {options.columns, 1}, framesIn(options.seconds),
          [&start](Gallery &gallery, NSUInteger frame) {
              if (frame == 0) {
                  start = Clock::current().now();
                  gallery.setPlaying(true);
              }
              const auto frames = static_cast<Clock::Nanoseconds>(frame);
              NSRunLoop::mainRunLoop().runUntil(start + frames * kFramePeriod);
          });
}

void GalleryRendering::writeSheet(const std::string &bundlePath, const std::string &output,
                                  const Options &options) {
    write(bundlePath, output, options.size, {options.columns, kMoments}, 1,
          [](Gallery &gallery, NSUInteger) {
              gallery.holdMoments();
              NSRunLoop::mainRunLoop().runForSeconds(kFilmSeconds);
          });
}

} // namespace Lumivera
