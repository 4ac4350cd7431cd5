#include "Animation/Common/SoundPlay.h"

namespace {

constexpr const char *kSoundPath = "/Library/Application Support/Scenebook2N/res/Reed/splash1.wav";

} // namespace

SoundPlay::~SoundPlay() {
    if (fields.soundID != 0) {
        AudioServicesDisposeSystemSoundID(fields.soundID);
        fields.soundID = 0;
    }
}

void SoundPlay::initSound() {
    const auto url = NSURL::fileURLWithPath(kSoundPath);
    AudioServicesCreateSystemSoundID(url.get(), &fields.soundID);
    NSURL::fileURLWithPath(kSoundPath);
    setIs_turnON(true);
    setUIVolume(1.0F);
}

void SoundPlay::setSoundSwitch(bool on) { fields.is_turnON = on; }

void SoundPlay::setUIVolume(float volume) { setVolume(volume); }

void SoundPlay::playSysSound(SystemSoundID sound) {
    if (fields.is_turnON) {
        AudioServicesPlaySystemSound(sound);
    }
}

void SoundPlay::stopAllMusic() {}
