#include "Platform/Compositor/ScaledPictures.h"
#include "Platform/Compositor/QuadPainter.h"
#include "Tests/Platform/Compositor/CompositorTesting.h"

#include <gmock/gmock.h>

#include <random>

namespace {

constexpr std::uint32_t kFullWeight = 65536;

Retained<CGImage> noise(int width, int height, std::uint32_t alpha, std::mt19937 &random) {
    return makeImage(static_cast<NSUInteger>(width), static_cast<NSUInteger>(height),
                     [&](NSUInteger, NSUInteger) { return alpha | (random() & 0x3F3F3F); });
}

ColumnPicture columnsOf(const CGImage &image, const DeviceRect &area) {
    ColumnPicture columns(area);
    const Picture picture = Picture::whole(image);
    for (int y = area.top; y < area.bottom; ++y) {
        columns.setRow(y, picture.at(0, y - area.top));
    }
    return columns;
}

} // namespace

TEST(ColumnPicture, HasThePixelsOfItsRows) {
    std::mt19937 random(1);
    const DeviceRect area{21, 3, 70, 12};
    const auto image = noise(area.width(), area.height(), 0xFF000000, random);
    const ColumnPicture columns = columnsOf(*image, area);
    for (int y = area.top; y < area.bottom; ++y) {
        for (int x = area.left; x < area.right; ++x) {
            EXPECT_EQ(*columns.at(x, y), *Picture::whole(*image).at(x - area.left, y - area.top));
        }
    }
}

TEST(ColumnPicture, IsOpaqueWhenAllItsPixelsAre) {
    const DeviceRect area{0, 0, 3, 2};
    ColumnPicture columns(area);
    const std::uint32_t opaque[] = {0xFF000000, 0xFF102030, 0xFFFFFFFF};
    const std::uint32_t faint[] = {0xFF000000, 0xFF102030, 0xFEFEFEFE};
    columns.setRow(0, opaque);
    columns.setRow(1, opaque);
    EXPECT_TRUE(columns.isOpaque());
    columns.setRow(0, faint);
    EXPECT_FALSE(columns.isOpaque());
}

TEST(ColumnPicture, BeginsWhereTheProcessorsMemoryDoes) {
    const ColumnPicture columns({16, 0, 80, 5});
    for (int x = 16; x < 80; x += 16) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(columns.at(x, 3)) % 64, 0u);
    }
}

/// Wherever it stands, whatever is asked for of it, in a target of the device or in one of its own:
/// as if it lay in rows.
TEST(ColumnPicture, IsDrawnAsThePictureThatItHolds) {
    std::mt19937 random(7);
    const auto below = [&](int count) { return static_cast<int>(random() % unsigned(count)); };
    for (int round = 0; round < 400; ++round) {
        const DeviceRect device{0, 0, 1 + below(2500), 1 + below(20)};
        const int left = below(device.right);
        const int top = below(device.bottom);
        const DeviceRect area{left, top, left + 1 + below(device.right - left),
                              top + 1 + below(device.bottom - top)};
        const DeviceRect whole = round % 2 == 0 ? device : area;
        const std::uint32_t alpha = round % 3 == 0 ? 0x80000000 : 0xFF000000;
        const auto image = noise(area.width(), area.height(), alpha, random);
        CellMask mask;
        mask.reset(whole);
        for (int i = 0; i < 40; ++i) {
            const int from = whole.left + below(whole.width());
            mask.add(whole.top + below(whole.height()), from, from + 1 + below(whole.right - from));
        }
        const int clipLeft = area.left + below(area.width());
        const PaintClip clip{
            {clipLeft, area.top, clipLeft + 1 + below(area.right - clipLeft), area.bottom},
            round % 4 == 0 ? nullptr : &mask};
        const std::uint32_t weight = round % 5 == 0 ? 40000 : kFullWeight;
        CGPixels inRows(static_cast<std::size_t>(whole.area()), 0xFF336699);
        CGPixels inColumns = inRows;
        const auto target = [&](CGPixels &pixels) {
            return PixelArea{pixels.data(), whole, whole.width()};
        };
        QuadPainter::copyPicture(PixelKernels::best(), target(inRows), clip, Picture::whole(*image),
                                 area.left, area.top, weight);
        QuadPainter::copyColumns(PixelKernels::best(), target(inColumns), clip,
                                 columnsOf(*image, area), weight);
        ASSERT_EQ(inColumns, inRows) << round;
    }
}

TEST(ScaledPictures, KeepsWhatEveryFrameUses) {
    std::mt19937 random(1);
    const auto image = noise(40, 10, 0xFF000000, random);
    const PictureScaler::Axis doubled{0, 2};
    const DeviceRect area{0, 0, 80, 20};
    ScaledPictures pictures;
    const std::uint32_t *const pixels = pictures.scaled(*image, doubled, doubled, area).at(0, 0);
    pictures.endFrame();
    EXPECT_EQ(pictures.scaled(*image, doubled, doubled, area).at(0, 0), pixels);
    pictures.endFrame();
    EXPECT_EQ(image->retainCount(), 2u);
    pictures.endFrame();
    EXPECT_EQ(image->retainCount(), 1u);
}
