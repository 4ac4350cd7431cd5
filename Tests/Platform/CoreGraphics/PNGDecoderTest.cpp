#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/CoreGraphics/PixelBuffer.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/CoreGraphics/PictureTesting.h"

#include <cmath>

namespace {

using Bytes = PNGBuilder::Bytes;
using ColorType = PNGBuilder::ColorType;

struct Kind {
    ColorType colorType;
    int bitDepth;
    bool isInterlaced;
};

std::string nameOf(const Kind &kind) {
    const char *const names[] = {"Grey", "", "RGB", "Palette", "GreyAlpha", "", "RGBA"};
    return names[kind.colorType] + std::to_string(kind.bitDepth) +
           (kind.isInterlaced ? "Interlaced" : "");
}

constexpr std::uint32_t kWidth = 13;
constexpr std::uint32_t kHeight = 11;

/// Sample values over the whole range, different in every channel.
std::uint32_t sampleAt(const Kind &kind, std::uint32_t x, std::uint32_t y, int channel) {
    const std::uint32_t value = (x * 2741 + y * 40503 + 1) * (static_cast<unsigned>(channel) + 1);
    return value * 2654435761u >> (32 - kind.bitDepth);
}

std::uint32_t eightBits(std::uint32_t value, int bitDepth) {
    const double largest = (1u << bitDepth) - 1;
    return static_cast<std::uint32_t>(std::lround(value * 255 / largest));
}

struct PaletteEntry {
    std::uint8_t red, green, blue, alpha;
};

PaletteEntry paletteEntry(std::uint32_t index) {
    const auto value = static_cast<std::uint8_t>(index * 7 + 3);
    return {value, static_cast<std::uint8_t>(~value), static_cast<std::uint8_t>(value * 5),
            static_cast<std::uint8_t>(index < 3 ? index * 100 : 255)};
}

void addPalette(PNGBuilder &builder, int bitDepth) {
    Bytes colors, alphas;
    for (std::uint32_t i = 0; i < 1u << bitDepth; ++i) {
        const PaletteEntry entry = paletteEntry(i);
        colors.insert(colors.end(), {entry.red, entry.green, entry.blue});
        alphas.push_back(entry.alpha);
    }
    alphas.resize(std::min<std::size_t>(alphas.size(), 3));
    builder.chunk("PLTE", colors).chunk("tRNS", alphas);
}

std::uint32_t expectedPixel(const Kind &kind, std::uint32_t x, std::uint32_t y) {
    const auto value = [&](int channel) {
        return eightBits(sampleAt(kind, x, y, channel), kind.bitDepth);
    };
    switch (kind.colorType) {
    case PNGBuilder::Grey:
        return premultipliedPixel(value(0), value(0), value(0), 255);
    case PNGBuilder::GreyAlpha:
        return premultipliedPixel(value(0), value(0), value(0), value(1));
    case PNGBuilder::RGB:
        return premultipliedPixel(value(0), value(1), value(2), 255);
    case PNGBuilder::RGBA:
        return premultipliedPixel(value(0), value(1), value(2), value(3));
    case PNGBuilder::Palette:
        break;
    }
    const PaletteEntry entry = paletteEntry(sampleAt(kind, x, y, 0));
    return premultipliedPixel(entry.red, entry.green, entry.blue, entry.alpha);
}

Bytes pictureOf(const Kind &kind) {
    PNGBuilder builder({kWidth, kHeight, kind.bitDepth, kind.colorType, kind.isInterlaced});
    if (kind.colorType == PNGBuilder::Palette) {
        addPalette(builder, kind.bitDepth);
    }
    return builder
        .pixels([&](auto x, auto y, int channel) { return sampleAt(kind, x, y, channel); })
        .finish();
}

class PNGKinds : public ::testing::TestWithParam<Kind> {};

std::vector<Kind> everyKind() {
    std::vector<Kind> kinds;
    for (const bool isInterlaced : {false, true}) {
        for (const int bitDepth : {1, 2, 4, 8, 16}) {
            kinds.push_back({PNGBuilder::Grey, bitDepth, isInterlaced});
            if (bitDepth <= 8) {
                kinds.push_back({PNGBuilder::Palette, bitDepth, isInterlaced});
            }
            if (bitDepth >= 8) {
                kinds.push_back({PNGBuilder::RGB, bitDepth, isInterlaced});
                kinds.push_back({PNGBuilder::GreyAlpha, bitDepth, isInterlaced});
                kinds.push_back({PNGBuilder::RGBA, bitDepth, isInterlaced});
            }
        }
    }
    return kinds;
}

/// One pixel with some chunks before its data.
template <class... Content>
Retained<CGImage> decodeWithChunks(const PNGBuilder::Header &header, std::uint32_t sample,
                                   const Content &...chunks) {
    PNGBuilder builder(header);
    (builder.chunk(chunks.first, chunks.second), ...);
    return CGImageCreateWithData(builder.pixels([&](auto...) { return sample; }).finish());
}

using Chunk = std::pair<std::string_view, Bytes>;

} // namespace

TEST_P(PNGKinds, DecodeToExactPixels) {
    const auto image = CGImageCreateWithData(pictureOf(GetParam()));
    ASSERT_TRUE(image);
    ASSERT_EQ(image->width(), kWidth);
    ASSERT_EQ(image->height(), kHeight);
    for (std::uint32_t y = 0; y < kHeight; ++y) {
        for (std::uint32_t x = 0; x < kWidth; ++x) {
            ASSERT_EQ(pixelAt(*image, x, y), expectedPixel(GetParam(), x, y)) << x << ", " << y;
        }
    }
}

