#include "Platform/Compositor/Damage.h"
#include "Platform/Compositor/PixelKernels.h"
#include "Tests/Platform/Compositor/CompositorTesting.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace {

/// Petals in faded layers over a picture that change in random ways.
class RandomWallpaper {
  public:
    RandomWallpaper(unsigned seed, bool hasBackground)
        : _random(seed), _hasBackground(hasBackground) {
        for (unsigned i = 0; i < 3; ++i) {
            _pictures.push_back(makePetal(14 + 9 * i, 20 + 5 * i, i));
        }
        _root = makeLayer(0, 0, 10, 10);
        for (const float opacity : {0.6F, 0.8F, 1.0F}) {
            const auto layer = makeLayer(0, 0, 10, 10);
            layer->setOpacity(opacity);
            _root->addSublayer(layer.get());
            _depths.push_back(layer);
        }
        resize();
        setCount(9);
    }

    CALayer &root() { return *_root; }
    std::size_t width() const { return _width; }
    std::size_t height() const { return _height; }

    void step() {
        if (!oneIn(12)) {
            fall();
        }
        if (oneIn(25)) {
            scatter();
        }
        if (oneIn(40)) {
            setCount(below(28));
        }
        if (oneIn(30)) {
            CALayer &layer = *_depths[below(3)];
            layer.setHidden(!layer.isHidden());
        }
        if (oneIn(60)) {
            _depths[below(3)]->setOpacity(static_cast<float>(below(11)) / 10);
        }
        if (oneIn(80)) {
            CALayer &layer = *_depths[below(3)];
            layer.setMasksToBounds(!layer.masksToBounds());
            layer.setTransform(CATransform3DMakeRotation(below(2) * 0.1, 0, 0, 1));
        }
        if (oneIn(120)) {
            resize();
        }
        if (oneIn(150)) {
            setBackground(below(9));
        }
    }

  private:
    struct Petal {
        Retained<CALayer> layer;
        double speed;
        double spin;
        double angle;
    };

    // Only some have texels at the picture's edge that are not transparent.
    static Retained<CGImage> makePetal(unsigned width, unsigned height, unsigned kind) {
        return makeImage(width, height, [=](auto x, auto y) {
            const double dx = (x + 0.5) / width - 0.5;
            const double dy = (y + 0.5) / height - 0.5;
            const double alpha = (0.45 + 0.1 * kind - std::sqrt(dx * dx + dy * dy)) * 12;
            return premultiplied(static_cast<unsigned>(std::clamp(alpha, 0.0, 1.0) * 240), 250,
                                 150 + 3 * x, 100 + 4 * y);
        });
    }

    std::uint32_t below(std::uint32_t end) { return _random() % end; }
    bool oneIn(std::uint32_t count) { return below(count) == 0; }

    void fall() {
        for (Petal &petal : _petals) {
            petal.angle += petal.spin;
            CGPoint place = petal.layer->position();
            place.y += petal.speed;
            if (place.y > _height + 20.0) {
                place = {static_cast<double>(below(static_cast<unsigned>(_width))), -20};
            }
            petal.layer->setPosition(place);
            petal.layer->setTransform(CATransform3DMakeRotation(petal.angle, 0, 0, 1));
        }
    }

    void scatter() {
        for (Petal &petal : _petals) {
            petal.layer->setPosition({below(280) - 20.0, below(200) - 20.0});
        }
    }

    void setBackground(std::size_t margin) {
        if (_hasBackground) {
            _root->setContents(makeOpaqueNoise(_width + margin, _height + margin, below(99)));
        }
    }

    void setCount(std::size_t count) {
        while (_petals.size() > count) {
            const auto gone = _petals.begin() + below(static_cast<unsigned>(_petals.size()));
            gone->layer->removeFromSuperlayer();
            _petals.erase(gone);
        }
        while (_petals.size() < count) {
            const auto layer = makePictureLayer(below(240), below(180), _pictures[below(3)]);
            _depths[below(3)]->addSublayer(layer.get());
            // Some petals do not move.
            const double speed = oneIn(4) ? 0 : 0.5 + below(5);
            _petals.push_back({layer, speed, speed * (below(21) - 10.0) / 100, below(6) * 1.0});
        }
    }

