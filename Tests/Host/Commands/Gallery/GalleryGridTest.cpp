#include "Host/Commands/Gallery/Gallery.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Lumivera;

namespace {

constexpr NSUInteger kCount = 12;

GalleryGrid gridOf(CGFloat width, CGFloat height, NSUInteger columns = 0) {
    return {PictureSize{{width, height}, 1}, kCount, 1, columns};
}

CGFloat rightOf(const CGRect &rect) { return rect.origin.x + rect.size.width; }
CGFloat bottomOf(const CGRect &rect) { return rect.origin.y + rect.size.height; }

bool areApart(const CGRect &a, const CGRect &b) {
    return rightOf(a) <= b.origin.x || rightOf(b) <= a.origin.x || bottomOf(a) <= b.origin.y ||
           bottomOf(b) <= a.origin.y;
}

const std::vector<PictureSize> &manySizes() {
    static const std::vector<PictureSize> sizes{
        {{1200, 720}, 1}, {{1, 1}, 1},        {{40, 30}, 1},     {{300, 300}, 2},
        {{99, 1000}, 1},  {{1000, 99}, 1},    {{3000, 2000}, 1}, {{333.3, 777.7}, 1.5},
        {{2, 16384}, 1},  {{5000, 5000}, 0.1}};
    return sizes;
}

TEST(GalleryGridTest, HasAsManyColumnsAsGiveTheLargestCells) {
    EXPECT_EQ(gridOf(1200, 900).columns(), 4u);
    EXPECT_EQ(gridOf(900, 1200).columns(), 3u);
    EXPECT_EQ(gridOf(600, 600).columns(), 3u);
    EXPECT_EQ(gridOf(200, 700).columns(), 2u);
    EXPECT_EQ(gridOf(100, 1500).columns(), 1u);
    EXPECT_EQ(gridOf(1500, 100).columns(), 12u);
    EXPECT_EQ(gridOf(1200, 900).rows(), 3u);
}

TEST(GalleryGridTest, PrefersCellsOfTheShape) {
    const PictureSize size{{1200, 720}, 1};
    EXPECT_EQ(GalleryGrid(size, kCount, 5).columns(), 2u);
    EXPECT_EQ(GalleryGrid(size, kCount, 0.2).columns(), 12u);
}

TEST(GalleryGridTest, TakesTheColumnsThatAreAskedForButNoMoreThanCells) {
    EXPECT_EQ(gridOf(1200, 900, 5).columns(), 5u);
    EXPECT_EQ(gridOf(1200, 900, 5).rows(), 3u);
    EXPECT_EQ(gridOf(1200, 900, 100).columns(), 12u);
}

TEST(GalleryGridTest, KeepsCellsEqualApartAndInside) {
    for (const PictureSize &size : manySizes()) {
        const GalleryGrid grid(size, kCount, 1);
        for (NSUInteger i = 0; i < kCount; ++i) {
            const CGRect cell = grid.cell(i);
            EXPECT_EQ(cell.size, grid.cell(0).size);
            EXPECT_GE(cell.origin.x, 0);
            EXPECT_GE(cell.origin.y, 0);
            EXPECT_LE(rightOf(cell) * size.density, static_cast<double>(size.pixelWidth()) + 1e-9);
            EXPECT_LE(bottomOf(cell) * size.density,
                      static_cast<double>(size.pixelHeight()) + 1e-9);
            for (NSUInteger j = 0; j < i; ++j) {
                EXPECT_TRUE(areApart(cell, grid.cell(j))) << i << ' ' << j;
            }
        }
    }
}

TEST(GalleryGridTest, LeavesLittleBesideTheCells) {
    const GalleryGrid grid = gridOf(1200, 900);
    EXPECT_LT(grid.cell(0).origin.x, 20);
    EXPECT_LT(grid.cell(0).origin.y, 20);
    EXPECT_GT(rightOf(grid.cell(3)), 1180);
    EXPECT_GT(bottomOf(grid.cell(11)), 880);
}

TEST(GalleryGridTest, BeginsCellsOnWholePixels) {
    for (const PictureSize &size : manySizes()) {
        const GalleryGrid grid(size, kCount, 1);
        for (NSUInteger i = 0; i < kCount; ++i) {
            const CGRect cell = grid.cell(i);
            for (const CGFloat edge :
                 {cell.origin.x, cell.origin.y, rightOf(cell), bottomOf(cell)}) {
                const double pixels = edge * size.density;
                EXPECT_NEAR(pixels, std::round(pixels), 1e-9);
            }
        }
    }
}

TEST(GalleryGridTest, PutsALastRowThatIsNotFullInTheMiddle) {
    const GalleryGrid grid = gridOf(1200, 900, 5);
    EXPECT_NEAR(grid.cell(10).origin.x + rightOf(grid.cell(11)), 1200, 1);
    EXPECT_GT(grid.cell(10).origin.x, grid.cell(6).origin.x);
}

TEST(GalleryGridTest, FindsTheCellAtAPoint) {
    const GalleryGrid grid = gridOf(1200, 900);
    for (NSUInteger i = 0; i < kCount; ++i) {
        const CGRect cell = grid.cell(i);
        EXPECT_EQ(grid.cellAt({CGRectGetMidX(cell), CGRectGetMidY(cell)}), i);
        EXPECT_EQ(grid.cellAt(cell.origin), i);
    }
    EXPECT_EQ(grid.cellAt({rightOf(grid.cell(0)) + 1, 100}), std::nullopt);
    EXPECT_EQ(grid.cellAt({0, 0}), std::nullopt);
    EXPECT_EQ(grid.cellAt({-5, 5000}), std::nullopt);
}

TEST(GalleryGridTest, HasEmptyCellsWhereThereIsNoRoom) {
    const GalleryGrid grid = gridOf(1, 1);
    const CGSize cell = grid.cell(0).size;
    EXPECT_EQ(cell.width * cell.height, 0);
    EXPECT_EQ(grid.cellAt({0.5, 0.5}), std::nullopt);
}

} // namespace
