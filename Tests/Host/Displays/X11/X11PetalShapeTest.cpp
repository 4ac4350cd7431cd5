#include "Host/Displays/X11/X11PetalShape.h"

#include "Tests/Host/Displays/X11/X11ScreenTest.h"

#include <gtest/gtest.h>
#include <xcb/shape.h>
#include <xcb/xcb.h>

using namespace Lumivera;

namespace {

constexpr int kCell = 4;

/// Nothing but connections that send requests.
class Silence final : public X11Listener {
    void eventArrived(const X11Event &) override {}
    void eventsEnded() override {}
    void connectionLost(const std::string &) override {}
};

using Pixels = std::vector<std::uint32_t>;

std::shared_ptr<SharedBuffers> memoryOf(unsigned width, unsigned height, const Pixels &pixels) {
    auto memory = std::make_shared<SharedBuffers>(width, height, 1);
    std::copy(pixels.begin(), pixels.end(), memory->pixels(0));
    return memory;
}

std::uint32_t channelOf(std::uint32_t pixel, int shift) { return pixel >> shift & 0xff; }

/// A premultiplied pixel over an opaque one, each channel rounded to nearest.
std::uint32_t blended(std::uint32_t petal, std::uint32_t background) {
    std::uint32_t result = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        const double rest = channelOf(background, shift) * (255.0 - (petal >> 24)) / 255;
        result |= static_cast<std::uint32_t>(channelOf(petal, shift) + rest + 0.5) << shift;
    }
    return result;
}

/// A petal of all opacities around the middle, and a single pixel that can hardly be seen.
Pixels petalOf(int width, int height) {
    Pixels pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int distance = std::abs(x - width / 2) * 24 + std::abs(y - height / 2) * 31;
            const auto alpha = static_cast<std::uint32_t>(std::max(0, 255 - distance));
            pixels[static_cast<std::size_t>(y * width + x)] =
                alpha << 24 | alpha << 16 | alpha / 2 << 8 | alpha / 3;
        }
    }
    pixels[static_cast<std::size_t>(2 * width + 1)] = 0x01010101;
    return pixels;
}

class X11PetalShapeTest : public X11ScreenTest {
  protected:
    void open(int newWidth, int newHeight) {
        startScreen();
        waiter.emplace();
        connection.emplace(*waiter, silence);
        resize(newWidth, newHeight);
        window = connection->createWindow({0, 0, width, height}, {}, 0);
        shape.emplace(*connection, window);
    }

    void resize(int newWidth, int newHeight) {
        width = newWidth;
        height = newHeight;
        petals = petalOf(width, height);
        background.resize(petals.size());
        for (std::size_t i = 0; i < background.size(); ++i) {
            background[i] = 0xff000000 | static_cast<std::uint32_t>(i) * 2654435761U >> 8;
        }
    }

    void TearDown() override {
        shape.reset();
        connection.reset();
        waiter.reset();
        X11ScreenTest::TearDown();
    }

    std::shared_ptr<SharedBuffers> memory(const Pixels &pixels) const {
        return memoryOf(static_cast<unsigned>(width), static_cast<unsigned>(height), pixels);
    }

    void update(const std::vector<DeviceRect> &damage) { shape->update(*memory(petals), damage); }
    void updateAll() { update({{0, 0, width, height}}); }

    Pixels shown() const {
        const std::uint32_t *pixels = shape->picture()->pixels(0);
        return {pixels, pixels + petals.size()};
    }

    /// For each pixel, whether it lies in the window's shape.
    std::vector<bool> cut() const {
        const X11Reply<xcb_shape_get_rectangles_reply_t> reply(xcb_shape_get_rectangles_reply(
            connection->get(),
            xcb_shape_get_rectangles(connection->get(), window, XCB_SHAPE_SK_BOUNDING), nullptr));
        std::vector<bool> result(petals.size());
        const xcb_rectangle_t *rects = xcb_shape_get_rectangles_rectangles(reply.get());
        for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(reply.get()); ++i) {
            for (int y = rects[i].y; y < std::min(rects[i].y + rects[i].height, height); ++y) {
                for (int x = rects[i].x; x < std::min(rects[i].x + rects[i].width, width); ++x) {
                    result[static_cast<std::size_t>(y * width + x)] = true;
                }
            }
        }
        return result;
    }

    /// For each pixel, whether its cell has one whose opacity is at least that.
    std::vector<bool> cells(int size, std::uint32_t leastAlpha) const {
        std::vector<bool> result(petals.size());
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                result[static_cast<std::size_t>(y * width + x)] =
                    isCovered(x / size * size, y / size * size, size, leastAlpha);
            }
        }
        return result;
    }

    bool isCovered(int left, int top, int size, std::uint32_t leastAlpha) const {
        for (int y = top; y < std::min(top + size, height); ++y) {
            for (int x = left; x < std::min(left + size, width); ++x) {
                if (petals[static_cast<std::size_t>(y * width + x)] >> 24 >= leastAlpha) {
                    return true;
                }
            }
        }
        return false;
    }

    void expectBlended() const {
        Pixels expected(petals.size());
        std::transform(petals.begin(), petals.end(), background.begin(), expected.begin(), blended);
        EXPECT_EQ(shown(), expected);
        EXPECT_EQ(cut(), cells(kCell, 1));
    }

    /// The shape has no other pixels than those that are at least half opaque, in full colours.
    void expectHardEdges() const {
        EXPECT_EQ(cut(), cells(1, 128));
        const Pixels pixels = shown();
        for (std::size_t i = 0; i < petals.size(); ++i) {
            const std::uint32_t alpha = petals[i] >> 24;
            if (alpha >= 128) {
                EXPECT_EQ(pixels[i] >> 24, 255u);
                EXPECT_NEAR(channelOf(pixels[i], 16), 255, 1);
                EXPECT_NEAR(channelOf(pixels[i], 8), alpha / 2 * 255.0 / alpha, 1);
            }
        }
    }

    int width = 0;
    int height = 0;
    Pixels petals;
    Pixels background;
    Silence silence;
    std::optional<DescriptorWaiter> waiter;
    std::optional<X11Connection> connection;
    std::optional<X11PetalShape> shape;
    std::uint32_t window = 0;
};