    void resize() {
        _width = 180 + below(160);
        _height = 120 + below(120);
        const CGRect bounds =
            CGRectMake(0, 0, static_cast<CGFloat>(_width), static_cast<CGFloat>(_height));
        _root->setBounds(bounds);
        setBackground(0);
        for (const Retained<CALayer> &depth : _depths) {
            depth->setBounds(bounds);
            depth->setPosition({CGRectGetMidX(bounds), CGRectGetMidY(bounds)});
        }
    }

    std::mt19937 _random;
    const bool _hasBackground;
    std::size_t _width = 0;
    std::size_t _height = 0;
    std::vector<Retained<CGImage>> _pictures;
    Retained<CALayer> _root;
    std::vector<Retained<CALayer>> _depths;
    std::vector<Petal> _petals;
};

/// Buffers that are drawn into alternately, as those of a display are.
class TakingTurns {
  public:
    TakingTurns(std::size_t count, bool isTransparent)
        : _isTransparent(isTransparent), _buffers(count, Buffer{Canvas(1, 1), 0}) {}

    // Draws the picture into the next buffer, and returns that.
    const Canvas &draw(Compositor &compositor, RandomWallpaper &wallpaper) {
        Buffer &buffer = _buffers[_frame++ % _buffers.size()];
        const bool fits = buffer.canvas.width() == wallpaper.width() &&
                          buffer.canvas.height() == wallpaper.height();
        if (!fits) {
            buffer = {Canvas(wallpaper.width(), wallpaper.height(), _isTransparent), 0};
        }
        const unsigned age = buffer.drawnAt == 0 ? 0 : _frame - buffer.drawnAt;
        _changed = buffer.canvas.drawOver(age, compositor, wallpaper.root());
        buffer.drawnAt = _frame;
        return buffer.canvas;
    }

    const std::vector<DeviceRect> &changed() const { return _changed; }

  private:
    struct Buffer {
        Canvas canvas;
        unsigned drawnAt;
    };

    const bool _isTransparent;
    std::vector<Buffer> _buffers;
    std::vector<DeviceRect> _changed;
    unsigned _frame = 0;
};

bool isIn(const std::vector<DeviceRect> &rects, int x, int y) {
    return std::any_of(rects.begin(), rects.end(), [&](const DeviceRect &rect) {
        return rect.contains({x, y, x + 1, y + 1});
    });
}

/// Describes a pixel outside of the rectangles that differs, if there is one.
std::string differenceOutside(const std::vector<DeviceRect> &rects, const Canvas &canvas,
                              const Canvas &before) {
    if (canvas.width() != before.width() || canvas.height() != before.height()) {
        return isIn(rects, 0, 0) ? "" : "size";
    }
    for (std::size_t y = 0; y < canvas.height(); ++y) {
        for (std::size_t x = 0; x < canvas.width(); ++x) {
            if (canvas.at(x, y) != before.at(x, y) &&
                !isIn(rects, static_cast<int>(x), static_cast<int>(y))) {
                return std::to_string(x) + ", " + std::to_string(y);
            }
        }
    }
    return "";
}

std::size_t areaOf(const std::vector<DeviceRect> &rects) {
    std::size_t area = 0;
    for (const DeviceRect &rect : rects) {
        area += static_cast<std::size_t>(rect.area());
    }
    return area;
}

/// Whether no colour is brighter than its pixel's alpha allows.
bool isPremultiplied(const Canvas &canvas) {
    for (std::size_t i = 0; i < canvas.width() * canvas.height(); ++i) {
        const std::uint32_t pixel = canvas.at(i % canvas.width(), i / canvas.width());
        const std::uint32_t color = std::max({pixel & 255, pixel >> 8 & 255, pixel >> 16 & 255});
        if (color > pixel >> 24) {
            return false;
        }
    }
    return true;
}

struct Setting {
    const PixelKernels *kernels;
    std::size_t buffers;
    bool isTransparent;
};

std::vector<Setting> settings() {
    std::vector<Setting> result;
    for (const PixelKernels *const kernels : PixelKernels::all()) {
        for (const std::size_t buffers : {1, 2, 3}) {
            result.push_back({kernels, buffers, false});
            result.push_back({kernels, buffers, true});
        }
    }
    return result;
}

} // namespace

