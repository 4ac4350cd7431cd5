#include "Platform/AudioToolbox/SoundMixer.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

SoundMixer::Samples samples(std::vector<float> values) {
    return std::make_shared<const std::vector<float>>(std::move(values));
}

std::vector<float> mixed(SoundMixer &mixer, std::size_t count) {
    std::vector<float> output(count, 9);
    mixer.mix(output);
    return output;
}

using Floats = std::vector<float>;

} // namespace

TEST(SoundMixer, IsSilentAtFirst) {
    SoundMixer mixer;
    EXPECT_EQ(mixed(mixer, 4), Floats(4));
    EXPECT_EQ(mixer.framesLeft(), 0U);
}

TEST(SoundMixer, GivesExactlyTheSamplesAndThenSilence) {
    SoundMixer mixer;
    mixer.play(samples({0.1F, -0.2F, 0.3F, -0.4F}));
    EXPECT_EQ(mixed(mixer, 6), (Floats{0.1F, -0.2F, 0.3F, -0.4F, 0, 0}));
    EXPECT_EQ(mixed(mixer, 2), Floats(2));
}

TEST(SoundMixer, GoesOnWhereItStopped) {
    SoundMixer mixer;
    mixer.play(samples({0.1F, -0.2F, 0.3F, -0.4F, 0.5F, -0.6F}));
    EXPECT_EQ(mixer.framesLeft(), 3U);
    EXPECT_EQ(mixed(mixer, 2), (Floats{0.1F, -0.2F}));
    EXPECT_EQ(mixer.framesLeft(), 2U);
    EXPECT_EQ(mixed(mixer, 4), (Floats{0.3F, -0.4F, 0.5F, -0.6F}));
    EXPECT_EQ(mixer.framesLeft(), 0U);
}

TEST(SoundMixer, AddsSoundsUp) {
    SoundMixer mixer;
    mixer.play(samples({0.25F, 0.5F, 0.25F, 0.5F}));
    EXPECT_EQ(mixed(mixer, 2), (Floats{0.25F, 0.5F}));
    mixer.play(samples({-0.125F, 0.125F, 0.75F, 0.0625F}));
    EXPECT_EQ(mixer.framesLeft(), 2U);
    EXPECT_EQ(mixed(mixer, 6), (Floats{0.125F, 0.625F, 0.75F, 0.0625F, 0, 0}));
}

TEST(SoundMixer, PlaysOneSoundSeveralTimesAtOnce) {
    SoundMixer mixer;
    const auto sound = samples({0.25F, -0.125F});
    mixer.play(sound);
    mixer.play(sound);
    EXPECT_EQ(mixed(mixer, 2), (Floats{0.5F, -0.25F}));
}

TEST(SoundMixer, NeverExceedsFullVolume) {
    SoundMixer mixer;
    mixer.play(samples({0.75F, -0.75F}));
    mixer.play(samples({0.5F, -0.5F}));
    EXPECT_EQ(mixed(mixer, 2), (Floats{1, -1}));
}

TEST(SoundMixer, EndsTheFirstSoundWhenThereAreTooMany) {
    SoundMixer mixer;
    mixer.play(samples({1, 1}));
    for (std::size_t i = 0; i < SoundMixer::kMaxVoices; ++i) {
        mixer.play(samples({1 / 64.0F, 0}));
    }
    EXPECT_EQ(mixed(mixer, 2), (Floats{0.5F, 0}));
}

TEST(SoundMixer, TakesNothingForSilence) {
    SoundMixer mixer;
    mixer.play(nullptr);
    mixer.play(samples({}));
    EXPECT_EQ(mixer.framesLeft(), 0U);
    EXPECT_EQ(mixed(mixer, 2), Floats(2));
}

TEST(SoundMixer, IsSilentOnceItIsStopped) {
    SoundMixer mixer;
    mixer.play(samples({0.5F, 0.5F}));
    mixer.stopAll();
    EXPECT_EQ(mixer.framesLeft(), 0U);
    EXPECT_EQ(mixed(mixer, 2), Floats(2));
}
