#include "Platform/CoreGraphics/CGImage.h"

#include "Platform/CoreGraphics/ColorConversion.h"
#include "Platform/CoreGraphics/PixelBuffer.h"
#include "Tests/Platform/CoreGraphics/EmbeddingPictures.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/CoreGraphics/PictureTesting.h"
#include "Tests/Platform/CoreGraphics/ProfileBuilder.h"

#include <bit>
#include <sys/resource.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// One level because a profile's numbers are rounded, and one because the result is.
constexpr int kTolerance = 2;

std::uint32_t levelOf(double value) { return static_cast<std::uint32_t>(std::lround(value * 255)); }

/// The sRGB pixel for components of that many bits.
std::uint32_t expectedPixel(const ColorSpace &space, const std::array<std::uint32_t, 3> &components,
                            double largest, std::uint32_t alpha = 255) {
    const Triple color =
        space.inSRGB({components[0] / largest, components[1] / largest, components[2] / largest});
    return premultipliedPixel(levelOf(color[0]), levelOf(color[1]), levelOf(color[2]), alpha);
}

Bytes fourBytes(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

Bytes hundredThousandths(double value) {
    return fourBytes(static_cast<std::uint32_t>(std::lround(value * 100000)));
}

Bytes chromaticities(const ColorSpace &space) {
    Bytes content;
    for (const Chromaticity &point : {space.white, space.red, space.green, space.blue}) {
        for (const double value : {point.x, point.y}) {
            const Bytes number = hundredThousandths(value);
            content.insert(content.end(), number.begin(), number.end());
        }
    }
    return content;
}

Bytes embedded(const Bytes &profile) {
    Bytes content{'x', 0, 0};
    const Bytes stream = PNGBuilder::stored(profile);
    content.insert(content.end(), stream.begin(), stream.end());
    return content;
}

using Chunks = std::vector<std::pair<std::string_view, Bytes>>;

Bytes pngWith(const PNGBuilder::Header &header, const Chunks &chunks,
              const std::function<std::uint32_t(std::uint32_t, std::uint32_t, int)> &sample) {
    PNGBuilder builder(header);
    for (const auto &[name, content] : chunks) {
        builder.chunk(name, content);
    }
    return builder.pixels(sample).finish();
}

/// 16 × 16 colours all over the RGB cube: red grows with x, green with y, and blue depends on both.
std::uint32_t cubeSample(std::uint32_t x, std::uint32_t y, int channel) {
    const std::uint32_t samples[] = {x * 17, y * 17, (x * 5 + y * 3) % 16 * 17, 255 - x * y};
    return samples[channel];
}

std::array<std::uint32_t, 3> cubeColor(std::uint32_t x, std::uint32_t y) {
    return {cubeSample(x, y, 0), cubeSample(x, y, 1), cubeSample(x, y, 2)};
}

void expectCube(const Bytes &file, const ColorSpace &space, int tolerance = kTolerance) {
    const auto image = CGImageCreateWithData(file);
    ASSERT_TRUE(image);
    for (std::uint32_t y = 0; y < 16; ++y) {
        for (std::uint32_t x = 0; x < 16; ++x) {
            const std::uint32_t expected =
                expectedPixel(space, cubeColor(x, y), 255, cubeSample(x, y, 3));
            ASSERT_LE(differenceOf(pixelAt(*image, x, y), expected), tolerance)
                << x << ", " << y << std::hex << " is " << pixelAt(*image, x, y) << ", should be "
                << expected;
        }
    }
}

Bytes cubeWith(const Chunks &chunks) { return pngWith({16, 16}, chunks, cubeSample); }

/// The picture equals the one without a colour description.
void expectUntouched(const Bytes &file) { expectCube(file, sRGB(), 0); }

} // namespace

TEST(PictureColors, OfDisplayP3AreConverted) {
    expectCube(cubeWith({{"iCCP", embedded(ProfileBuilder::displayP3())}}), displayP3());
}

TEST(PictureColors, OfAdobeRGBAreConverted) {
    expectCube(cubeWith({{"iCCP", embedded(ProfileBuilder::adobeRGB())}}), adobeRGB());
}

TEST(PictureColors, OfAGammaAndPrimariesAreConverted) {
    ColorSpace space = displayP3();
    space.light = [](double value) { return std::pow(value, 1.8); };
    expectCube(cubeWith({{"gAMA", hundredThousandths(1 / 1.8)}, {"cHRM", chromaticities(space)}}),
               space);
}

TEST(PictureColors, OfPrimariesAloneHaveTheUsualCurve) {
    expectCube(cubeWith({{"cHRM", chromaticities(displayP3())}}), displayP3());
}

