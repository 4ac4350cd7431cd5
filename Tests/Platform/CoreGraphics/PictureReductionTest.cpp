#include "Platform/CoreGraphics/PictureDecoders.h"

#include "Tests/Platform/CoreGraphics/EmbeddingPictures.h"
#include "Tests/Platform/CoreGraphics/ExifBuilder.h"
#include "Tests/Platform/CoreGraphics/JPEGBuilder.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/CoreGraphics/PictureTesting.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

std::string sizeOf(const Retained<CGImage> &image) {
    return image ? std::to_string(image->width()) + "x" + std::to_string(image->height()) : "none";
}

std::string reducedSize(const Bytes &file, NSUInteger width, NSUInteger height) {
    return sizeOf(CGImageCreateReducedWithData(file, width, height));
}

Bytes greyPNG(unsigned width, unsigned height, bool isInterlaced = false) {
    return PNGBuilder({width, height, 8, PNGBuilder::Grey, isInterlaced})
        .pixels([](auto x, auto y, int) { return (x + y) % 2 * 200; })
        .finish();
}

} // namespace

TEST(PictureReduction, KeepsTheColorsOfEveryFormat) {
    for (const char *name : {"quarters-444.jpg", "quarters-420.jpg", "quarters-progressive.jpg",
                             "quarters-lossy.webp"}) {
        const auto image = CGImageCreateReducedWithData(samplePicture(name), 8, 8);
        ASSERT_EQ(sizeOf(image), "8x8") << name;
        EXPECT_LE(differenceOf(pixelAt(*image, 1, 1), 0xffff0000), 8) << name;
        EXPECT_LE(differenceOf(pixelAt(*image, 6, 1), 0xff00ff00), 8) << name;
        EXPECT_LE(differenceOf(pixelAt(*image, 1, 6), 0xff0000ff), 8) << name;
        EXPECT_LE(differenceOf(pixelAt(*image, 6, 6), 0xffffffff), 8) << name;
    }
}

TEST(PictureReduction, CoversWhatWasAskedForAndNoMoreThanTheFormatNeeds) {
    const Bytes png = greyPNG(30, 20);
    // Whichever way up: the orientation of a PNG file may follow its pixels.
    EXPECT_EQ(reducedSize(png, 6, 2), "10x7");
    EXPECT_EQ(reducedSize(png, 10, 2), "15x10");
    EXPECT_EQ(reducedSize(png, 2, 20), "30x20");
    EXPECT_EQ(reducedSize(png, 1000, 1000), "30x20");
    EXPECT_EQ(reducedSize(png, 1, 1), "2x1");
    const Bytes jpeg = JPEGBuilder::halves(160, 80);
    EXPECT_EQ(reducedSize(jpeg, 20, 1), "20x10");
    EXPECT_EQ(reducedSize(jpeg, 21, 1), "40x20");
    EXPECT_EQ(reducedSize(jpeg, 21, 80), "160x80");
    EXPECT_EQ(reducedSize(jpeg, 1, 1), "20x10");
    EXPECT_EQ(reducedSize(samplePicture("quarters-lossy.webp"), 5, 3), "5x5");
    EXPECT_EQ(reducedSize(png, 0, 5), "none");
    EXPECT_EQ(reducedSize(png, 5, 0), "none");
}

TEST(PictureReduction, CoversTheUprightPicture) {
    Bytes exif;
    appendText(exif, std::string_view("Exif\0\0", 6));
    const Bytes content = exifWithOrientation(6, true);
    exif.insert(exif.end(), content.begin(), content.end());
    const Bytes jpeg = withSegment(JPEGBuilder::halves(160, 80), 0xe1, exif);
    const auto image = CGImageCreateReducedWithData(jpeg, 10, 20);
    ASSERT_EQ(sizeOf(image), "10x20");
    EXPECT_LE(differenceOf(pixelAt(*image, 5, 2), 0xff1c1c1c), 2);
    EXPECT_LE(differenceOf(pixelAt(*image, 5, 17), 0xffe4e4e4), 2);
    EXPECT_EQ(reducedSize(jpeg, 10, 40), "20x40");
    const Bytes png = PNGBuilder({30, 20, 8, PNGBuilder::Grey})
                          .pixels([](auto...) { return 9u; })
                          .chunk("eXIf", content)
                          .finish();
    EXPECT_EQ(reducedSize(png, 6, 9), "10x15");
}