TEST_P(PNGKinds, AreRefusedWhenCutShortAnywhere) {
    const Bytes file = pictureOf(GetParam());
    for (std::size_t size = 0; size < file.size(); ++size) {
        const Bytes cut(file.begin(), file.begin() + static_cast<long>(size));
        ASSERT_FALSE(CGImageCreateWithData(cut)) << size << " of " << file.size();
    }
}

INSTANTIATE_TEST_SUITE_P(All, PNGKinds, ::testing::ValuesIn(everyKind()),
                         [](const auto &info) { return nameOf(info.param); });

TEST(PNGDecoding, PremultipliesEveryColorWithEveryAlpha) {
    const auto file = PNGBuilder({256, 256})
                          .pixels([](auto x, auto y, int channel) { return channel < 3 ? x : y; })
                          .finish();
    const auto image = CGImageCreateWithData(file);
    ASSERT_TRUE(image);
    for (std::uint32_t alpha = 0; alpha < 256; ++alpha) {
        for (std::uint32_t color = 0; color < 256; ++color) {
            const auto scaled = static_cast<std::uint32_t>(std::lround(color * alpha / 255.0));
            ASSERT_EQ(pixelAt(*image, color, alpha),
                      alpha << 24 | scaled << 16 | scaled << 8 | scaled);
        }
    }
}

TEST(PNGDecoding, MakesTheTransparentGreyClear) {
    const auto image = CGImageCreateWithData(PNGBuilder({4, 1, 2, PNGBuilder::Grey})
                                                 .chunk("tRNS", {0, 2})
                                                 .pixels([](auto x, auto, int) { return x; })
                                                 .finish());
    ASSERT_TRUE(image);
    EXPECT_EQ(pixelAt(*image, 1, 0), 0xff555555);
    EXPECT_EQ(pixelAt(*image, 2, 0), 0u);
    EXPECT_EQ(pixelAt(*image, 3, 0), 0xffffffff);
}

TEST(PNGDecoding, ComparesTheTransparentColorInAllSixteenBits) {
    const auto image =
        CGImageCreateWithData(PNGBuilder({2, 1, 16, PNGBuilder::RGB})
                                  .chunk("tRNS", {0x80, 0x80, 0x80, 0x80, 0x80, 0x80})
                                  .pixels([](auto x, auto, int) { return 0x8080u + x; })
                                  .finish());
    ASSERT_TRUE(image);
    EXPECT_EQ(pixelAt(*image, 0, 0), 0u);
    EXPECT_EQ(pixelAt(*image, 1, 0), 0xff808080);
}

TEST(PNGDecoding, DoesNotMindDamagedDescriptions) {
    const Bytes junk{1, 2, 3, 0, 5, 6, 7, 0xff, 9};
    const auto image = decodeWithChunks(
        {1, 1, 8, PNGBuilder::Grey}, 7, Chunk("gAMA", junk), Chunk("cHRM", junk),
        Chunk("iCCP", junk), Chunk("sRGB", junk), Chunk("bKGD", junk), Chunk("pHYs", junk),
        Chunk("tIME", junk), Chunk("zTXt", junk), Chunk("eXIf", junk), Chunk("abCd", junk));
    ASSERT_TRUE(image);
    EXPECT_EQ(pixelAt(*image, 0, 0), 0xff070707);
}

TEST(PNGDecoding, RefusesAnUnknownChunkThatMatters) {
    EXPECT_FALSE(decodeWithChunks({1, 1, 8, PNGBuilder::Grey}, 7, Chunk("ABCD", {1})));
}

TEST(PNGDecoding, RefusesAPaletteImageWithoutAPalette) {
    EXPECT_FALSE(decodeWithChunks({1, 1, 8, PNGBuilder::Palette}, 0));
}

TEST(PNGDecoding, RefusesEverySingleWrongBitInPixelsAndHeader) {
    const Bytes file = pictureOf({PNGBuilder::RGBA, 8, false});
    for (std::size_t bit = 0; bit < file.size() * 8; ++bit) {
        Bytes damaged = file;
        damaged[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
        ASSERT_FALSE(CGImageCreateWithData(damaged)) << "byte " << bit / 8;
    }
}

TEST(PNGDecoding, RefusesTooFewPixels) {
    const auto file = PNGBuilder({2, 2, 8, PNGBuilder::Grey})
                          .chunk("IDAT", PNGBuilder::stored(Bytes{0, 1, 2}))
                          .finish();
    EXPECT_FALSE(CGImageCreateWithData(file));
}

TEST(PNGDecoding, TakesSidesUpToTheLargest) {
    const auto decodeGrey = [](std::uint32_t width, std::uint32_t height) {
        return decodeWithChunks({width, height, 8, PNGBuilder::Grey}, 9);
    };
    EXPECT_TRUE(decodeGrey(16384, 1));
    EXPECT_TRUE(decodeGrey(1, 16384));
    EXPECT_FALSE(decodeGrey(16385, 1));
    EXPECT_FALSE(decodeGrey(1, 16385));
}

TEST(PNGDecoding, RefusesAWholePictureOfTooManyBytes) {
    const Bytes rows((16384 / 8 + 1) * 4097);
    const auto file = PNGBuilder({16384, 4097, 1, PNGBuilder::Grey})
                          .chunk("IDAT", PNGBuilder::stored(rows))
                          .finish();
    EXPECT_FALSE(CGImageCreateWithData(file));
}

TEST(PNGDecoding, ReadsWhatComesBeforeOtherBytes) {
    Bytes file = pictureOf({PNGBuilder::RGB, 8, false});
    file.insert(file.end(), {1, 2, 3});
    EXPECT_TRUE(CGImageCreateWithData(file));
}
