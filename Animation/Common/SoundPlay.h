#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/AudioToolbox/AudioServices.h"
#include "Platform/Foundation/NSObject.h"

/// Plays short system sounds while it is switched on; it is off until initSound(). Main thread.
class WALLPAPER_EXPORT SoundPlay : public NSObject {
  public:
    SoundPlay() = default;

    /// Registers its own sound, switches sound on and sets the volume to 1. When the file is
    /// missing soundID() does not change.
    void initSound();
    void setSoundSwitch(bool on);
    void setUIVolume(float volume);

    /// Plays the sound of that identifier, which need not be soundID().
    void playSysSound(SystemSoundID sound);

    /// Does nothing.
    void stopAllMusic();

    bool is_turnON() const { return fields.is_turnON; }
    void setIs_turnON(bool on) { fields.is_turnON = on; }

    /// Stored only; it does not change how loud sounds are.
    float volume() const { return fields.volume; }
    void setVolume(float volume) { fields.volume = volume; }

    SystemSoundID soundID() const { return fields.soundID; }
    void setSoundID(SystemSoundID sound) { fields.soundID = sound; }

  protected:
    /// Unregisters the sound.
    ~SoundPlay() override;

  private:
    // In a struct, so that the fields may have the names of their accessors.
    struct {
        float volume = 0;
        bool is_turnON = false;
        SystemSoundID soundID = 0;
    } fields;
};
