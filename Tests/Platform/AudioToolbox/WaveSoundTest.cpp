#include "Platform/AudioToolbox/WaveSound.h"

#include "Tests/Support/WaveFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Floats = std::vector<float>;

std::optional<WaveSound> decode(const WaveFile &file) { return WaveSound::decode(file.bytes()); }

/// The samples as the mixer gets them.
Floats samplesOf(const WaveFile &file) {
    const auto sound = decode(file);
    return sound ? sound->mixableSamples() : Floats();
}

WaveFile makeFile(std::uint16_t bits, Bytes samples, std::uint16_t encoding = WaveFile::PCM) {
    return {.encoding = encoding, .bitsPerSample = bits, .samples = std::move(samples)};
}

constexpr std::int16_t kShorts[] = {0, 1, -1, 16384, -32768, 32767};

const Floats kShortsAsFloats{0, 1 / 32768.0F, -1 / 32768.0F, 0.5F, -1, 32767 / 32768.0F};

void putWord(Bytes &bytes, std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
    }
}

/// Offsets in a file of the simplest kind.
constexpr std::size_t kFileSize = 4;
constexpr std::size_t kFormatSize = 16;
constexpr std::size_t kDataSize = 40;

} // namespace

TEST(WaveSound, ReadsWholeNumbersOf16Bits) {
    EXPECT_EQ(samplesOf(WaveFile::ofShorts(kShorts)), kShortsAsFloats);
}

TEST(WaveSound, ReadsFloatsAsTheyAre) {
    const Floats values{0, 0.1F, -0.7F, 1, -1, 0.33F};
    EXPECT_EQ(samplesOf(WaveFile::ofFloats(values)), values);
}

TEST(WaveSound, ReadsWholeNumbersOf8Bits) {
    EXPECT_EQ(samplesOf(makeFile(8, {128, 192, 0, 64})), (Floats{0, 0.5F, -1, -0.5F}));
}

TEST(WaveSound, ReadsWholeNumbersOf24Bits) {
    const Floats samples = samplesOf(makeFile(24, {0, 0, 0, 0, 0, 0x40, 0, 0, 0x80, 0, 0, 0xC0}));
    EXPECT_EQ(samples, (Floats{0, 0.5F, -1, -0.5F}));
}

TEST(WaveSound, ReadsWholeNumbersOf32Bits) {
    const Floats samples =
        samplesOf(makeFile(32, {0, 0, 0, 0, 0, 0, 0, 0x40, 0, 0, 0, 0x80, 0, 0, 0, 0xC0}));
    EXPECT_EQ(samples, (Floats{0, 0.5F, -1, -0.5F}));
}

TEST(WaveSound, ReadsALawAndMuLaw) {
    // The quietest and the loudest step of both signs.
    const Floats a = samplesOf(makeFile(8, {0xD5, 0x55, 0xAA, 0x2A}, WaveFile::ALaw));
    EXPECT_EQ(a, (Floats{8 / 32768.0F, -8 / 32768.0F, 32256 / 32768.0F, -32256 / 32768.0F}));
    const Floats mu = samplesOf(makeFile(8, {0xFF, 0x7F, 0x80, 0x00}, WaveFile::MuLaw));
    EXPECT_EQ(mu, (Floats{0, 0, 32124 / 32768.0F, -32124 / 32768.0F}));
}

TEST(WaveSound, ReadsIMAADPCM) {
    // One block of one channel: the first sample is 1000, and the steps of 0 are added to it.
    WaveFile file{.encoding = WaveFile::IMA,
                  .channels = 1,
                  .bitsPerSample = 4,
                  .moreFormat = {2, 0, 9, 0},
                  .samples = {0xE8, 0x03, 0, 0, 0, 0, 0, 0},
                  .blockSize = 8};
    const Floats samples = samplesOf(file);
    ASSERT_EQ(samples.size(), 18U);
    for (const float sample : samples) {
        EXPECT_EQ(sample, 1000 / 32768.0F);
    }
}

