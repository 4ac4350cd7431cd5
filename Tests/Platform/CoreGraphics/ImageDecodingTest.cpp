#include "Platform/CoreGraphics/CGImage.h"

#include "Platform/CoreGraphics/PixelBuffer.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/CoreGraphics/PictureTesting.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <string_view>
#include <sys/resource.h>
#include <thread>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// A picture of 32 × 32 pixels in four quarters: the expected colours of top left, top right,
/// bottom left and bottom right, and how far the decoded ones may differ.
struct Quarters {
    const char *file;
    std::array<std::uint32_t, 4> pixels;
    int tolerance;
};

std::string nameOf(const Quarters &quarters) {
    std::string name(quarters.file);
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
    return name;
}

constexpr std::array<std::uint32_t, 4> kColors{0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffffff};
constexpr std::array<std::uint32_t, 4> kHalfClear{0xffff0000, 0xff00ff00, 0x80000080, 0x80808080};
constexpr std::array<std::uint32_t, 4> kGreys{0xff000000, 0xff555555, 0xffaaaaaa, 0xffffffff};
constexpr std::array<std::uint32_t, 4> kInks{0xff00ffff, 0xffff00ff, 0xffffff00, 0xff808080};

class Samples : public ::testing::TestWithParam<Quarters> {};

const Quarters kSamples[] = {
    {"quarters-444.jpg", kColors, 3},         {"quarters-420.jpg", kColors, 3},
    {"quarters-rgb.jpg", kColors, 3},         {"quarters-odd-sampling.jpg", kColors, 3},
    {"quarters-progressive.jpg", kColors, 3}, {"quarters-restarts.jpg", kColors, 3},
    {"quarters-arithmetic.jpg", kColors, 3},  {"quarters-grey.jpg", kGreys, 3},
    {"quarters-cmyk.jpg", kInks, 3},          {"quarters-ycck.jpg", kInks, 3},
    {"quarters-lossy.webp", kColors, 6},      {"quarters-lossy-alpha.webp", kHalfClear, 6},
};

bool isPremultiplied(const CGImage &image) {
    const std::uint32_t *const end = image.pixels() + image.width() * image.height();
    return std::all_of(image.pixels(), end, [](std::uint32_t pixel) {
        const std::uint32_t alpha = pixel >> 24;
        return (pixel >> 16 & 0xff) <= alpha && (pixel >> 8 & 0xff) <= alpha &&
               (pixel & 0xff) <= alpha;
    });
}

/// Pseudo-random numbers, the same on every run and machine.
class Numbers {
  public:
    std::size_t below(std::size_t limit) {
        _state = _state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<std::size_t>(_state >> 33) % limit;
    }

  private:
    std::uint64_t _state = 1;
};

Bytes mutated(Bytes bytes, Numbers &numbers) {
    for (std::size_t i = numbers.below(4); i < 4; ++i) {
        bytes[numbers.below(bytes.size())] = static_cast<std::uint8_t>(numbers.below(256));
    }
    return bytes;
}

/// By how many megabytes this process's peak memory grew while `work` ran.
template <class Work> long megabytesTakenBy(const Work &work) {
    const auto peak = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss / 1024;
    };
    const long before = peak();
    work();
    return peak() - before;
}

void putBigEndian(Bytes &bytes, std::size_t position, std::size_t value) {
    bytes.at(position) = static_cast<std::uint8_t>(value >> 8);
    bytes.at(position + 1) = static_cast<std::uint8_t>(value);
}

/// A JPEG sample whose header claims another size.
Bytes claiming(Bytes jpeg, std::size_t width, std::size_t height) {
    const std::array<std::uint8_t, 2> marker{0xff, 0xc0};
    const auto found = std::search(jpeg.begin(), jpeg.end(), marker.begin(), marker.end());
    const auto frame = static_cast<std::size_t>(found - jpeg.begin());
    putBigEndian(jpeg, frame + 5, height);
    putBigEndian(jpeg, frame + 7, width);
    return jpeg;
}

/// A compressed stream of 32 MiB of zeros, taken from an empty picture.
Bytes compressedZeros() {
    const std::vector<std::uint32_t> pixels(2048 * 4096);
    const Bytes file = encodePNG(pixels.data(), 2048, 4096, 2048, 1);
    Bytes stream;
    for (std::size_t position = 8; position < file.size();) {
        const std::size_t length = std::size_t{file[position + 1]} << 16 |
                                   std::size_t{file[position + 2]} << 8 | file[position + 3];
        const auto content = file.begin() + static_cast<long>(position + 8);
        if (std::equal(content - 4, content, "IDAT")) {
            stream.insert(stream.end(), content, content + static_cast<long>(length));
        }
        position += 12 + length;
    }
    return stream;
}

