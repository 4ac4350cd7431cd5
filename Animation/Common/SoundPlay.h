#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/AudioToolbox/AudioServices.h"
#include "Platform/Foundation/NSObject.h"

/// Plays short system sounds, as long as it is switched on. Until initSound it is switched off.
/// Main thread.
class WALLPAPER_EXPORT SoundPlay : public NSObject {
  public:
    SoundPlay() = default;

    /// Registers the sound of its own, switches sound on and sets the volume to 1. Where the file
    /// is missing soundID() stays as it was.
    void initSound();
    void setSoundSwitch(bool on);
    void setUIVolume(float volume);

    /// Plays the sound of that identifier, which need not be soundID().
    void playSysSound(SystemSoundID sound);

    /// Does nothing.
    void stopAllMusic();

    bool is_turnON() const { return fields.is_turnON; }
    void setIs_turnON(bool on) { fields.is_turnON = on; }

    /// Kept, but not applied to what plays.
    float volume() const { return fields.volume; }
    void setVolume(float volume) { fields.volume = volume; }

    SystemSoundID soundID() const { return fields.soundID; }
    void setSoundID(SystemSoundID sound) { fields.soundID = sound; }

  protected:
    /// Disposes of the registered sound.
    ~SoundPlay() override;

  private:
    // One level down, so that a field may be called as its accessor is.
    struct {
        float volume = 0;
        bool is_turnON = false;
        SystemSoundID soundID = 0;
    } fields;
};