class Damage : public testing::TestWithParam<Setting> {};

TEST_P(Damage, DrawnAloneGivesThePictureThatDrawingAllGives) {
    const bool isTransparent = GetParam().isTransparent;
    RandomWallpaper wallpaper(static_cast<unsigned>(GetParam().buffers), !isTransparent);
    SoftwareCompositor compositor(*GetParam().kernels);
    SoftwareCompositor other(PixelKernels::best());
    TakingTurns target(GetParam().buffers, isTransparent);
    Canvas before(1, 1);
    int drawnInParts = 0;
    for (int frame = 0; frame < 2000; ++frame) {
        wallpaper.step();
        const Canvas &canvas = target.draw(compositor, wallpaper);
        Canvas expected(wallpaper.width(), wallpaper.height(), isTransparent);
        expected.draw(other, wallpaper.root());
        ASSERT_EQ(canvas, expected) << "frame " << frame;
        ASSERT_EQ(differenceOutside(target.changed(), canvas, before), "") << "frame " << frame;
        ASSERT_TRUE(isPremultiplied(canvas)) << "frame " << frame;
        drawnInParts += areaOf(target.changed()) < canvas.width() * canvas.height();
        before = canvas;
    }
    EXPECT_GT(drawnInParts, 400);
    EXPECT_LT(drawnInParts, 1950);
}

INSTANTIATE_TEST_SUITE_P(SoftwareCompositor, Damage, testing::ValuesIn(settings()),
                         [](const auto &info) {
                             return std::string(info.param.kernels->name) +
                                    std::to_string(info.param.buffers) +
                                    (info.param.isTransparent ? "Transparent" : "") + "Buffers";
                         });

TEST(SoftwareCompositor, DrawsNothingAndSaysSoWhenNothingChanged) {
    const auto root = makeFilled(0, 0, 50, 40, kRed);
    SoftwareCompositor compositor;
    Canvas(50, 40).draw(compositor, *root);
    Canvas untouched(50, 40);
    EXPECT_TRUE(untouched.drawOver(1, compositor, *root).empty());
    EXPECT_EQ(untouched.count(Canvas::kGuard), 50U * 40);
}

TEST(SoftwareCompositor, SaysThatAllChangedWhenTheTargetsContentsAreUnknown) {
    const auto root = makeFilled(0, 0, 50, 40, kRed);
    SoftwareCompositor compositor;
    Canvas canvas(50, 40);
    const std::vector<DeviceRect> all{{0, 0, 50, 40}};
    EXPECT_EQ(canvas.drawOver(0, compositor, *root), all);
    EXPECT_EQ(canvas.drawOver(0, compositor, *root), all);
    EXPECT_EQ(Canvas(50, 41).drawOver(1, compositor, *root),
              (std::vector<DeviceRect>{{0, 0, 50, 41}}));
}

TEST(SoftwareCompositor, LeavesWhatNothingCoversTransparent) {
    const auto root = makeLayer(0, 0, 50, 40);
    root->addSublayer(makeFilled(10, 10, 20, 20, kRed).get());
    const Canvas canvas = Canvas(50, 40, true).draw(*root);
    EXPECT_EQ(canvas.count(0xFFFF0000), 20U * 20);
    EXPECT_EQ(canvas.count(0), 50U * 40 - 20 * 20);
    EXPECT_TRUE(canvas.isGuardIntact());
}

TEST(SoftwareCompositor, HidesWhatIsBelowAnOpaqueLayerInATransparentTarget) {
    const auto root = makePictureLayer(0, 0, makeOpaqueNoise(50, 40, 1));
    root->addSublayer(makeFilled(10, 10, 20, 20, {0, 1, 0, 0.5}).get());
    const Canvas transparent = Canvas(50, 40, true).draw(*root);
    const Canvas opaque = Canvas(50, 40).draw(*root);
    for (std::size_t i = 0; i < 50 * 40; ++i) {
        ASSERT_EQ(transparent.at(i % 50, i / 50), opaque.at(i % 50, i / 50)) << i;
    }
}