TEST(PictureColors, OfAnotherWhiteKeepWhiteWhite) {
    ColorSpace space = sRGB();
    space.white = {0.3457, 0.3585};
    const auto file = cubeWith({{"cHRM", chromaticities(space)}});
    expectCube(file, space);
    EXPECT_EQ(expectedPixel(space, {255, 255, 255}, 255), 0xffffffff);
}

TEST(PictureColors, OfLinearLightAreEncoded) {
    for (const double gamma : {1.0, 1 / 1.4, 1 / 2.6, 1.25}) {
        expectCube(cubeWith({{"gAMA", hundredThousandths(gamma)}}), withGamma(gamma));
    }
}

TEST(PictureColors, OfGreysStayGrey) {
    const auto image = CGImageCreateWithData(
        pngWith({256, 1, 8, PNGBuilder::GreyAlpha},
                {{"gAMA", hundredThousandths(1)}, {"cHRM", chromaticities(adobeRGB())}},
                [](auto x, auto, int channel) { return channel == 0 ? x : 255; }));
    ASSERT_TRUE(image);
    for (std::uint32_t x = 0; x < 256; ++x) {
        const std::uint32_t pixel = pixelAt(*image, x, 0);
        EXPECT_EQ(pixel, 0xff000000 | (pixel & 0xff) * 0x010101);
        EXPECT_LE(differenceOf(pixel, expectedPixel(withGamma(1), {x, x, x}, 255)), 1) << x;
    }
}

TEST(PictureColors, OfAGreyProfileAreConverted) {
    const auto image = CGImageCreateWithData(
        pngWith({256, 1, 8, PNGBuilder::Grey},
                {{"iCCP", embedded(ProfileBuilder::grey(ProfileBuilder::powerCurve(256)))}},
                [](auto x, auto, int) { return x; }));
    ASSERT_TRUE(image);
    for (std::uint32_t x = 0; x < 256; ++x) {
        EXPECT_LE(differenceOf(pixelAt(*image, x, 0), expectedPixel(withGamma(1), {x, x, x}, 255)),
                  1)
            << x;
    }
}

TEST(PictureColors, OfAPaletteAreConverted) {
    const auto image = CGImageCreateWithData(
        pngWith({1, 1, 8, PNGBuilder::Palette},
                {{"gAMA", hundredThousandths(1)}, {"PLTE", {10, 100, 200}}, {"tRNS", {128}}},
                [](auto...) { return 0; }));
    ASSERT_TRUE(image);
    EXPECT_LE(
        differenceOf(pixelAt(*image, 0, 0), expectedPixel(withGamma(1), {10, 100, 200}, 255, 128)),
        1);
}

/// In dark colours, one level of 8 bits is as large as 13 levels of the encoded picture.
TEST(PictureColors, OfSixteenBitsAreConvertedBeforeTheyAreRounded) {
    const auto sample = [](std::uint32_t x, std::uint32_t y, int channel) {
        const std::uint32_t samples[] = {x * 97, y * 1777 + x, (x * y * 31) % 65536,
                                         65535 - x * 800};
        return samples[channel];
    };
    ColorSpace wide = displayP3();
    wide.light = withGamma(1).light;
    for (const ColorSpace &space : {withGamma(1), wide}) {
        for (const bool isInterlaced : {false, true}) {
            const auto image = CGImageCreateWithData(pngWith(
                {61, 33, 16, PNGBuilder::RGBA, isInterlaced},
                {{"gAMA", hundredThousandths(1)}, {"cHRM", chromaticities(space)}}, sample));
            ASSERT_TRUE(image);
            for (std::uint32_t y = 0; y < 33; ++y) {
                for (std::uint32_t x = 0; x < 61; ++x) {
                    const std::uint32_t alpha = levelOf(sample(x, y, 3) / 65535.0);
                    const std::uint32_t expected = expectedPixel(
                        space, {sample(x, y, 0), sample(x, y, 1), sample(x, y, 2)}, 65535, alpha);
                    ASSERT_LE(differenceOf(pixelAt(*image, x, y), expected), 1) << x << ", " << y;
                    ASSERT_EQ(pixelAt(*image, x, y) >> 24, alpha);
                }
            }
        }
    }
}

