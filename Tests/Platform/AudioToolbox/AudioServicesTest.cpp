#include "Platform/AudioToolbox/AudioServices.h"

#include "Platform/Foundation/SimulatedClock.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SoundListener.h"
#include "Tests/Support/WaveFile.h"

#include <gtest/gtest.h>

namespace {

using Floats = std::vector<float>;

class AudioServicesTest : public testing::Test {
  protected:
    /// A WAV file of that many equal samples.
    Retained<NSURL> write(const char *name, float loudness, std::size_t count = 600) const {
        const Floats samples(count, loudness);
        return NSURL::fileURLWithPath(folder.write(name, WaveFile::ofFloats(samples).bytes()));
    }

    SystemSoundID create(const char *name, float loudness) const {
        SystemSoundID sound = 0;
        EXPECT_EQ(AudioServicesCreateSystemSoundID(write(name, loudness).get(), &sound), 0);
        return sound;
    }

    /// Plays a known sound, and expects that nothing is heard before it.
    Floats hearWithMark(std::size_t count = 600) {
        AudioServicesPlaySystemSound(mark);
        const Floats heard = listener.readSound(count);
        const Floats rest = listener.readWhile(AudioServicesCloseDevice);
        EXPECT_TRUE(SoundListener::withoutSilence(rest).empty());
        return heard;
    }

    const Floats markAlone = Floats(600, 0.125F);

    TemporaryFolder folder;
    SoundListener listener;
    SystemSoundID mark = create("mark.wav", 0.125F);
};

} // namespace

TEST_F(AudioServicesTest, GivesEverySoundAnIdentifierOfItsOwn) {
    const SystemSoundID first = create("first.wav", 0.5F);
    const SystemSoundID second = create("first.wav", 0.5F);
    EXPECT_NE(first, 0U);
    EXPECT_NE(second, 0U);
    EXPECT_NE(first, second);
}

TEST_F(AudioServicesTest, PlaysTheFile) { EXPECT_EQ(hearWithMark(), markAlone); }

TEST_F(AudioServicesTest, PlaysWhatTheFileWasWhenItWasRegistered) {
    const SystemSoundID sound = create("sound.wav", 0.5F);
    write("sound.wav", 0.25F);
    AudioServicesPlaySystemSound(sound);
    EXPECT_EQ(listener.readSound(600), Floats(600, 0.5F));
    listener.readWhile(AudioServicesCloseDevice);
}

TEST_F(AudioServicesTest, HandsSoundsToASinkInsteadOfTheDevice) {
    const SystemSoundID sound = create("sound.wav", 0.5F);
    std::vector<std::string> paths;
    AudioServicesSetSink([&](const std::string &path) { paths.push_back(path); });
    AudioServicesPlaySystemSound(sound);
    AudioServicesPlaySystemSound(sound + 1);
    AudioServicesSetSink(nullptr);
    EXPECT_EQ(paths, std::vector<std::string>{folder.pathOf("sound.wav")});
    EXPECT_EQ(hearWithMark(), markAlone);
}

TEST_F(AudioServicesTest, MixesTwoSounds) {
    const SystemSoundID other = create("other.wav", 0.25F);
    AudioServicesPlaySystemSound(other);
    AudioServicesPlaySystemSound(mark);
    // The sounds may start one buffer apart.
    const Floats heard = listener.readSound(600);
    const bool isTogether = heard == Floats(600, 0.375F);
    const bool isApart = heard == Floats(600, 0.25F);
    EXPECT_TRUE(isTogether || isApart);
    if (isApart) {
        EXPECT_EQ(listener.readSound(600), markAlone);
    }
    listener.readWhile(AudioServicesCloseDevice);
}

TEST_F(AudioServicesTest, AMissingFileIsRefusedAndLeavesTheIdentifier) {
    SystemSoundID sound = 7;
    const auto url = NSURL::fileURLWithPath(folder.pathOf("missing.wav"));
    EXPECT_NE(AudioServicesCreateSystemSoundID(url.get(), &sound), 0);
    EXPECT_EQ(sound, 7U);
}

TEST_F(AudioServicesTest, RefusesWhatIsNoSound) {
    SystemSoundID sound = 7;
    for (const std::string &path :
         {folder.write("text.wav", "no sound at all"), folder.write("empty.wav", ""),
          folder.makeFolder("folder.wav")}) {
        EXPECT_NE(AudioServicesCreateSystemSoundID(NSURL::fileURLWithPath(path).get(), &sound), 0);
    }
    EXPECT_NE(AudioServicesCreateSystemSoundID(nullptr, &sound), 0);
    EXPECT_EQ(sound, 7U);
    EXPECT_NE(AudioServicesCreateSystemSoundID(write("sound.wav", 1).get(), nullptr), 0);
}

TEST_F(AudioServicesTest, AnUnknownIdentifierIsSilent) {
    AudioServicesPlaySystemSound(0);
    AudioServicesPlaySystemSound(mark + 1000);
    EXPECT_EQ(hearWithMark(), markAlone);
}

TEST_F(AudioServicesTest, ADisposedSoundIsSilent) {
    const SystemSoundID sound = create("sound.wav", 0.5F);
    EXPECT_EQ(AudioServicesDisposeSystemSoundID(sound), 0);
    EXPECT_NE(AudioServicesDisposeSystemSoundID(sound), 0);
    AudioServicesPlaySystemSound(sound);
    EXPECT_EQ(hearWithMark(), markAlone);
}

TEST_F(AudioServicesTest, ASoundThatIsDisposedOfWhileItPlaysGoesOn) {
    SystemSoundID sound = 0;
    AudioServicesCreateSystemSoundID(write("long.wav", 0.5F, 200'000).get(), &sound);
    AudioServicesPlaySystemSound(sound);
    EXPECT_EQ(listener.readSound(1000), Floats(1000, 0.5F));
    AudioServicesDisposeSystemSoundID(sound);
    EXPECT_EQ(listener.readSound(199'000), Floats(199'000, 0.5F));
    listener.readWhile(AudioServicesCloseDevice);
}

TEST_F(AudioServicesTest, NothingIsHeardWhileTimeIsSimulated) {
    {
        SimulatedClock clock;
        Clock::setCurrent(&clock);
        AudioServicesPlaySystemSound(create("sound.wav", 0.5F));
        Clock::setCurrent(nullptr);
    }
    EXPECT_EQ(hearWithMark(), markAlone);
}

TEST_F(AudioServicesTest, ClosingWhatNeverPlayedDoesNothing) {
    AudioServicesCloseDevice();
    AudioServicesCloseDevice();
    EXPECT_EQ(hearWithMark(), markAlone);
}
