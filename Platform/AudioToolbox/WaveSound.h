#pragma once

#include "Platform/AudioToolbox/SoundMixer.h"
#include "Platform/Foundation/NSTypes.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// The samples of a WAV file: whole numbers of 8, 16, 24 or 32 bits, floats, A-law, µ-law and the
/// two usual ADPCM forms.
class PLATFORM_EXPORT WaveSound {
  public:
    static constexpr int kMaxSeconds = 30;

    /// Nothing for bytes that are no such file, are truncated, give inconsistent sizes, or hold no
    /// frame or more than kMaxSeconds. Takes memory in proportion to the bytes only.
    static std::optional<WaveSound> decode(std::span<const std::uint8_t> file);

    /// The samples in the mixer's format; those that are NaN or infinite become 0. Empty when there
    /// is no memory. Takes a while.
    std::vector<float> mixableSamples() const;

    int channels() const { return _channels; }
    int framesPerSecond() const { return _framesPerSecond; }

  private:
    WaveSound() = default;

    std::vector<std::uint8_t> _bytes;
    std::uint16_t _format = 0; // SDL_AudioFormat
    std::uint8_t _channels = 0;
    int _framesPerSecond = 0;
};

/// A sound that is converted for the mixer when it is first played.
class Sound {
  public:
    explicit Sound(WaveSound wave) : _wave(std::move(wave)) {}

    /// Only for the thread of the SoundOutput.
    const SoundMixer::Samples &samples();

  private:
    const WaveSound _wave;
    SoundMixer::Samples _samples;
};
