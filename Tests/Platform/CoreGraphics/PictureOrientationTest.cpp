#include "Platform/CoreGraphics/PictureDecoders.h"

#include "Tests/Platform/CoreGraphics/EmbeddingPictures.h"
#include "Tests/Platform/CoreGraphics/ExifBuilder.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/CoreGraphics/PictureTesting.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

/// A picture from rows of letters: each letter is a shade of grey.
Bytes pngOfRows(const std::vector<std::string> &rows, const Bytes &exif, bool isExifLast = false) {
    const auto width = static_cast<std::uint32_t>(rows[0].size());
    PNGBuilder builder({width, static_cast<std::uint32_t>(rows.size()), 8, PNGBuilder::Grey});
    if (!isExifLast) {
        builder.chunk("eXIf", exif);
    }
    builder.pixels([&](auto x, auto y, int) { return static_cast<std::uint8_t>(rows[y][x]); });
    if (isExifLast) {
        builder.chunk("eXIf", exif);
    }
    return builder.finish();
}

std::vector<std::string> rowsOf(const CGImage &image) {
    std::vector<std::string> rows(image.height());
    for (NSUInteger y = 0; y < image.height(); ++y) {
        for (NSUInteger x = 0; x < image.width(); ++x) {
            rows[y] += static_cast<char>(pixelAt(image, x, y) & 0xff);
        }
    }
    return rows;
}

std::vector<std::string> uprightRows(const Bytes &file) {
    const auto image = CGImageCreateWithData(file);
    return image ? rowsOf(*image) : std::vector<std::string>();
}

struct Orientation {
    std::uint16_t number;
    std::vector<std::string> upright;
};

const std::vector<std::string> kStored{"ABC", "DEF"};

const Orientation kOrientations[] = {
    {1, {"ABC", "DEF"}},     {2, {"CBA", "FED"}},     {3, {"FED", "CBA"}},
    {4, {"DEF", "ABC"}},     {5, {"AD", "BE", "CF"}}, {6, {"DA", "EB", "FC"}},
    {7, {"FC", "EB", "DA"}}, {8, {"CF", "BE", "AD"}},
};

class Orientations : public testing::TestWithParam<Orientation> {};

} // namespace

TEST_P(Orientations, OfPNGAreObeyed) {
    for (const bool isBigEndian : {false, true}) {
        const Bytes exif = exifWithOrientation(GetParam().number, isBigEndian);
        EXPECT_EQ(uprightRows(pngOfRows(kStored, exif)), GetParam().upright);
        EXPECT_EQ(uprightRows(pngOfRows(kStored, exif, true)), GetParam().upright);
    }
}

TEST_P(Orientations, OfLargerPicturesAreObeyed) {
    std::vector<std::string> stored;
    for (int y = 0; y < 71; ++y) {
        std::string row;
        for (int x = 0; x < 45; ++x) {
            row += static_cast<char>(x * 41 + y * 7);
        }
        stored.push_back(row);
    }
    const auto rows = uprightRows(pngOfRows(stored, exifWithOrientation(GetParam().number, false)));
    const auto &small = GetParam().upright;
    const bool isTurned = small.size() == 3;
    ASSERT_EQ(rows.size(), isTurned ? 45u : 71u);
    ASSERT_EQ(rows[0].size(), isTurned ? 71u : 45u);
    // Neighbouring letters of the small picture tell where the rows and columns of the large one
    // come from.
    const auto placeOf = [](char letter) {
        return std::pair<int, int>((letter - 'A') % 3, (letter - 'A') / 3);
    };
    const auto [startX, startY] = placeOf(small[0][0]);
    const auto [rightX, rightY] = placeOf(small[0][1]);
    const auto [downX, downY] = placeOf(small[1][0]);
    for (int y = 0; y < static_cast<int>(rows.size()); ++y) {
        for (int x = 0; x < static_cast<int>(rows[0].size()); ++x) {
            const int fromX = (startX ? 44 : 0) + x * (rightX - startX) + y * (downX - startX);
            const int fromY = (startY ? 70 : 0) + x * (rightY - startY) + y * (downY - startY);
            ASSERT_EQ(rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)],
                      stored[static_cast<std::size_t>(fromY)][static_cast<std::size_t>(fromX)])
                << x << ", " << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, Orientations, testing::ValuesIn(kOrientations),
                         [](const auto &info) { return std::to_string(info.param.number); });

TEST(PictureOrientation, OfJPEGAndWebPIsObeyed) {
    Bytes exif;
    appendText(exif, std::string_view("Exif\0\0", 6));
    const Bytes content = exifWithOrientation(6, true);
    exif.insert(exif.end(), content.begin(), content.end());
    const Bytes webp = samplePicture("quarters-lossy.webp");
    for (const Bytes &file : {withSegment(samplePicture("quarters-444.jpg"), 0xe1, exif),
                              withChunks(webp, 32, 32, {}, {{"EXIF", exif}}),
                              withChunks(webp, 32, 32, {}, {{"XMP ", {1}}, {"EXIF", content}})}) {
        const auto image = CGImageCreateWithData(file);
        ASSERT_TRUE(image);
        EXPECT_LE(differenceOf(pixelAt(*image, 8, 8), 0xff0000ff), 6);
        EXPECT_LE(differenceOf(pixelAt(*image, 24, 8), 0xffff0000), 6);
        EXPECT_LE(differenceOf(pixelAt(*image, 8, 24), 0xffffffff), 6);
        EXPECT_LE(differenceOf(pixelAt(*image, 24, 24), 0xff00ff00), 6);
    }
}

TEST(PictureOrientation, ThatMakesNoSenseIsUpright) {
    for (const std::uint16_t number : {0, 9, 256, 0xffff}) {
        EXPECT_TRUE(PictureOrientation::inExif(exifWithOrientation(number, false)).isUpright());
    }
    EXPECT_TRUE(PictureOrientation::inExif({}).isUpright());
    Bytes wrongType = exifWithOrientation(6, false);
    ASSERT_FALSE(PictureOrientation::inExif(wrongType).isUpright());
    wrongType[ExifPlaces::kType] = 2;
    EXPECT_TRUE(PictureOrientation::inExif(wrongType).isUpright());
    Bytes wrongOrder = exifWithOrientation(6, false);
    wrongOrder[0] = 'M';
    EXPECT_TRUE(PictureOrientation::inExif(wrongOrder).isUpright());
    Bytes wrongMark = exifWithOrientation(6, false);
    wrongMark[2] = 43;
    EXPECT_TRUE(PictureOrientation::inExif(wrongMark).isUpright());
}

TEST(PictureOrientation, IsNotReadPastTheEnd) {
    const Bytes exif = exifWithOrientation(8, true);
    for (std::size_t size = 0; size < ExifPlaces::kEnd; ++size) {
        // In an allocation of exactly this size, so that the address sanitizer sees a read past its
        // end.
        const Bytes cut(exif.begin(), exif.begin() + static_cast<long>(size));
        EXPECT_TRUE(PictureOrientation::inExif(cut).isUpright()) << size;
    }
    Bytes farAway = exif;
    std::fill(farAway.begin() + 4, farAway.begin() + 8, std::uint8_t{0xff});
    EXPECT_TRUE(PictureOrientation::inExif(farAway).isUpright());
    Bytes many = exif;
    many[8] = many[9] = 0xff;
    EXPECT_FALSE(PictureOrientation::inExif(many).isUpright()) << "the entry is there";
}