TEST_F(X11PetalShapeTest, IsInvisibleBeforeThePetals) {
    open(40, 24);
    EXPECT_EQ(cut(), std::vector<bool>(petals.size()));
    EXPECT_EQ(shape->picture(), nullptr);
}

TEST_F(X11PetalShapeTest, BlendsPetalsWithTheBackground) {
    open(40, 24);
    shape->setBackground(memory(background));
    updateAll();
    expectBlended();
}

TEST_F(X11PetalShapeTest, FitsSizesThatEndWithinACell) {
    open(41, 23);
    shape->setBackground(memory(background));
    std::fill(petals.begin(), petals.end(), 0);
    petals.front() = petals.back() = 0x80402010;
    updateAll();
    expectBlended();
}

TEST_F(X11PetalShapeTest, CutsPetalsHardWithoutABackground) {
    open(40, 24);
    updateAll();
    expectHardEdges();
}

TEST_F(X11PetalShapeTest, CutsPetalsHardOverABackgroundOfAnotherSize) {
    open(41, 23);
    shape->setBackground(memoryOf(41, 22, Pixels(41 * 22, 0xffffffff)));
    updateAll();
    expectHardEdges();
}

TEST_F(X11PetalShapeTest, ShowsANewBackgroundAtTheNextUpdate) {
    open(40, 24);
    updateAll();
    shape->setBackground(memory(background));
    update({});
    expectBlended();
    std::reverse(background.begin(), background.end());
    shape->setBackground(memory(background));
    update({});
    expectBlended();
    shape->setBackground(nullptr);
    update({});
    expectHardEdges();
}

TEST_F(X11PetalShapeTest, FollowsASizeWithItsBackground) {
    open(40, 24);
    shape->setBackground(memory(background));
    updateAll();
    const auto before = shape->picture();
    resize(64, 50);
    update({});
    EXPECT_NE(shape->picture(), before);
    expectHardEdges();
    shape->setBackground(memory(background));
    update({});
    expectBlended();
}

TEST_F(X11PetalShapeTest, ChangesTheDamagedPartsAlone) {
    open(40, 24);
    shape->setBackground(memory(background));
    updateAll();
    const Pixels before = shown();
    const DeviceRect damage{8, 9, 21, 14};
    std::fill(petals.begin(), petals.end(), 0xff00ff00);
    update({damage});
    const Pixels after = shown();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto place = static_cast<std::size_t>(y * width + x);
            const bool isDamaged = damage.contains({x, y, x + 1, y + 1});
            ASSERT_EQ(after[place], isDamaged ? 0xff00ff00 : before[place]) << x << " " << y;
        }
    }
}

TEST_F(X11PetalShapeTest, FollowsPetalsFromPlaceToPlace) {
    open(40, 24);
    shape->setBackground(memory(background));
    std::fill(petals.begin(), petals.end(), 0);
    petals[5 * 40 + 5] = 0xff00ff00;
    updateAll();
    expectBlended();
    petals[5 * 40 + 5] = 0;
    petals[21 * 40 + 38] = 0x80008000;
    update({{5, 5, 6, 6}, {38, 21, 39, 22}});
    expectBlended();
    petals[21 * 40 + 38] = 0;
    update({{-10, 21, 100, 70}});
    EXPECT_EQ(cut(), std::vector<bool>(petals.size()));
}

TEST_F(X11PetalShapeTest, IgnoresDamageOutsideOfThePetals) {
    open(40, 24);
    shape->setBackground(memory(background));
    updateAll();
    update({{-20, -20, 0, 0}, {40, 0, 50, 24}, {0, 24, 40, 30}, {5, -9, 6, -3}});
    expectBlended();
}

} // namespace
