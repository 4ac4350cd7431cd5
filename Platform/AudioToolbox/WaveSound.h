#pragma once

#include "Platform/Foundation/PlatformExport.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// The samples of a WAV file: whole numbers of 8, 16, 24 or 32 bits, floats, A-law, µ-law and the
/// two usual ADPCM forms.
class PLATFORM_EXPORT WaveSound {
  public:
    static constexpr int kLongestSeconds = 30;

    /// Nothing for bytes that are no such file, are cut off, say sizes that do not fit together,
    /// hold no frame, or more than kLongestSeconds. Takes memory in proportion to the bytes only.
    static std::optional<WaveSound> decode(std::span<const std::uint8_t> file);

    /// As the mixer wants them; samples of its rate as they are, but for those that are no number.
    /// Empty when there is no memory. Takes a while.
    std::vector<float> mixableSamples() const;

    int channels() const { return _channels; }
    int framesPerSecond() const { return _framesPerSecond; }

  private:
    WaveSound() = default;

    std::vector<std::uint8_t> _bytes;
    std::uint16_t _format = 0; // as SDL counts formats
    std::uint8_t _channels = 0;
    int _framesPerSecond = 0;
};
