#include "Platform/AudioToolbox/SoundOutput.h"

#include "Tests/Support/SoundListener.h"
#include "Tests/Support/WaveFile.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using Floats = std::vector<float>;

/// Samples that are all different and never 0.
Floats ramp(std::size_t count, float sign = 1) {
    Floats samples;
    for (std::size_t i = 0; i < count; ++i) {
        samples.push_back(sign * static_cast<float>(i + 1) / 262'144);
    }
    return samples;
}

std::shared_ptr<Sound> makeSound(const Floats &samples) {
    return std::make_shared<Sound>(WaveSound::decode(WaveFile::ofFloats(samples).bytes()).value());
}

class SoundOutputTest : public testing::Test {
  protected:
    /// All samples that were played until the device was closed after its idle time.
    Floats hearUntilIdle() {
        return SoundListener::withoutSilence(
            listener.readWhile([this] { output.waitUntilIdle(); }));
    }

    SoundListener listener;
    SoundOutput output{std::chrono::milliseconds(1)};
};

} // namespace

TEST_F(SoundOutputTest, PlaysExactlyTheSamplesAndGivesTheDeviceBack) {
    output.play(makeSound(ramp(10'000)));
    EXPECT_EQ(hearUntilIdle(), ramp(10'000));
}

TEST_F(SoundOutputTest, OpensTheDeviceAnewForALaterSound) {
    output.play(makeSound(ramp(500)));
    EXPECT_EQ(hearUntilIdle(), ramp(500));
    output.play(makeSound(ramp(700, -1)));
    EXPECT_EQ(hearUntilIdle(), ramp(700, -1));
}

// The first sound is still playing: the device waits until it is heard. All sums are exact.
TEST_F(SoundOutputTest, MixesASoundIntoTheOneThatPlays) {
    const Floats first = ramp(100'000);
    output.play(makeSound(first));
    EXPECT_EQ(listener.readSound(1000), ramp(1000));
    const Floats second = ramp(2000, -0.25F);
    output.play(makeSound(second));
    const Floats rest = listener.readWhile([this] { output.waitUntilIdle(); });
    ASSERT_GE(rest.size(), first.size() - 1000);
    Floats added = rest;
    for (std::size_t i = 1000; i < first.size(); ++i) {
        added[i - 1000] -= first[i];
    }
    EXPECT_EQ(SoundListener::withoutSilence(added), second);
}

TEST_F(SoundOutputTest, PlaysOneSoundAsOftenAsItIsAskedTo) {
    const auto sound = makeSound(ramp(1000, 0.25F));
    output.play(sound);
    EXPECT_EQ(hearUntilIdle(), ramp(1000, 0.25F));
    output.play(sound);
    EXPECT_EQ(hearUntilIdle(), ramp(1000, 0.25F));
}

TEST_F(SoundOutputTest, ForgetsWhatPlayedWhenItIsClosed) {
    output.play(makeSound(Floats(2'000'000, 0.5F)));
    EXPECT_EQ(listener.readSound(100), Floats(100, 0.5F));
    listener.readWhile([this] { output.close(); });
    output.play(makeSound(ramp(100)));
    EXPECT_EQ(hearUntilIdle(), ramp(100));
}

TEST_F(SoundOutputTest, MayBeClosedWithoutEverHavingPlayed) {
    output.close();
    output.waitUntilIdle();
    output.play(makeSound(ramp(100)));
    EXPECT_EQ(hearUntilIdle(), ramp(100));
}

TEST_F(SoundOutputTest, ClosesWhenItGoes) {
    auto another = std::make_unique<SoundOutput>(std::chrono::hours(1));
    another->play(makeSound(ramp(100)));
    EXPECT_EQ(listener.readSound(100), ramp(100));
    const Floats rest = listener.readWhile([&] { another = nullptr; });
    EXPECT_TRUE(SoundListener::withoutSilence(rest).empty());
}

TEST_F(SoundOutputTest, IsSilentWithoutADevice) {
    setenv("SDL_AUDIODRIVER", "no such driver", 1);
    output.play(makeSound(ramp(100)));
    output.waitUntilIdle();
    setenv("SDL_AUDIODRIVER", "disk", 1);
    output.play(makeSound(ramp(200)));
    EXPECT_EQ(hearUntilIdle(), ramp(200));
}
