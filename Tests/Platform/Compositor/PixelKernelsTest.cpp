#include "Platform/Compositor/PixelKernels.h"

#include <gtest/gtest.h>

#include <random>

namespace {

class Random {
  public:
    explicit Random(unsigned seed) : _random(seed) {}

    std::uint32_t below(std::uint32_t end) { return _random() % end; }
    std::int32_t between(std::int32_t low, std::int32_t high) {
        return low + static_cast<std::int32_t>(below(static_cast<std::uint32_t>(high - low)));
    }

    // Half of the pixels are premultiplied, some transparent, some opaque; some cannot occur in a
    // picture.
    std::uint32_t pixel() {
        const std::uint32_t bits = _random();
        switch (below(8)) {
        case 0:
            return 0;
        case 1:
            return bits | 0xFF000000;
        case 2:
            return bits;
        default:
            return faded(bits);
        }
    }

    std::vector<std::uint32_t> pixels(std::size_t count) {
        std::vector<std::uint32_t> result(count);
        for (std::uint32_t &pixel : result) {
            pixel = this->pixel();
        }
        return result;
    }

    std::vector<std::uint8_t> bytes(std::size_t count) {
        std::vector<std::uint8_t> result(count);
        for (std::uint8_t &byte : result) {
            byte = static_cast<std::uint8_t>(below(256));
        }
        return result;
    }

  private:
    static std::uint32_t faded(std::uint32_t bits) {
        const std::uint32_t alpha = bits >> 24;
        const auto part = [&](int shift) { return (bits >> shift & 255) * alpha / 255 << shift; };
        return alpha << 24 | part(16) | part(8) | part(0);
    }

    std::mt19937 _random;
};

class EachForm : public testing::TestWithParam<const PixelKernels *> {
  protected:
    const PixelKernels &form() const { return *GetParam(); }
};

/// Texels of both forms, sampled along a line that stays inside the picture.
struct Scene {
    static constexpr int kWidth = 37;
    static constexpr int kHeight = 29;
    static constexpr int kMaxPixels = 70;

    std::vector<std::uint8_t> pairs;
    std::vector<std::uint32_t> pixels;
    std::vector<std::uint32_t> target;
    std::vector<std::uint32_t> weights;
    SpriteSource source;
    SpriteStep step;
    SpriteRow row;

    explicit Scene(Random &random)
        : pairs(random.bytes(std::size_t{kWidth + 1} * kHeight * 8)),
          pixels(random.pixels(std::size_t{kWidth} * kHeight)),
          target(random.pixels(kMaxPixels + 16)), weights(kMaxPixels) {
        if (random.below(2)) {
            source = {pairs.data(), nullptr, kWidth + 1, (kWidth - 1) << 16, (kHeight - 1) << 16};
        } else {
            source = {nullptr, pixels.data(), kWidth, ((kWidth - 1) << 16) - 1,
                      ((kHeight - 1) << 16) - 1};
        }
        for (std::uint32_t &weight : weights) {
            weight = random.below(4) ? random.below(32768) : random.below(2) * 32768;
        }
        const std::int32_t count = random.between(1, kMaxPixels);
        const auto along = [&](std::int32_t last, std::uint32_t &from, std::int32_t &step) {
            const std::int32_t start = random.between(0, last);
            step = (random.between(0, last) - start) / count;
            from = static_cast<std::uint32_t>(start);
        };
        row.count = count;
        along(source.lastU, row.u, step.u);
        along(source.lastV, row.v, step.v);
        row.weights = weights.data();
    }
};

} // namespace

TEST_P(EachForm, DrawsTheInsideOfSpritesToTheBit) {
    Random random(1);
    for (int i = 0; i < 2000; ++i) {
        Scene scene(random);
        const std::uint32_t weight = random.below(2) ? 32768 : random.below(32768);
        std::vector<std::uint32_t> expected = scene.target;
        scene.row.pixels = expected.data() + 3;
        PixelKernels::plain().drawInside(scene.source, scene.step, &scene.row, 1, weight);
        scene.row.pixels = scene.target.data() + 3;
        form().drawInside(scene.source, scene.step, &scene.row, 1, weight);
        ASSERT_EQ(scene.target, expected) << i;
    }
}

TEST_P(EachForm, DrawsTheEdgesOfSpritesToTheBit) {
    Random random(2);
    for (int i = 0; i < 2000; ++i) {
        Scene scene(random);
        scene.row.u += static_cast<std::uint32_t>(random.between(-300000, 300000));
        scene.row.v += static_cast<std::uint32_t>(random.between(-300000, 300000));
        std::vector<std::uint32_t> expected = scene.target;
        scene.row.pixels = expected.data() + 3;
        PixelKernels::plain().drawEdges(scene.source, scene.step, &scene.row, 1);
        scene.row.pixels = scene.target.data() + 3;
        form().drawEdges(scene.source, scene.step, &scene.row, 1);
        ASSERT_EQ(scene.target, expected) << i;
    }
}

TEST_P(EachForm, BlendsRowsToTheBit) {
    Random random(3);
    for (int i = 0; i < 2000; ++i) {
        const std::vector<std::uint32_t> source = random.pixels(60);
        std::vector<std::uint32_t> expected = random.pixels(60);
        std::vector<std::uint32_t> actual = expected;
        const int count = random.between(0, 57);
        const std::uint32_t weight = random.below(2) ? 65536 : random.below(65536);
        PixelKernels::plain().blendRow(source.data() + 1, expected.data() + 2, count, weight);
        form().blendRow(source.data() + 1, actual.data() + 2, count, weight);
        ASSERT_EQ(actual, expected) << i;
    }
}

TEST_P(EachForm, BlendsAColourToTheBit) {
    Random random(4);
    for (int i = 0; i < 2000; ++i) {
        std::vector<std::uint32_t> expected = random.pixels(60);
        std::vector<std::uint32_t> actual = expected;
        const std::uint32_t color = random.pixel();
        const int count = random.between(0, 57);
        PixelKernels::plain().blendColor(color, expected.data() + 2, count);
        form().blendColor(color, actual.data() + 2, count);
        ASSERT_EQ(actual, expected) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(PixelKernels, EachForm, testing::ValuesIn(PixelKernels::all()),
                         [](const auto &info) { return std::string(info.param->name); });

TEST(PixelKernels, HasTheFastestFormFirstAndThePlainOneLast) {
    EXPECT_EQ(PixelKernels::all().front(), &PixelKernels::best());
    EXPECT_EQ(PixelKernels::all().back(), &PixelKernels::plain());
}

TEST(PixelKernels, LeavesWhatIsUnderTransparentPixelsAlone) {
    for (std::uint32_t level = 0; level < 256; ++level) {
        const std::uint32_t before = level * 0x01010101;
        std::uint32_t pixel = before;
        const std::uint32_t transparent = 0;
        PixelKernels::plain().blendRow(&transparent, &pixel, 1, 65536);
        PixelKernels::plain().blendRow(&transparent, &pixel, 1, 30000);
        PixelKernels::plain().blendColor(transparent, &pixel, 1);
        EXPECT_EQ(pixel, before);
    }
}

TEST(PixelKernels, ShowsOpaquePixelsAsTheyAre) {
    for (std::uint32_t level = 0; level < 256; ++level) {
        const std::uint32_t color = 0xFF000000 | level * 0x010101;
        std::uint32_t pixel = ~color | 0xFF000000;
        PixelKernels::plain().blendRow(&color, &pixel, 1, 65536);
        EXPECT_EQ(pixel, color);
    }
}
