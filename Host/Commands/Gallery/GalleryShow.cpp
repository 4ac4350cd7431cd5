#include "Host/Commands/Gallery/GalleryShow.h"

namespace Lumivera {

namespace {

/// A player of that sound, switched on; the sound is the player's to dispose of.
Retained<SoundPlay> playerFor(const std::string &path) {
    auto player = makeRetained<SoundPlay>();
    SystemSoundID sound = 0;
    AudioServicesCreateSystemSoundID(NSURL::fileURLWithPath(path).get(), &sound);
    player->setSoundID(sound);
    player->setSoundSwitch(true);
    return player;
}

} // namespace

GalleryShow::GalleryShow(Display &display, const GalleryPictures &pictures, const Options &options)
    : Show(display, options.seconds), _gallery(pictures, pictureSize(), {options.columns, 1}),
      _sound(playerFor(options.chimePath)) {}

GalleryShow::~GalleryShow() { AudioServicesCloseDevice(); }

/// Going on begins every exhibit anew, so nothing that runs may be told to.
void GalleryShow::setRunning(bool running) {
    if (running != _isRunning) {
        _isRunning = running;
        _gallery.setPlaying(running);
    }
}

void GalleryShow::displayResized() {
    loseWhatIsShown();
    _gallery.resize(pictureSize());
}

void GalleryShow::tapped(CGPoint point) {
    _gallery.restartAt(point);
    _sound->playSysSound(_sound->soundID());
}

} // namespace Lumivera
