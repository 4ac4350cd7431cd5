#include "Animation/Common/SoundPlay.h"

#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SoundListener.h"
#include "Tests/Support/WaveFile.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

constexpr const char *kOwnSound = "/Library/Application Support/Scenebook2N/res/Reed/splash1.wav";

/// The path of the host's own sound in this test; empty where the file is missing, as on most
/// systems.
std::string ownSound;

/// The paths of the sounds that were registered.
std::vector<std::string> registered;

} // namespace

/// Overrides the platform's function for the wallpaper library too, because no test can put a file
/// at the fixed path.
__attribute__((visibility("default"))) OSStatus
AudioServicesCreateSystemSoundID(const NSURL *file, SystemSoundID *sound) {
    using Function = OSStatus (*)(const NSURL *, SystemSoundID *);
    static const auto platforms = reinterpret_cast<Function>(
        dlsym(RTLD_NEXT, "_Z32AudioServicesCreateSystemSoundIDPK5NSURLPj"));
    registered.push_back(file->path());
    const bool isReplaced = file->path() == kOwnSound && !ownSound.empty();
    return isReplaced ? platforms(NSURL::fileURLWithPath(ownSound).get(), sound)
                      : platforms(file, sound);
}

namespace {

using Floats = std::vector<float>;

class SoundPlayTest : public testing::Test {
  protected:
    /// Registers a sound of that many equal samples.
    SystemSoundID create(float loudness, std::size_t count = 600) const {
        const Floats samples(count, loudness);
        const auto url =
            NSURL::fileURLWithPath(folder.write("sound.wav", WaveFile::ofFloats(samples).bytes()));
        SystemSoundID sound = 0;
        EXPECT_EQ(AudioServicesCreateSystemSoundID(url.get(), &sound), 0);
        return sound;
    }

    /// Plays a marker directly and expects to hear nothing but it.
    void expectSilence() {
        AudioServicesPlaySystemSound(create(0.125F));
        EXPECT_EQ(listener.readSound(600), Floats(600, 0.125F));
        const Floats rest = listener.readWhile(AudioServicesCloseDevice);
        EXPECT_TRUE(SoundListener::withoutSilence(rest).empty());
    }

    TemporaryFolder folder;
    SoundListener listener;
    Retained<SoundPlay> player = makeRetained<SoundPlay>();
};

} // namespace

TEST_F(SoundPlayTest, IsOffAtFirstAndPlaysNothing) {
    EXPECT_FALSE(player->is_turnON());
    EXPECT_EQ(player->volume(), 0.0F);
    EXPECT_EQ(player->soundID(), 0U);
    player->playSysSound(create(0.5F));
    expectSilence();
}

TEST_F(SoundPlayTest, IsOnAndAtFullVolumeOnceItIsSetUp) {
    player->initSound();
    EXPECT_TRUE(player->is_turnON());
    EXPECT_EQ(player->volume(), 1.0F);
}

/// The path belongs to a host of another system; here nothing should lie there.
TEST_F(SoundPlayTest, WithoutItsFileKeepsTheIdentifierThatItHad) {
    if (std::filesystem::exists("/Library/Application Support/Scenebook2N")) {
        GTEST_SKIP() << "needs a system without that file";
    }
    player->initSound();
    EXPECT_EQ(player->soundID(), 0U);
    player->playSysSound(player->soundID());
    expectSilence();
    player->setSoundID(77);
    player->initSound();
    EXPECT_EQ(player->soundID(), 77U);
    player->setSoundID(0);
}

TEST_F(SoundPlayTest, RegistersItsSoundOnceAndOnItsPath) {
    ownSound = folder.write("own.wav", WaveFile::ofFloats(Floats(600, 0.5F)).bytes());
    registered.clear();
    player->initSound();
    ownSound.clear();
    ASSERT_EQ(registered, std::vector<std::string>{kOwnSound});
    const SystemSoundID own = player->soundID();
    ASSERT_NE(own, 0U);
    player->playSysSound(own);
    EXPECT_EQ(listener.readSound(600), Floats(600, 0.5F));
    listener.readWhile(AudioServicesCloseDevice);
    player = nullptr;
    EXPECT_NE(AudioServicesDisposeSystemSoundID(own), 0) << "it was disposed of";
}

TEST_F(SoundPlayTest, PlaysWhateverSoundItIsAskedTo) {
    player->initSound();
    player->setSoundID(create(0.5F));
    player->playSysSound(create(0.25F));
    EXPECT_EQ(listener.readSound(600), Floats(600, 0.25F));
    player->playSysSound(player->soundID());
    EXPECT_EQ(listener.readSound(600), Floats(600, 0.5F));
    listener.readWhile(AudioServicesCloseDevice);
}

TEST_F(SoundPlayTest, ASwitchSilencesIt) {
    player->initSound();
    player->setSoundSwitch(false);
    EXPECT_FALSE(player->is_turnON());
    player->playSysSound(create(0.5F));
    expectSilence();
    player->setSoundSwitch(true);
    EXPECT_TRUE(player->is_turnON());
    player->playSysSound(create(0.5F));
    EXPECT_EQ(listener.readSound(600), Floats(600, 0.5F));
    listener.readWhile(AudioServicesCloseDevice);
}

TEST_F(SoundPlayTest, KeepsAVolumeThatNothingApplies) {
    player->initSound();
    for (const float volume : {0.0F, -3.0F, 0.3F}) {
        player->setUIVolume(volume);
        EXPECT_EQ(player->volume(), volume);
    }
    player->playSysSound(create(0.5F));
    EXPECT_EQ(listener.readSound(600), Floats(600, 0.5F));
    listener.readWhile(AudioServicesCloseDevice);
}

TEST_F(SoundPlayTest, StoppingAllMusicStopsNothing) {
    player->initSound();
    player->playSysSound(create(0.5F, 200'000));
    EXPECT_EQ(listener.readSound(1000), Floats(1000, 0.5F));
    player->stopAllMusic();
    EXPECT_EQ(listener.readSound(199'000), Floats(199'000, 0.5F));
    EXPECT_TRUE(player->is_turnON());
    listener.readWhile(AudioServicesCloseDevice);
}

TEST_F(SoundPlayTest, PropertiesAreWhatTheyWereSetTo) {
    player->setIs_turnON(true);
    player->setVolume(0.75F);
    player->setSoundID(0xFFFFFFFF);
    EXPECT_TRUE(player->is_turnON());
    EXPECT_EQ(player->volume(), 0.75F);
    EXPECT_EQ(player->soundID(), 0xFFFFFFFFU);
}

TEST_F(SoundPlayTest, DisposesOfItsSoundWhenItGoes) {
    const SystemSoundID own = create(0.5F);
    const SystemSoundID other = create(0.25F);
    player->setSoundID(own);
    player = nullptr;
    EXPECT_NE(AudioServicesDisposeSystemSoundID(own), 0);
    EXPECT_EQ(AudioServicesDisposeSystemSoundID(other), 0);
}
