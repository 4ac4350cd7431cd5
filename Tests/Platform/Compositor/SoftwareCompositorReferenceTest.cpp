#include "Tests/Platform/Compositor/CompositorTesting.h"
#include "Tests/Platform/Compositor/ReferenceRenderer.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr int kSide = 128;

/// Random layers and pictures. None is both large and upright: such a picture is scaled beforehand,
/// with another filter.
class RandomScene {
  public:
    explicit RandomScene(unsigned seed) : _random(seed) {}

    // One layer over a plain background.
    Retained<CALayer> makeSingle() {
        auto root = makeFilled(0, 0, kSide, kSide, {0.2, 0.4, 0.6, 1});
        root->addSublayer(makeOne().get());
        return root;
    }

    // Layers in layers, several deep.
    Retained<CALayer> makeDeep() {
        auto root = makeFilled(0, 0, kSide, kSide, {0.2, 0.4, 0.6, 1});
        addTo(*root, 0);
        return root;
    }

    // The same without the plain background.
    Retained<CALayer> makeDeepAlone() {
        auto root = makeLayer(0, 0, kSide, kSide);
        addTo(*root, 0);
        return root;
    }

  private:
    double between(double low, double high) {
        return std::uniform_real_distribution<>(low, high)(_random);
    }

    bool oneIn(int count) { return between(0, count) < 1; }

    void addTo(CALayer &parent, int depth) {
        for (int i = 0; i < 4 - depth; ++i) {
            const auto layer = makeOne();
            parent.addSublayer(layer.get());
            if (depth < 2 && oneIn(4)) {
                addTo(*layer, depth + 1);
            }
        }
    }

    Retained<CALayer> makeOne() {
        const auto layer = makeLayer(between(-10, kSide - 10), between(-10, kSide - 10),
                                     between(8, 60), between(8, 60));
        layer->setTransform(CATransform3DScale(CATransform3DMakeRotation(between(0.1, 6), 0, 0, 1),
                                               between(0.3, 1.5), between(0.3, 1.5), 1));
        layer->setAnchorPoint({between(0, 1), between(0, 1)});
        layer->setOpacity(oneIn(2) ? 1.0F : static_cast<float>(between(0.1, 1)));
        layer->setMasksToBounds(oneIn(4));
        layer->setHidden(oneIn(12));
        if (oneIn(3)) {
            layer->setBackgroundColor(
                {between(0, 1), between(0, 1), between(0, 1), between(0.2, 1)});
        }
        if (oneIn(4)) {
            layer->setSublayerTransform(CATransform3DMakeRotation(between(0, 6), 0, 0, 1));
        }
        layer->setContents(makeSmooth());
        layer->setContentsGravity(static_cast<ContentsGravity>(_random() % 4));
        return layer;
    }

    Retained<CGImage> makeSmooth() {
        const double a = between(0.05, 0.4);
        const double b = between(0.05, 0.4);
        const auto wave = [](double x) { return static_cast<unsigned>(127.5 + 127.5 * sin(x)); };
        return makeImage(8 + _random() % 120, 8 + _random() % 120, [&](auto x, auto y) {
            return premultiplied(wave(a * x + b * y), wave(b * x), wave(a * y), wave(a * (x + y)));
        });
    }

    std::mt19937 _random;
};

struct Difference {
    double largest = 0;
    double sum = 0;
    double mean() const { return sum / (4.0 * kSide * kSide); }
};

Difference compare(const Canvas &canvas, const ReferenceRenderer::Pixels &expected) {
    Difference result;
    for (std::size_t i = 0; i < kSide * kSide; ++i) {
        for (int channel = 0; channel < 4; ++channel) {
            const double actual = canvas.at(i % kSide, i / kSide) >> 8 * channel & 255;
            const double difference = std::abs(actual - std::round(expected[i][channel]));
            result.largest = std::max(result.largest, difference);
            result.sum += difference;
        }
    }
    return result;
}

/// The canvas's pixels, blended over a colour.
ReferenceRenderer::Pixels over(const ReferenceRenderer::Pixel &ground, const Canvas &canvas) {
    ReferenceRenderer::Pixels result(kSide * kSide);
    for (std::size_t i = 0; i < kSide * kSide; ++i) {
        const std::uint32_t pixel = canvas.at(i % kSide, i / kSide);
        for (int channel = 0; channel < 4; ++channel) {
            result[i][channel] = (pixel >> 8 * channel & 255) +
                                 ground[channel] * (255 - static_cast<int>(pixel >> 24)) / 255;
        }
    }
    return result;
}

} // namespace

TEST(SoftwareCompositor, DrawsRandomSinglesAlike) {
    for (unsigned seed = 100; seed < 300; ++seed) {
        const auto root = RandomScene(seed).makeSingle();
        const Canvas canvas = Canvas(kSide, kSide).draw(*root);
        const Difference difference =
            compare(canvas, ReferenceRenderer(kSide, kSide, 1).render(*root));
        ASSERT_LE(difference.largest, 2) << seed;
        ASSERT_LE(difference.mean(), 0.1) << seed;
    }
}

class AgainstReference : public testing::TestWithParam<unsigned> {};

TEST_P(AgainstReference, DrawsRandomScenesAlike) {
    const auto root = RandomScene(GetParam()).makeDeep();
    const double scale = GetParam() % 3 == 0 ? 1.5 : 1;
    const Canvas canvas = Canvas(kSide, kSide).draw(*root, scale);
    const Difference difference =
        compare(canvas, ReferenceRenderer(kSide, kSide, scale).render(*root));
    EXPECT_LE(difference.largest, 2);
    EXPECT_LE(difference.mean(), 0.3);
}

TEST_P(AgainstReference, DrawsRandomScenesAlikeOverNothing) {
    const auto root = RandomScene(GetParam()).makeDeepAlone();
    const Canvas canvas = Canvas(kSide, kSide, true).draw(*root);
    const Difference difference =
        compare(canvas, ReferenceRenderer(kSide, kSide, 1).render(*root, {}));
    EXPECT_LE(difference.largest, 2);
    EXPECT_LE(difference.mean(), 0.3);
}

/// The rounding of both pictures adds up.
TEST_P(AgainstReference, DrawsOverNothingWhatBlendsOverAnyColor) {
    const auto root = RandomScene(GetParam()).makeDeepAlone();
    const Canvas alone = Canvas(kSide, kSide, true).draw(*root);
    const Canvas overBlack = Canvas(kSide, kSide).draw(*root);
    EXPECT_LE(compare(overBlack, over({0, 0, 0, 255}, alone)).largest, 3);
    root->setBackgroundColor({1, 0.4, 0.2, 1});
    const Canvas overColor = Canvas(kSide, kSide).draw(*root);
    EXPECT_LE(compare(overColor, over({51, 102, 255, 255}, alone)).largest, 3);
}

INSTANTIATE_TEST_SUITE_P(SoftwareCompositor, AgainstReference, testing::Range(1U, 25U));