TEST(PictureReduction, GivesTheMeanOfTheFilesPixels) {
    const auto image = CGImageCreateReducedWithData(greyPNG(6, 6), 3, 3);
    ASSERT_EQ(sizeOf(image), "3x3");
    EXPECT_EQ(pixelAt(*image, 1, 1), 0xff646464);
}

TEST(PictureReduction, WeighsColorsByTheirAlpha) {
    // Red that cannot be seen, and half of the pixels blue.
    const auto file = PNGBuilder({4, 4})
                          .pixels([](auto x, auto, int channel) {
                              const bool isBlue = x % 2 == 1;
                              return channel == 3 ? (isBlue ? 255u : 0u)
                                                  : (channel == (isBlue ? 2 : 0) ? 255u : 0u);
                          })
                          .finish();
    const auto image = CGImageCreateReducedWithData(file, 2, 2);
    ASSERT_EQ(sizeOf(image), "2x2");
    EXPECT_EQ(pixelAt(*image, 0, 0), 0x80000080);
}

TEST(PictureReduction, ConvertsWordsRowByRow) {
    const auto file = PNGBuilder({40, 4, 16, PNGBuilder::Grey})
                          .chunk("gAMA", {0, 0, 0xb1, 0x8f})
                          .pixels([](auto...) { return 0x8000u; })
                          .finish();
    const auto image = CGImageCreateReducedWithData(file, 1, 1);
    ASSERT_EQ(sizeOf(image), "10x1");
    EXPECT_LE(differenceOf(pixelAt(*image, 3, 0), 0xff808080), 2);
}

TEST(PictureReduction, ReadsPicturesBeyondTheBounds) {
    const Bytes png = greyPNG(20000, 40);
    EXPECT_FALSE(CGImageCreateWithData(png));
    EXPECT_EQ(reducedSize(png, 10, 10), "5000x10");
    EXPECT_EQ(reducedSize(png, 20000, 40), "10000x20") << "as large as the bounds permit";
    EXPECT_FALSE(CGImageCreateReducedWithData(greyPNG(20000, 40, true), 10, 10));
    EXPECT_EQ(reducedSize(samplePicture("side-16385.jpg"), 1, 16385), "1x14337");
    const Bytes jpeg = JPEGBuilder::halves(12000, 9008);
    EXPECT_FALSE(CGImageCreateWithData(jpeg));
    const auto image = CGImageCreateReducedWithData(jpeg, 1000, 1000);
    ASSERT_EQ(sizeOf(image), "1500x1126");
    EXPECT_LE(differenceOf(pixelAt(*image, 700, 600), 0xff1c1c1c), 2);
    EXPECT_LE(differenceOf(pixelAt(*image, 800, 600), 0xffe4e4e4), 2);
}

TEST(PictureReduction, RefusesWhatIsDamagedOrAbsurd) {
    const Bytes jpeg = JPEGBuilder::halves(800, 800);
    EXPECT_FALSE(CGImageCreateReducedWithData(std::span(jpeg).first(jpeg.size() / 2), 10, 10));
    const Bytes png = greyPNG(300, 300);
    EXPECT_FALSE(CGImageCreateReducedWithData(std::span(png).first(png.size() - 20), 10, 10));
    EXPECT_FALSE(CGImageCreateReducedWithData(samplePicture("animated.webp"), 10, 10));
    const auto claiming =
        PNGBuilder({1 << 20, 1 << 20}).chunk("IDAT", PNGBuilder::stored(Bytes(9))).finish();
    EXPECT_FALSE(CGImageCreateReducedWithData(claiming, 10, 10));
}
