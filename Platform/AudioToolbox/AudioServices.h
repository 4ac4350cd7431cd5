#pragma once

#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/PlatformExport.h"

#include <cstdint>

/// A registered sound; 0 is none.
using SystemSoundID = std::uint32_t;

/// 0 when all went well.
using OSStatus = std::int32_t;

/// No such sound, or a file that is no sound.
inline constexpr OSStatus kAudioServicesSystemSoundUnspecifiedError = -1500;

// Short sounds, mixed when several play at once. Any thread; none of these functions waits for a
// sound device but the last. Where there is no device, and while time is simulated, all is silent.

/// Reads a WAV file of at most 30 s and registers it. On failure `sound` stays as it is.
PLATFORM_EXPORT OSStatus AudioServicesCreateSystemSoundID(const NSURL *file, SystemSoundID *sound);

/// Plays it once. Nothing happens for an unknown identifier.
PLATFORM_EXPORT void AudioServicesPlaySystemSound(SystemSoundID sound);

/// Forgets it; what plays already goes on to its end.
PLATFORM_EXPORT OSStatus AudioServicesDisposeSystemSoundID(SystemSoundID sound);

/// Silences what plays and gives the sound device back, which otherwise happens a few seconds
/// after the last sound. Waits until it is done; for the end of a program.
PLATFORM_EXPORT void AudioServicesCloseDevice();