TEST(PictureColors, OfSixteenBitGreysAreConvertedBeforeTheyAreRounded) {
    for (const bool isInterlaced : {false, true}) {
        const auto image = CGImageCreateWithData(
            pngWith({256, 1, 16, PNGBuilder::Grey, isInterlaced}, {{"gAMA", hundredThousandths(1)}},
                    [](auto x, auto, int) { return x * 20; }));
        ASSERT_TRUE(image);
        for (std::uint32_t x = 0; x < 256; ++x) {
            const std::uint32_t value = x * 20;
            EXPECT_LE(differenceOf(pixelAt(*image, x, 0),
                                   expectedPixel(withGamma(1), {value, value, value}, 65535)),
                      1)
                << x;
        }
    }
}

TEST(PictureColors, ThatAreSaidToBeSRGBStayAsTheyAre) {
    expectUntouched(cubeWith({}));
    expectUntouched(cubeWith({{"sRGB", {0}}, {"gAMA", hundredThousandths(1)}}));
    expectUntouched(cubeWith({{"gAMA", hundredThousandths(0.45455)}}));
    expectUntouched(
        cubeWith({{"gAMA", hundredThousandths(0.45455)}, {"cHRM", chromaticities(sRGB())}}));
    expectUntouched(cubeWith(
        {{"iCCP", embedded(ProfileBuilder::ofSpace(sRGB(), ProfileBuilder::sRGBCurve()))}}));
}

TEST(PictureColors, AreThoseOfTheProfileWhateverGammaStandsBesideIt) {
    expectCube(cubeWith({{"iCCP", embedded(ProfileBuilder::displayP3())},
                         {"gAMA", hundredThousandths(0.45455)},
                         {"cHRM", chromaticities(sRGB())}}),
               displayP3());
}

TEST(PictureColors, StayAsTheyAreWhenTheDescriptionIsAbsurd) {
    expectUntouched(cubeWith({{"gAMA", fourBytes(0)}}));
    expectUntouched(cubeWith({{"gAMA", fourBytes(1000)}}));
    expectUntouched(cubeWith({{"gAMA", fourBytes(50'000'000)}}));
    expectUntouched(cubeWith({{"cHRM", Bytes(32)}}));
    ColorSpace flat = sRGB();
    flat.green = flat.red;
    expectUntouched(cubeWith({{"cHRM", chromaticities(flat)}}));
}

TEST(PictureColors, StayAsTheyAreWhenTheProfileIsDamaged) {
    const Bytes profile = ProfileBuilder::displayP3();
    for (std::size_t size = 0; size < profile.size(); size += 7) {
        const Bytes cut(profile.begin(), profile.begin() + static_cast<long>(size));
        expectUntouched(cubeWith({{"iCCP", embedded(cut)}}));
        const auto pixels = ColorConversion::Pixels::Colors;
        EXPECT_FALSE(ColorConversion::fromProfile(cut, pixels)) << size;
    }
}

TEST(PictureColors, StayAsTheyAreWhenTheProfileIsAbsurd) {
    const auto pixels = ColorConversion::Pixels::Colors;
    ColorSpace space = sRGB();
    EXPECT_FALSE(ColorConversion::fromProfile(
        ProfileBuilder::ofSpace(space, ProfileBuilder::powerCurve(0xffff)), pixels))
        << "nothing but black and white";
    const auto black = ProfileBuilder("mntr", "RGB ", "XYZ ")
                           .tag("rXYZ", ProfileBuilder::point({0, 0, 0}))
                           .tag("gXYZ", ProfileBuilder::point({0, 0, 0}))
                           .tag("bXYZ", ProfileBuilder::point({0, 0, 0}))
                           .tag("rTRC", ProfileBuilder::sRGBCurve())
                           .tag("gTRC", ProfileBuilder::sRGBCurve())
                           .tag("bTRC", ProfileBuilder::sRGBCurve())
                           .finish();
    EXPECT_FALSE(ColorConversion::fromProfile(black, pixels)) << "nothing but black";
}

TEST(PictureColors, AreNotThoseOfAProfileForOtherColors) {
    using Pixels = ColorConversion::Pixels;
    const Bytes color = ProfileBuilder::displayP3();
    const Bytes grey = ProfileBuilder::grey(ProfileBuilder::powerCurve(256));
    const Bytes press = ProfileBuilder::press();
    EXPECT_TRUE(ColorConversion::fromProfile(color, Pixels::Colors));
    EXPECT_TRUE(ColorConversion::fromProfile(grey, Pixels::Greys));
    EXPECT_TRUE(ColorConversion::fromProfile(press, Pixels::Inks));
    EXPECT_FALSE(ColorConversion::fromProfile(color, Pixels::Greys));
    EXPECT_FALSE(ColorConversion::fromProfile(color, Pixels::Inks));
    EXPECT_FALSE(ColorConversion::fromProfile(grey, Pixels::ColorWords));
    EXPECT_FALSE(ColorConversion::fromProfile(grey, Pixels::InvertedInks));
    EXPECT_FALSE(ColorConversion::fromProfile(press, Pixels::Colors));
}