TEST(SoftwareCompositor, SaysThatAllChangedWhenTheTargetBecomesTransparent) {
    const auto root = makeLayer(0, 0, 50, 40);
    SoftwareCompositor compositor;
    Canvas(50, 40).draw(compositor, *root);
    Canvas canvas(50, 40, true);
    EXPECT_EQ(canvas.drawOver(1, compositor, *root), (std::vector<DeviceRect>{{0, 0, 50, 40}}));
    EXPECT_EQ(canvas.count(0), 50U * 40);
    EXPECT_TRUE(canvas.drawOver(1, compositor, *root).empty());
    EXPECT_EQ(Canvas(50, 40).drawOver(1, compositor, *root),
              (std::vector<DeviceRect>{{0, 0, 50, 40}}));
}

TEST(SoftwareCompositor, SaysWhereALayerWasAndIs) {
    const auto root = makeFilled(0, 0, 1000, 1000, kRed);
    const auto layer = makeFilled(10, 10, 20, 20, kGreen);
    root->addSublayer(layer.get());
    SoftwareCompositor compositor;
    Canvas canvas(1000, 1000);
    canvas.draw(compositor, *root);
    layer->setPosition({900, 500});
    const std::vector<DeviceRect> changed = canvas.drawOver(1, compositor, *root);
    EXPECT_TRUE(isIn(changed, 10, 10));
    EXPECT_TRUE(isIn(changed, 29, 29));
    EXPECT_TRUE(isIn(changed, 890, 490));
    EXPECT_TRUE(isIn(changed, 909, 509));
    EXPECT_FALSE(isIn(changed, 300, 300));
    EXPECT_FALSE(isIn(changed, 900, 10));
}

TEST(SoftwareCompositor, DrawsOnlyWhereSomethingChanged) {
    const auto root = makeFilled(0, 0, 1000, 1000, kRed);
    const auto layer = makeFilled(10, 10, 20, 20, kGreen);
    root->addSublayer(layer.get());
    SoftwareCompositor compositor;
    Canvas(1000, 1000).draw(compositor, *root);
    layer->setPosition({30, 20});
    Canvas canvas(1000, 1000);
    canvas.drawOver(1, compositor, *root);
    EXPECT_EQ(canvas.at(25, 20), 0xFF00FF00);
    EXPECT_EQ(canvas.at(12, 20), 0xFFFF0000);
    EXPECT_LT(canvas.count(0xFFFF0000) + canvas.count(0xFF00FF00), 64U * 20);
}

TEST(SoftwareCompositor, DrawsAllOverATargetThatIsOlderThanItsMemory) {
    const auto root = makeFilled(0, 0, 50, 40, kRed);
    SoftwareCompositor compositor;
    Canvas(50, 40).draw(compositor, *root);
    for (int i = 0; i < 40; ++i) {
        Canvas(50, 40).drawOver(1, compositor, *root);
    }
    Canvas canvas(50, 40);
    canvas.drawOver(41, compositor, *root);
    EXPECT_EQ(canvas.count(0xFFFF0000), 50U * 40);
}

TEST(SoftwareCompositor, DrawsAllAfterAPurge) {
    const auto root = makeFilled(0, 0, 50, 40, kRed);
    SoftwareCompositor compositor;
    Canvas(50, 40).draw(compositor, *root);
    compositor.purge();
    Canvas canvas(50, 40);
    canvas.drawOver(1, compositor, *root);
    EXPECT_EQ(canvas.count(0xFFFF0000), 50U * 40);
}

TEST(DamageHistory, JoinsDamageBelowDamageOfTheSameSidesAlone) {
    DamageHistory history;
    CellMask &damage = history.begin({0, 0, 200, 150});
    for (const DeviceRect &rect :
         {DeviceRect{0, 0, 32, 150}, {64, 32, 128, 96}, {64, 96, 96, 128}, {192, 0, 200, 64}}) {
        damage.add(rect);
    }
    EXPECT_EQ(history.latestRects(),
              (std::vector<DeviceRect>{
                  {0, 0, 32, 150}, {192, 0, 200, 64}, {64, 32, 128, 96}, {64, 96, 96, 128}}));
}
