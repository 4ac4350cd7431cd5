#pragma once

#include "Platform/Foundation/NSURL.h"

#include <cstdint>
#include <functional>
#include <string>

/// A registered sound; 0 is none.
using SystemSoundID = std::uint32_t;

/// 0 on success.
using OSStatus = std::int32_t;

/// The error for an unknown sound, and for a file that is not a sound.
inline constexpr OSStatus kAudioServicesSystemSoundUnspecifiedError = -1500;

// Short sounds, mixed when several play at once. Any thread; only the last of these functions waits
// for the sound device. Without a device, and under simulated time, nothing is heard.

/// Reads a WAV file of at most 30 s and registers it as `*sound`, which is unchanged on failure.
PLATFORM_EXPORT OSStatus AudioServicesCreateSystemSoundID(const NSURL *file, SystemSoundID *sound);

/// Plays the sound once. An unknown identifier is ignored.
PLATFORM_EXPORT void AudioServicesPlaySystemSound(SystemSoundID sound);

/// Unregisters the sound. If it is playing, it plays to its end.
PLATFORM_EXPORT OSStatus AudioServicesDisposeSystemSoundID(SystemSoundID sound);

/// Hands every sound that is to be played to `sink`, as the path of its file, instead of playing
/// it; null restores the sound device. For hosts that play sounds elsewhere. The sink is called on
/// the thread that plays, and must neither play nor wait.
PLATFORM_EXPORT void AudioServicesSetSink(std::function<void(const std::string &path)> sink);

/// Stops all sounds and closes the sound device, which otherwise is closed a few seconds after the
/// last sound. Waits until it is closed; for the end of a program.
PLATFORM_EXPORT void AudioServicesCloseDevice();
