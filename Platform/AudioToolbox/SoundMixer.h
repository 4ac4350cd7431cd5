#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

/// Adds sounds up. Samples are floats from -1 to 1, a left one and a right one a frame, 48,000
/// frames a second. Any thread.
class SoundMixer {
  public:
    static constexpr int kFramesPerSecond = 48'000;
    static constexpr int kChannels = 2;

    /// One more at once ends the one that began first.
    static constexpr std::size_t kMostVoices = 32;

    using Samples = std::shared_ptr<const std::vector<float>>;

    /// From the next frame that is mixed.
    void play(Samples samples);

    /// Fills `output` with the next frames; silence where nothing plays.
    void mix(std::span<float> output);

    /// Until the sound that ends last has ended.
    std::size_t framesLeft() const;

    void stopAll();

  private:
    struct Voice {
        Samples samples;
        std::size_t next = 0;

        std::size_t left() const { return samples->size() - next; }
    };

    mutable std::mutex _mutex;
    std::vector<Voice> _voices;
};