TEST(PictureColors, AreNotThoseOfAProfileThatIsNoDevices) {
    Bytes profile = ProfileBuilder::displayP3();
    ASSERT_TRUE(ColorConversion::fromProfile(profile, ColorConversion::Pixels::Colors));
    for (const std::string_view kind : {"link", "abst", "nmcl", "what"}) {
        std::copy(kind.begin(), kind.end(), profile.begin() + 12);
        EXPECT_FALSE(ColorConversion::fromProfile(profile, ColorConversion::Pixels::Colors))
            << kind;
    }
}

TEST(PictureColors, AreNotThoseOfAProfileOfAnyNumberOfSteps) {
    const auto space = displayP3();
    const auto columns = transposed(adaptation(space.white.xyz(), kD50) * space.toXYZ());
    ProfileBuilder builder("mntr", "RGB ", "XYZ ");
    builder.tag("rXYZ", ProfileBuilder::point(columns[0]))
        .tag("gXYZ", ProfileBuilder::point(columns[1]))
        .tag("bXYZ", ProfileBuilder::point(columns[2]))
        .tag("rTRC", ProfileBuilder::sRGBCurve())
        .tag("gTRC", ProfileBuilder::sRGBCurve())
        .tag("bTRC", ProfileBuilder::sRGBCurve());
    EXPECT_TRUE(ColorConversion::fromProfile(builder.finish(), ColorConversion::Pixels::Colors));
    for (const char *chain : {"D2B0", "D2B1", "D2B2", "D2B3"}) {
        ProfileBuilder other = builder;
        other.tag(chain, Bytes(16));
        EXPECT_FALSE(ColorConversion::fromProfile(other.finish(), ColorConversion::Pixels::Colors))
            << chain;
    }
}

TEST(PictureColors, AreNotThoseOfAHugeProfile) {
    const auto profileOf = [](std::size_t padding) {
        return ProfileBuilder("mntr", "GRAY", "XYZ ")
            .tag("wtpt", ProfileBuilder::point(kD50))
            .tag("kTRC", ProfileBuilder::powerCurve(256))
            .tag("more", Bytes(padding))
            .finish();
    };
    const auto pixels = ColorConversion::Pixels::Greys;
    EXPECT_TRUE(ColorConversion::fromProfile(profileOf(4'000'000), pixels));
    EXPECT_FALSE(ColorConversion::fromProfile(profileOf(4 << 20), pixels));
}