Bytes concatenated(std::string_view text, const Bytes &bytes) {
    Bytes result(text.begin(), text.end());
    result.insert(result.end(), bytes.begin(), bytes.end());
    return result;
}

Bytes cutTo(const Bytes &bytes, std::size_t size) {
    return {bytes.begin(), bytes.begin() + static_cast<long>(size)};
}

} // namespace

TEST_P(Samples, DecodeToTheColorsOfTheirQuarters) {
    const auto image = CGImageCreateWithData(samplePicture(GetParam().file));
    ASSERT_TRUE(image);
    ASSERT_EQ(image->width(), 32u);
    ASSERT_EQ(image->height(), 32u);
    for (std::size_t i = 0; i < 4; ++i) {
        const std::uint32_t found = pixelAt(*image, 8 + i % 2 * 16, 8 + i / 2 * 16);
        EXPECT_LE(differenceOf(found, GetParam().pixels[i]), GetParam().tolerance)
            << std::hex << found << " in quarter " << i;
    }
}

TEST_P(Samples, AreRefusedWhenTheyHaveMorePixelsThanTheCallerBears) {
    const Bytes file = samplePicture(GetParam().file);
    EXPECT_TRUE(CGImageCreateWithData(file, 32 * 32));
    EXPECT_FALSE(CGImageCreateWithData(file, 32 * 32 - 1));
}

TEST_P(Samples, AreRefusedWhenCutShortAnywhere) {
    const Bytes file = samplePicture(GetParam().file);
    for (std::size_t size = 0; size < file.size(); ++size) {
        ASSERT_FALSE(CGImageCreateWithData(cutTo(file, size))) << size << " of " << file.size();
    }
}

