// A sound in a WAV file is either refused, or gives no more samples than the file can hold, each a
// finite number.

#include "Platform/AudioToolbox/WaveSound.h"
#include "Platform/AudioToolbox/SoundMixer.h"

#include <cmath>
#include <cstdlib>

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr std::size_t kMaxFrames =
        std::size_t{SoundMixer::kFramesPerSecond} * WaveSound::kMaxSeconds;
    const auto sound = WaveSound::decode({data, size});
    if (!sound) {
        return 0;
    }
    require(sound->channels() >= 1 && sound->channels() <= 8);
    require(sound->framesPerSecond() >= 1000 && sound->framesPerSecond() <= 192'000);
    const std::vector<float> samples = sound->mixableSamples();
    require(samples.size() % SoundMixer::kChannels == 0);
    require(samples.size() <= kMaxFrames * SoundMixer::kChannels);
    for (const float sample : samples) {
        require(std::isfinite(sample));
    }
    return 0;
}
