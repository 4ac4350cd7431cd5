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

    /// One more sound at once ends the one that began first.
    static constexpr std::size_t kMaxVoices = 32;

    using Samples = std::shared_ptr<const std::vector<float>>;

    /// Plays the samples from the next mixed frame on. Null is ignored.
    void play(Samples samples);

    /// Fills `output` with the next frames, with silence where nothing plays.
    void mix(std::span<float> output);

    /// The number of frames until the last sound ends.
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