/// A table of 255 levels for each of three colours would have 16 million entries.
TEST(PictureColors, TakeNoMemoryForAProfileThatOnlyClaimsToBeLarge) {
    Bytes table{'m', 'f', 't', '2', 0, 0, 0, 0, 3, 3, 255, 0};
    table.resize(200);
    const Bytes profile =
        ProfileBuilder("prtr", "RGB ", "XYZ ").tag("A2B0", table).tag("A2B1", table).finish();
    const auto run = [&] {
        const auto peak = [] {
            rusage usage{};
            getrusage(RUSAGE_SELF, &usage);
            return usage.ru_maxrss / 1024;
        };
        const long before = peak();
        EXPECT_FALSE(ColorConversion::fromProfile(profile, ColorConversion::Pixels::Colors));
        std::_Exit(peak() - before < 48 && !testing::Test::HasFailure() ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(PictureColors, OfJPEGAreThoseOfItsProfileHoweverManyPartsItHas) {
    const Bytes plain = samplePicture("quarters-444.jpg");
    const auto before = CGImageCreateWithData(plain);
    const Bytes profile = ProfileBuilder::displayP3();
    for (const std::size_t partSize : {std::size_t{60000}, std::size_t{100}}) {
        const int count = static_cast<int>((profile.size() + partSize - 1) / partSize);
        Bytes file = plain;
        for (int i = 0; i < count; ++i) {
            const auto rest = std::span(profile).subspan(static_cast<std::size_t>(i) * partSize);
            file = withSegment(
                file, 0xe2, profilePart(rest.first(std::min(rest.size(), partSize)), i + 1, count));
        }
        const auto after = CGImageCreateWithData(file);
        ASSERT_TRUE(before && after);
        for (NSUInteger i = 0; i < 32; ++i) {
            const std::uint32_t pixel = pixelAt(*before, i, i);
            const auto expected = expectedPixel(
                displayP3(), {pixel >> 16 & 0xff, pixel >> 8 & 0xff, pixel & 0xff}, 255);
            EXPECT_LE(differenceOf(pixelAt(*after, i, i), expected), kTolerance);
        }
        EXPECT_GT(differenceOf(pixelAt(*after, 24, 8), pixelAt(*before, 24, 8)), 0);
    }
}

TEST(PictureColors, OfJPEGStayAsTheyAreWhenAPartOfTheProfileIsMissing) {
    const Bytes plain = samplePicture("quarters-444.jpg");
    const auto before = CGImageCreateWithData(plain);
    const Bytes profile = ProfileBuilder::displayP3();
    for (const auto &[number, count] : {std::pair{1, 2}, {2, 2}, {2, 1}, {0, 1}, {1, 0}}) {
        const auto after =
            CGImageCreateWithData(withSegment(plain, 0xe2, profilePart(profile, number, count)));
        ASSERT_TRUE(after);
        EXPECT_EQ(pixelAt(*after, 24, 8), pixelAt(*before, 24, 8)) << number << " of " << count;
    }
    const auto withoutSecond = withSegment(withSegment(plain, 0xe2, profilePart({}, 3, 3)), 0xe2,
                                           profilePart(profile, 1, 3));
    EXPECT_EQ(pixelAt(*CGImageCreateWithData(withoutSecond), 24, 8), pixelAt(*before, 24, 8));
}

TEST(PictureColors, OfAGreyJPEGAreThoseOfItsProfile) {
    const Bytes plain = samplePicture("quarters-grey.jpg");
    const Bytes profile = ProfileBuilder::grey(ProfileBuilder::powerCurve(256));
    const auto before = CGImageCreateWithData(plain);
    const auto after = CGImageCreateWithData(withSegment(plain, 0xe2, profilePart(profile, 1, 1)));
    ASSERT_TRUE(after);
    const std::uint32_t value = pixelAt(*before, 24, 8) & 0xff;
    EXPECT_LE(differenceOf(pixelAt(*after, 24, 8),
                           expectedPixel(withGamma(1), {value, value, value}, 255)),
              1);
}

/// The corners of the ink cube are exact; the sample profile has nothing between them.
TEST(PictureColors, OfInksAreThoseOfTheirPress) {
    const Bytes part = profilePart(ProfileBuilder::press(), 1, 1);
    for (const char *name : {"quarters-cmyk.jpg", "quarters-ycck.jpg"}) {
        const auto image = CGImageCreateWithData(withSegment(samplePicture(name), 0xe2, part));
        ASSERT_TRUE(image);
        EXPECT_TRUE(image->isOpaque());
        EXPECT_LE(differenceOf(pixelAt(*image, 8, 8), 0xff00ffff), 8) << name;
        EXPECT_LE(differenceOf(pixelAt(*image, 24, 8), 0xffff00ff), 8) << name;
        EXPECT_LE(differenceOf(pixelAt(*image, 8, 24), 0xffffff00), 8) << name;
        // Half the light of white.
        EXPECT_LE(differenceOf(pixelAt(*image, 24, 24), 0xffbcbcbc), 8) << name;
    }
}

TEST(PictureColors, OfInksWithoutAdobesMarkAreThoseOfTheirPressToo) {
    Bytes file = samplePicture("quarters-cmyk.jpg");
    const std::string_view name = "Adobe";
    const auto mark = std::search(file.begin(), file.end(), name.begin(), name.end());
    ASSERT_NE(mark, file.end());
    *mark = 'a';
    const auto image =
        CGImageCreateWithData(withSegment(file, 0xe2, profilePart(ProfileBuilder::press(), 1, 1)));
    ASSERT_TRUE(image);
    EXPECT_LE(differenceOf(pixelAt(*image, 8, 8), 0xff000000), 8);
}

TEST(PictureColors, OfWebPAreThoseOfItsProfile) {
    const auto plain = samplePicture("small-lossless.webp");
    const auto image =
        CGImageCreateWithData(withChunks(plain, 7, 5, {{"ICCP", ProfileBuilder::displayP3()}}, {}));
    ASSERT_TRUE(image);
    const std::array<std::uint32_t, 3> alphas{255, 128, 0};
    for (std::uint32_t y = 0; y < 5; ++y) {
        for (std::uint32_t x = 0; x < 7; ++x) {
            const auto expected = expectedPixel(displayP3(), {x * 42, y * 63, (x + y) * 25}, 255,
                                                alphas[(x + y) % 3]);
            EXPECT_LE(differenceOf(pixelAt(*image, x, y), expected), kTolerance);
        }
    }
}
