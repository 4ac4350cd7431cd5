#include "Platform/AudioToolbox/SoundMixer.h"

#include <algorithm>

void SoundMixer::play(Samples samples) {
    if (!samples) {
        return;
    }
    const std::lock_guard lock(_mutex);
    if (_voices.size() == kMaxVoices) {
        _voices.erase(_voices.begin());
    }
    _voices.push_back({std::move(samples)});
}

void SoundMixer::mix(std::span<float> output) {
    std::fill(output.begin(), output.end(), 0.0F);
    const std::lock_guard lock(_mutex);
    for (Voice &voice : _voices) {
        const std::size_t count = std::min(output.size(), voice.left());
        const float *samples = voice.samples->data() + voice.next;
        for (std::size_t i = 0; i < count; ++i) {
            output[i] += samples[i];
        }
        voice.next += count;
    }
    std::erase_if(_voices, [](const Voice &voice) { return voice.left() == 0; });
    for (float &sample : output) {
        sample = std::clamp(sample, -1.0F, 1.0F);
    }
}

std::size_t SoundMixer::framesLeft() const {
    const std::lock_guard lock(_mutex);
    std::size_t longest = 0;
    for (const Voice &voice : _voices) {
        longest = std::max(longest, voice.left());
    }
    return longest / kChannels;
}

void SoundMixer::stopAll() {
    const std::lock_guard lock(_mutex);
    _voices.clear();
}