TEST(WaveSound, ReadsMicrosoftADPCM) {
    // One block of one channel: two samples, 2000 and 1000, and each next one is the one before
    // (coefficients 256 and 0).
    WaveFile file{.encoding = WaveFile::ADPCM,
                  .channels = 1,
                  .bitsPerSample = 4,
                  .moreFormat = {32, 0,   4, 0,  7, 0,   0, 1, 0, 0,   0, 2,  0,   255, 0, 0,  0,
                                 0,  192, 0, 64, 0, 240, 0, 0, 0, 204, 1, 48, 255, 136, 1, 24, 255},
                  .samples = {0, 16, 0, 0xD0, 0x07, 0xE8, 0x03, 0},
                  .blockSize = 8};
    EXPECT_EQ(samplesOf(file),
              (Floats{1000 / 32768.0F, 1000 / 32768.0F, 2000 / 32768.0F, 2000 / 32768.0F,
                      2000 / 32768.0F, 2000 / 32768.0F, 2000 / 32768.0F, 2000 / 32768.0F}));
}

TEST(WaveSound, ReadsTheExtendedDescription) {
    WaveFile file = WaveFile::ofShorts(kShorts);
    file.encoding = 0xFFFE;
    file.moreFormat = {22, 0, 16,   0, 3,    0, 0, 0,    1, 0,    0,    0,
                       0,  0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    EXPECT_EQ(samplesOf(file), kShortsAsFloats);
}

TEST(WaveSound, GivesASingleChannelToBothSides) {
    EXPECT_EQ(samplesOf(WaveFile::ofFloats(Floats{0.25F, -0.5F}, 1)),
              (Floats{0.25F, 0.25F, -0.5F, -0.5F}));
}

TEST(WaveSound, BringsOtherRatesToTheMixers) {
    constexpr double kHertz = 440;
    constexpr double kTurn = 2 * std::numbers::pi;
    Floats tone;
    for (int i = 0; i < 22'050; ++i) {
        tone.push_back(static_cast<float>(0.5 * std::sin(kTurn * kHertz * i / 44'100)));
    }
    const Floats samples = samplesOf(WaveFile::ofFloats(tone, 1, 44'100));
    ASSERT_NEAR(static_cast<double>(samples.size()), 48'000, 4);
    // Compares away from the ends, which the resampling filter smears.
    for (std::size_t frame = 100; frame < 23'900; ++frame) {
        const double expected =
            0.5 * std::sin(kTurn * kHertz * static_cast<double>(frame) / 48'000);
        ASSERT_NEAR(samples[2 * frame], expected, 0.002) << frame;
        ASSERT_EQ(samples[2 * frame], samples[2 * frame + 1]);
    }
}

TEST(WaveSound, SaysHowTheFileIs) {
    const auto sound = decode(WaveFile::ofShorts(kShorts, 1, 44'100));
    EXPECT_EQ(sound.value().channels(), 1);
    EXPECT_EQ(sound.value().framesPerSecond(), 44'100);
}

TEST(WaveSound, TakesWhatIsNoNumberForSilence) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(samplesOf(WaveFile::ofFloats(
                  Floats{0.5F, std::nanf(""), kInfinity, -kInfinity, 0.25F, 0.125F})),
              (Floats{0.5F, 0, 0, 0, 0.25F, 0.125F}));
}

TEST(WaveSound, SkipsChunksThatItDoesNotKnow) {
    const WaveFile file = WaveFile::ofShorts(kShorts);
    Bytes chunks = WaveFile::chunk("LIST", Bytes{1, 2, 3});
    for (const Bytes &chunk :
         {WaveFile::chunk("fmt ", file.format()), WaveFile::chunk("fact", Bytes(4)),
          WaveFile::chunk("data", file.samples), WaveFile::chunk("id3 ", Bytes(5))}) {
        chunks.insert(chunks.end(), chunk.begin(), chunk.end());
    }
    const auto sound = WaveSound::decode(WaveFile::wrapped(chunks));
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound->mixableSamples(), kShortsAsFloats);
}

TEST(WaveSound, IgnoresWhatComesBehindTheFile) {
    Bytes bytes = WaveFile::ofShorts(kShorts).bytes();
    bytes.insert(bytes.end(), 100, 0xFF);
    const auto sound = WaveSound::decode(bytes);
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound->mixableSamples(), kShortsAsFloats);
}

TEST(WaveSound, RefusesAFileThatIsCutOffAnywhere) {
    const Bytes bytes = WaveFile::ofShorts(kShorts).bytes();
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        // In an allocation of exactly this size, so that the address sanitizer sees a read past its
        // end.
        const Bytes part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(WaveSound::decode(part)) << size;
    }
}

TEST(WaveSound, RefusesSizesThatAreNotThere) {
    for (const std::size_t place : {kFileSize, kFormatSize, kDataSize}) {
        for (const std::uint32_t size : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF7U, 0xFFFFFFFFU}) {
            Bytes bytes = WaveFile::ofShorts(kShorts).bytes();
            putWord(bytes, place, size);
            EXPECT_FALSE(WaveSound::decode(bytes)) << place << ' ' << size;
        }
    }
}

TEST(WaveSound, RefusesAFileWithoutSamplesOrDescription) {
    const WaveFile file = WaveFile::ofShorts(kShorts);
    EXPECT_FALSE(WaveSound::decode({}));
    EXPECT_FALSE(WaveSound::decode(WaveFile::wrapped({})));
    EXPECT_FALSE(WaveSound::decode(WaveFile::wrapped(WaveFile::chunk("fmt ", file.format()))));
    EXPECT_FALSE(WaveSound::decode(WaveFile::wrapped(WaveFile::chunk("data", file.samples))));
    EXPECT_FALSE(decode(WaveFile::ofShorts({})));
    EXPECT_FALSE(decode(makeFile(16, {1, 2, 3})));
}

TEST(WaveSound, RefusesDescriptionsThatMakeNoSense) {
    const auto isRefused = [](auto change) {
        WaveFile file = WaveFile::ofShorts(kShorts);
        change(file);
        return !decode(file);
    };
    EXPECT_FALSE(isRefused([](WaveFile &) {}));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.encoding = 85; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.encoding = 0; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.encoding = WaveFile::Float; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.channels = 0; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.channels = 3; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.channels = 0xFFFF; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.framesPerSecond = 0; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.framesPerSecond = 999; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.framesPerSecond = 192'001; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.framesPerSecond = 0xFFFFFFFF; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.bitsPerSample = 0; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.bitsPerSample = 17; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.blockSize = 0; }));
    EXPECT_TRUE(isRefused([](WaveFile &f) { f.blockSize = 0xFFFF; }));
}

TEST(WaveSound, RefusesADescriptionThatIsTooShortOrTooLong) {
    const WaveFile file = WaveFile::ofShorts(kShorts);
    for (const std::size_t size : {0, 2, 15, 1025, 60'000}) {
        Bytes format = file.format();
        format.resize(size);
        Bytes chunks = WaveFile::chunk("fmt ", format);
        const Bytes data = WaveFile::chunk("data", file.samples);
        chunks.insert(chunks.end(), data.begin(), data.end());
        EXPECT_FALSE(WaveSound::decode(WaveFile::wrapped(chunks))) << size;
    }
}

TEST(WaveSound, RefusesWhatLastsTooLong) {
    const auto lasting = [](std::size_t frames) {
        WaveFile file = makeFile(8, Bytes(frames, 128));
        file.channels = 1;
        file.framesPerSecond = 1000;
        file.blockSize = 1;
        return file;
    };
    constexpr std::size_t kMaxFrames = 1000 * std::size_t{WaveSound::kMaxSeconds};
    EXPECT_TRUE(decode(lasting(kMaxFrames)));
    EXPECT_FALSE(decode(lasting(kMaxFrames + 1)));
}