TEST_P(Samples, AreSoundPicturesOrNoneWhenDamaged) {
    const Bytes file = samplePicture(GetParam().file);
    Numbers numbers;
    testing::internal::CaptureStderr();
    for (int i = 0; i < 1000; ++i) {
        const auto image = CGImageCreateWithData(mutated(file, numbers));
        ASSERT_TRUE(!image || isPremultiplied(*image));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

INSTANTIATE_TEST_SUITE_P(All, Samples, ::testing::ValuesIn(kSamples),
                         [](const auto &info) { return nameOf(info.param); });

TEST(ImageDecoding, ReadsLosslessWebPExactly) {
    const auto image = CGImageCreateWithData(samplePicture("small-lossless.webp"));
    ASSERT_TRUE(image);
    ASSERT_EQ(image->width(), 7u);
    ASSERT_EQ(image->height(), 5u);
    const std::array<std::uint32_t, 3> alphas{255, 128, 0};
    for (std::uint32_t y = 0; y < 5; ++y) {
        for (std::uint32_t x = 0; x < 7; ++x) {
            const std::uint32_t alpha = alphas[(x + y) % 3];
            EXPECT_EQ(pixelAt(*image, x, y),
                      premultipliedPixel(x * 42, y * 63, (x + y) * 25, alpha));
        }
    }
}

TEST(ImageDecoding, RefusesLosslessWebPCutShortAnywhere) {
    const Bytes file = samplePicture("small-lossless.webp");
    for (std::size_t size = 0; size < file.size(); ++size) {
        ASSERT_FALSE(CGImageCreateWithData(cutTo(file, size))) << size << " of " << file.size();
    }
}

TEST(ImageDecoding, RefusesAnAnimation) {
    EXPECT_FALSE(CGImageCreateWithData(samplePicture("animated.webp")));
}

TEST(ImageDecoding, TakesInksWithoutAdobesMarkTheOtherWayRound) {
    Bytes file = samplePicture("quarters-cmyk.jpg");
    const std::string_view name = "Adobe";
    const auto mark = std::search(file.begin(), file.end(), name.begin(), name.end());
    ASSERT_NE(mark, file.end());
    *mark = 'a';
    const auto image = CGImageCreateWithData(file);
    ASSERT_TRUE(image);
    EXPECT_LE(differenceOf(pixelAt(*image, 8, 8), 0xff000000), 3);
    EXPECT_LE(differenceOf(pixelAt(*image, 24, 24), 0xff000000), 3);
}

TEST(ImageDecoding, RefusesBytesOfNoFormat) {
    EXPECT_FALSE(CGImageCreateWithData({}));
    EXPECT_FALSE(CGImageCreateWithData(Bytes{0}));
    EXPECT_FALSE(CGImageCreateWithData(Bytes(1000, 0xff)));
    EXPECT_FALSE(CGImageCreateWithData(concatenated("GIF89a", Bytes(100))));
    EXPECT_FALSE(CGImageCreateWithData(concatenated("BM", Bytes(100))));
    EXPECT_FALSE(CGImageCreateWithData(concatenated("RIFF....WAVE", Bytes(100))));
}

TEST(ImageDecoding, RefusesTheFirstBytesOfAFormatAlone) {
    EXPECT_FALSE(CGImageCreateWithData(Bytes{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}));
    EXPECT_FALSE(CGImageCreateWithData(Bytes{0xff, 0xd8, 0xff}));
    EXPECT_FALSE(CGImageCreateWithData(concatenated("RIFF....WEBP", {})));
}

TEST(ImageDecoding, TakesJPEGSidesUpToTheLargest) {
    const auto image = CGImageCreateWithData(samplePicture("side-16384.jpg"));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 16384u);
    EXPECT_EQ(pixelAt(*image, 16383, 0), 0xffc8c8c8);
    EXPECT_FALSE(CGImageCreateWithData(samplePicture("side-16385.jpg")));
}

TEST(ImageDecoding, RefusesManyPassesOverALargePicture) {
    EXPECT_FALSE(CGImageCreateWithData(samplePicture("many-scans.jpg")));
}

TEST(ImageDecoding, TakesNoMemoryForAPNGThatOnlyClaimsToBeLarge) {
    const auto file =
        PNGBuilder({16384, 4096}).chunk("IDAT", PNGBuilder::stored(Bytes(9))).finish();
    const auto run = [&] {
        const long taken = megabytesTakenBy([&] { EXPECT_FALSE(CGImageCreateWithData(file)); });
        std::_Exit(taken < 64 && !testing::Test::HasFailure() ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(ImageDecoding, TakesNoMemoryForAJPEGThatOnlyClaimsToBeLarge) {
    const auto file = claiming(samplePicture("quarters-444.jpg"), 16384, 4096);
    const auto run = [&] {
        const long taken = megabytesTakenBy([&] { EXPECT_FALSE(CGImageCreateWithData(file)); });
        std::_Exit(taken < 64 && !testing::Test::HasFailure() ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(ImageDecoding, TakesNoMemoryForAWebPThatOnlyClaimsToBeLarge) {
    Bytes file = samplePicture("quarters-lossy.webp");
    const std::array<std::uint8_t, 3> mark{0x9d, 0x01, 0x2a};
    const auto size = std::search(file.begin(), file.end(), mark.begin(), mark.end()) + 3;
    const std::array<std::uint8_t, 4> claim{0xff, 0x3f, 0x00, 0x10};
    std::copy(claim.begin(), claim.end(), size);
    const auto run = [&] {
        const long taken = megabytesTakenBy([&] { EXPECT_FALSE(CGImageCreateWithData(file)); });
        std::_Exit(taken < 64 && !testing::Test::HasFailure() ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(ImageDecoding, UnpacksNoTextAndNoMoreOfAProfileThanItTakes) {
    const Bytes bomb = compressedZeros();
    const std::string_view name("a\0\0", 3);
    const std::string_view international("a\0\1\0\0\0", 6);
    Bytes profile(132);
    putBigEndian(profile, 0, 0x0400); // 64 MiB
    const Bytes claim = PNGBuilder::stored(profile);
    const auto claiming = CGImageCreateWithData(PNGBuilder({1, 1})
                                                    .chunk("iCCP", concatenated(name, claim))
                                                    .pixels([](auto...) { return 255u; })
                                                    .finish());
    EXPECT_TRUE(claiming);
    const auto file = PNGBuilder({1, 1})
                          .chunk("iCCP", concatenated(name, bomb))
                          .chunk("zTXt", concatenated(name, bomb))
                          .chunk("iTXt", concatenated(international, bomb))
                          .pixels([](auto...) { return 255u; })
                          .chunk("zTXt", concatenated(name, bomb))
                          .finish();
    const auto run = [&] {
        const long taken = megabytesTakenBy([&] { EXPECT_TRUE(CGImageCreateWithData(file)); });
        std::_Exit(taken < 16 && !testing::Test::HasFailure() ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(ImageDecoding, DropsPixelsBeyondTheLastRow) {
    const auto file = PNGBuilder({16, 16}).chunk("IDAT", compressedZeros()).finish();
    const auto run = [&] {
        const long taken = megabytesTakenBy([&] { EXPECT_TRUE(CGImageCreateWithData(file)); });
        std::_Exit(taken < 16 && !testing::Test::HasFailure() ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(ImageDecoding, WorksOnSeveralThreadsAtOnce) {
    const Bytes jpeg = samplePicture("quarters-444.jpg");
    const Bytes webp = samplePicture("quarters-lossy.webp");
    std::vector<std::thread> threads;
    std::atomic<int> decoded = 0;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int n = 0; n < 20; ++n) {
                decoded += CGImageCreateWithData(i % 2 ? jpeg : webp) ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(decoded, 80);
}
