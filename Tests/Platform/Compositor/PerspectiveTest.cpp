#include "Platform/Compositor/DisplayList.h"
#include "Tests/Platform/Compositor/CompositorTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

// Layers that a sublayer transform tilts away from the viewer, compared with what an eye before the
// screen sees of a plane, computed in long double and without a matrix.

namespace {

using Real = long double;

constexpr int kSide = 200;
constexpr Real kEye = 500; // points before the screen
constexpr Real kMiddle = 100;
constexpr Real kPi = 3.14159265358979323846264338327950288L;

struct Place {
    Real x;
    Real y;
};

/// A rectangle that lies in a plane, turned within it, and the plane tilted about the middle of the
/// screen, its lower half towards the viewer.
struct Sheet {
    Real width = 120;
    Real height = 100;
    Place middle{90, 105};
    Real turn = 0;
    Real tilt = kPi / 4;
    Real scale = 1; // pixels a point

    /// The place on the device of a point of the rectangle, which is given in fractions of the
    /// sides.
    Place seen(Real u, Real v) const {
        const Real x = (u - 0.5L) * width;
        const Real y = (v - 0.5L) * height;
        const Real inX = x * std::cos(turn) - y * std::sin(turn) + middle.x - kMiddle;
        const Real inY = x * std::sin(turn) + y * std::cos(turn) + middle.y - kMiddle;
        const Real nearer = kEye / (kEye - inY * std::sin(tilt));
        return {(kMiddle + inX * nearer) * scale,
                (kMiddle + inY * std::cos(tilt) * nearer) * scale};
    }

    /// The point where the line from the eye through a point of the device meets the plane, in
    /// fractions of the rectangle's sides. None when it is behind the eye.
    std::optional<Place> met(Real deviceX, Real deviceY) const {
        const Real x = deviceX / scale - kMiddle;
        const Real y = deviceY / scale - kMiddle;
        const Real inY = kEye * y / (kEye * std::cos(tilt) + y * std::sin(tilt));
        const Real distance = kEye - inY * std::sin(tilt);
        if (!(distance > 0)) {
            return std::nullopt;
        }
        const Real fromX = x * distance / kEye + kMiddle - middle.x;
        const Real fromY = inY + kMiddle - middle.y;
        return Place{(fromX * std::cos(turn) + fromY * std::sin(turn)) / width + 0.5L,
                     (fromY * std::cos(turn) - fromX * std::sin(turn)) / height + 0.5L};
    }

    bool covers(Real deviceX, Real deviceY) const {
        const auto place = met(deviceX, deviceY);
        return place && place->x >= 0 && place->x <= 1 && place->y >= 0 && place->y <= 1;
    }

    enum class Side { Inside, Outside, AtTheEdge };

    /// Where a pixel lies; within two pixels of an edge counts as at the edge.
    Side sideOf(int x, int y) const {
        int inside = 0;
        for (const int dx : {-2, 0, 2}) {
            for (const int dy : {-2, 0, 2}) {
                inside += covers(x + 0.5L + dx, y + 0.5L + dy) ? 1 : 0;
            }
        }
        return inside == 9 ? Side::Inside : inside == 0 ? Side::Outside : Side::AtTheEdge;
    }

    std::array<Place, 4> corners() const {
        return {seen(0, 0), seen(1, 0), seen(1, 1), seen(0, 1)};
    }

    /// A layer in the place of the sheet, without colour or picture.
    Retained<CALayer> makeSheet() const {
        auto layer = makeRetained<CALayer>();
        layer->setBounds(
            CGRectMake(0, 0, static_cast<CGFloat>(width), static_cast<CGFloat>(height)));
        layer->setPosition({static_cast<CGFloat>(middle.x), static_cast<CGFloat>(middle.y)});
        layer->setTransform(CATransform3DMakeRotation(static_cast<CGFloat>(turn), 0, 0, 1));
        return layer;
    }

    /// A root whose sublayers are tilted, with the sheet in it.
    Retained<CALayer> makeTree(const Retained<CALayer> &sheet) const {
        auto root = makeLayer(0, 0, kSide, kSide);
        CATransform3D t = CATransform3DIdentity;
        t.m34 = static_cast<CGFloat>(-1 / kEye);
        root->setSublayerTransform(CATransform3DRotate(t, static_cast<CGFloat>(tilt), 1, 0, 0));
        root->addSublayer(sheet.get());
        return root;
    }

    Retained<CALayer> makeFilledTree(CGColor color) const {
        const auto sheet = makeSheet();
        sheet->setBackgroundColor(color);
        return makeTree(sheet);
    }
};

std::vector<Sheet> someSheets() {
    std::vector<Sheet> sheets;
    for (const Real tilt : {kPi / 4, -kPi / 4, kPi / 3, 0.2L}) {
        for (const Real turn : {0.05L, 0.3L, -1.0L}) {
            sheets.push_back({.turn = turn, .tilt = tilt});
        }
    }
    sheets.push_back({.width = 60, .height = 50, .middle = {40, 60}, .turn = 0.1L, .scale = 2});
    return sheets;
}

/// The white part of a pixel.
Real whiteness(const Canvas &canvas, int x, int y) { return (canvas.at(x, y) & 255) / Real{255}; }

/// The function x·X + y·Y + one of a point: its distance in pixels from an edge, positive inside.
struct Line {
    Real x = 0;
    Real y = 0;
    Real one = 0;

    Real at(Place place) const { return x * place.x + y * place.y + one; }

    /// The edge from one place to another; the right hand side is inside.
    static Line through(Place from, Place to) {
        const Real length = std::hypot(to.x - from.x, to.y - from.y);
        const Real x = (from.y - to.y) / length;
        const Real y = (to.x - from.x) / length;
        return {x, y, -x * from.x - y * from.y};
    }

    Place intersection(const Line &other) const {
        const Real determinant = x * other.y - y * other.x;
        return {(y * other.one - one * other.y) / determinant,
                (one * other.x - x * other.one) / determinant};
    }
};

/// The line that fits best to the distances of some places from it.
class LineFit {
  public:
    void add(Place place, Real inside) {
        _samples.push_back({place, inside});
        _mean.x += place.x;
        _mean.y += place.y;
        _meanInside += inside;
    }

    std::size_t count() const { return _samples.size(); }

    Line line() const {
        const Real n = static_cast<Real>(_samples.size());
        const Place mean{_mean.x / n, _mean.y / n};
        Real xx = 0, xy = 0, yy = 0, xInside = 0, yInside = 0;
        for (const auto &[place, inside] : _samples) {
            const Real x = place.x - mean.x;
            const Real y = place.y - mean.y;
            xx += x * x;
            xy += x * y;
            yy += y * y;
            xInside += x * (inside - _meanInside / n);
            yInside += y * (inside - _meanInside / n);
        }
        const Real determinant = xx * yy - xy * xy;
        const Real x = (xInside * yy - xy * yInside) / determinant;
        const Real y = (xx * yInside - xInside * xy) / determinant;
        return {x, y, _meanInside / n - x * mean.x - y * mean.y};
    }

  private:
    std::vector<std::pair<Place, Real>> _samples;
    Place _mean{0, 0};
    Real _meanInside = 0;
};

/// The edges as the pixels show them: the coverage of a pixel that only one edge crosses is one
/// half plus the distance of its centre from that edge.
std::array<Line, 4> foundEdges(const Canvas &canvas, const std::array<Place, 4> &corners) {
    constexpr Real kNear = 0.45L;
    constexpr Real kFar = 3;
    std::array<Line, 4> expected;
    for (std::size_t i = 0; i < 4; ++i) {
        expected[i] = Line::through(corners[i], corners[(i + 1) % 4]);
    }
    std::array<LineFit, 4> fits;
    for (int y = 0; y < static_cast<int>(canvas.height()); ++y) {
        for (int x = 0; x < static_cast<int>(canvas.width()); ++x) {
            const Place middle{x + 0.5L, y + 0.5L};
            for (std::size_t i = 0; i < 4; ++i) {
                const bool isAlone = expected[(i + 1) % 4].at(middle) > kFar &&
                                     expected[(i + 2) % 4].at(middle) > kFar &&
                                     expected[(i + 3) % 4].at(middle) > kFar;
                if (isAlone && std::abs(expected[i].at(middle)) < kNear) {
                    fits[i].add(middle, whiteness(canvas, x, y) - 0.5L);
                }
            }
        }
    }
    std::array<Line, 4> found;
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_GT(fits[i].count(), 25U);
        found[i] = fits[i].line();
    }
    return found;
}

constexpr int kTexture = 64;

unsigned wave(Real x) { return static_cast<unsigned>(127.5L + 127.5L * std::sin(x)); }

/// A texel's red, green and blue in the texture.
std::array<unsigned, 3> texel(int x, int y) {
    const int column = std::clamp(x, 0, kTexture - 1);
    const int row = std::clamp(y, 0, kTexture - 1);
    return {wave(0.4L * column), wave(0.3L * row), wave(0.25L * (column + row))};
}

Retained<CGImage> makeTexture() {
    return makeImage(kTexture, kTexture, [](auto x, auto y) {
        const auto [red, green, blue] = texel(static_cast<int>(x), static_cast<int>(y));
        return premultiplied(255, red, green, blue);
    });
}

/// Interpolates between the four texels around a point.
Real sampled(Place place, std::size_t channel) {
    const Real x = place.x * kTexture - 0.5L;
    const Real y = place.y * kTexture - 0.5L;
    const int column = static_cast<int>(std::floor(x));
    const int row = static_cast<int>(std::floor(y));
    const Real right = x - column;
    const Real lower = y - row;
    return (texel(column, row)[channel] * (1 - right) + texel(column + 1, row)[channel] * right) *
               (1 - lower) +
           (texel(column, row + 1)[channel] * (1 - right) +
            texel(column + 1, row + 1)[channel] * right) *
               lower;
}

Canvas drawn(const Retained<CALayer> &root, Real scale = 1) {
    const auto side = static_cast<std::size_t>(kSide * scale);
    Canvas canvas(side, side);
    canvas.draw(*root, static_cast<CGFloat>(scale));
    EXPECT_TRUE(canvas.isGuardIntact());
    return canvas;
}

/// Expects all pixels away from the sheet's edges to have one of two colours, and many to have
/// each.
void expectCoveredBy(const Sheet &sheet, const Canvas &canvas, std::uint32_t color) {
    int counts[2] = {};
    for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) {
            const Sheet::Side side = sheet.sideOf(x, y);
            if (side != Sheet::Side::AtTheEdge) {
                const bool isInside = side == Sheet::Side::Inside;
                ++counts[isInside];
                ASSERT_EQ(canvas.at(x, y), isInside ? color : kBlack) << x << ' ' << y;
            }
        }
    }
    EXPECT_GT(counts[0], 500);
    EXPECT_GT(counts[1], 500);
}

} // namespace

TEST(Perspective, PutsTheCornersWhereTheEyeSeesThem) {
    for (const Sheet &sheet : someSheets()) {
        const int side = static_cast<int>(kSide * sheet.scale);
        DisplayList list;
        list.build(*sheet.makeFilledTree(kRed), {0, 0, side, side},
                   static_cast<double>(sheet.scale), 0);
        ASSERT_EQ(list.items().size(), 1U);
        const DisplayItem &item = list.items().front();
        ASSERT_TRUE(item.isInPerspective());
        for (const auto &[u, v] : {std::pair{0, 0}, {1, 0}, {1, 1}, {0, 1}}) {
            const Real depth = u * item.depth.x + v * item.depth.y + item.depth.one;
            const Place expected = sheet.seen(u, v);
            EXPECT_NEAR((u * item.map.a + v * item.map.c + item.map.tx) / depth, expected.x, 1e-9);
            EXPECT_NEAR((u * item.map.b + v * item.map.d + item.map.ty) / depth, expected.y, 1e-9);
        }
    }
}

TEST(Perspective, DrawsTheCornersWhereTheEyeSeesThem) {
    for (const Sheet &sheet : someSheets()) {
        const Canvas canvas = drawn(sheet.makeFilledTree(kWhite), sheet.scale);
        const std::array<Place, 4> corners = sheet.corners();
        const std::array<Line, 4> edges = foundEdges(canvas, corners);
        for (std::size_t i = 0; i < 4; ++i) {
            const Place found = edges[(i + 3) % 4].intersection(edges[i]);
            EXPECT_NEAR(found.x, corners[i].x, 0.01) << i << " tilt " << sheet.tilt;
            EXPECT_NEAR(found.y, corners[i].y, 0.01) << i << " turn " << sheet.turn;
        }
    }
}

TEST(Perspective, DrawsTheTextureWhereTheEyeSeesIt) {
    for (const Sheet &sheet : someSheets()) {
        const auto layer = sheet.makeSheet();
        layer->setContents(makeTexture());
        const Canvas canvas = drawn(sheet.makeTree(layer), sheet.scale);
        Real largest = 0;
        int count = 0;
        for (int y = 0; y < static_cast<int>(canvas.height()); ++y) {
            for (int x = 0; x < static_cast<int>(canvas.width()); ++x) {
                if (sheet.sideOf(x, y) != Sheet::Side::Inside) {
                    continue;
                }
                ++count;
                for (const std::size_t channel : {0, 1, 2}) {
                    const Real actual = canvas.at(x, y) >> (16 - 8 * channel) & 255;
                    const Real expected = sampled(*sheet.met(x + 0.5L, y + 0.5L), channel);
                    largest = std::max(largest, std::abs(actual - expected));
                }
            }
        }
        EXPECT_GT(count, 1000);
        EXPECT_LT(largest, 2) << "tilt " << sheet.tilt << " turn " << sheet.turn;
    }
}

TEST(Perspective, CarriesSublayersOfATiltedLayerAlong) {
    // A sublayer that covers a quarter of the sheet.
    const Sheet sheet{.turn = 0.3L};
    const auto layer = sheet.makeSheet();
    layer->addSublayer(makeFilled(60, 50, 60, 50, kGreen).get());
    const Real quarterX = 30;
    const Real quarterY = 25;
    Sheet quarter = sheet;
    quarter.width /= 2;
    quarter.height /= 2;
    quarter.middle = {
        sheet.middle.x + quarterX * std::cos(sheet.turn) - quarterY * std::sin(sheet.turn),
        sheet.middle.y + quarterX * std::sin(sheet.turn) + quarterY * std::cos(sheet.turn)};
    expectCoveredBy(quarter, drawn(sheet.makeTree(layer)), 0xFF00FF00);
}

TEST(Perspective, CutsOffWhatIsBehindTheEye) {
    // The floor reaches from the horizon to behind the viewer.
    Sheet floor{.width = 4000, .height = 4000, .middle = {100, 100}, .tilt = 80 * kPi / 180};
    expectCoveredBy(floor, drawn(floor.makeFilledTree(kRed)), 0xFFFF0000);
    floor.turn = 0.5L;
    expectCoveredBy(floor, drawn(floor.makeFilledTree(kRed)), 0xFFFF0000);
    // The same as a ceiling.
    floor.tilt = -floor.tilt;
    expectCoveredBy(floor, drawn(floor.makeFilledTree(kRed)), 0xFFFF0000);
}

TEST(Perspective, CutsAPictureOffBehindTheEye) {
    const Sheet floor{.width = 60, .height = 4000, .middle = {100, 100}, .tilt = 80 * kPi / 180};
    const auto layer = floor.makeSheet();
    layer->setContents(makeImage(2, 2, [](auto, auto) { return 0xFF0000FFU; }));
    expectCoveredBy(floor, drawn(floor.makeTree(layer)), 0xFF0000FF);
}

TEST(Perspective, DrawsNothingOfWhatIsWhollyBehindTheEye) {
    const Sheet behind{.middle = {100, 900}, .tilt = kPi / 3};
    EXPECT_EQ(drawn(behind.makeFilledTree(kRed)).count(kBlack), std::size_t{kSide} * kSide);
}

TEST(Perspective, DrawsNothingOfWhatIsSeenEdgeOn) {
    const Sheet edge{.tilt = kPi / 2};
    EXPECT_EQ(drawn(edge.makeFilledTree(kRed)).count(kBlack), std::size_t{kSide} * kSide);
}

TEST(Perspective, ShowsTheBackOfWhatIsTurnedAround) {
    const Sheet back{.turn = 0.3L, .tilt = 3 * kPi / 4};
    expectCoveredBy(back, drawn(back.makeFilledTree(kRed)), 0xFFFF0000);
}

using Element = CGFloat CATransform3D::*;

/// A white square beside a red sheet whose transform has one element changed; without a sheet, only
/// the square.
Canvas drawnWith(Element element, CGFloat number, bool hasSheet = true) {
    const Sheet sheet;
    const auto layer = sheet.makeSheet();
    layer->setBackgroundColor(kRed);
    layer->setMasksToBounds(true);
    const auto tilted = sheet.makeTree(layer);
    CATransform3D t = tilted->sublayerTransform();
    t.*element = number;
    tilted->setSublayerTransform(t);
    const auto root = makeLayer(0, 0, kSide, kSide);
    root->addSublayer(makeFilled(0, 0, 20, 20, kWhite).get());
    if (hasSheet) {
        root->addSublayer(tilted.get());
    }
    return drawn(root);
}

TEST(Perspective, ShowsNothingThroughNumbersThatAreNone) {
    constexpr CGFloat kInfinity = std::numeric_limits<CGFloat>::infinity();
    const Canvas square = drawnWith(&CATransform3D::m34, 0, false);
    ASSERT_EQ(square.count(0xFFFFFFFF), 400U);
    ASSERT_EQ(square.count(0xFFFF0000), 0U);
    for (const CGFloat number : {std::nan(""), kInfinity, -kInfinity}) {
        for (const Element element :
             {&CATransform3D::m34, &CATransform3D::m14, &CATransform3D::m44, &CATransform3D::m41,
              &CATransform3D::m11, &CATransform3D::m22, &CATransform3D::m42}) {
            EXPECT_EQ(drawnWith(element, number), square) << number;
        }
    }
}

TEST(Perspective, ShowsWhatHugeNumbersMean) {
    const Canvas square = drawnWith(&CATransform3D::m34, 0, false);
    for (const CGFloat number : {1e300, -1e300}) {
        // The sheet lies where the depth is 0, so what depth does to it does not matter.
        EXPECT_EQ(drawnWith(&CATransform3D::m34, number), drawnWith(&CATransform3D::m34, 0));
        for (const Element farAway :
             {&CATransform3D::m14, &CATransform3D::m44, &CATransform3D::m41, &CATransform3D::m42}) {
            EXPECT_EQ(drawnWith(farAway, number), square) << number;
        }
        const Canvas wide = drawnWith(&CATransform3D::m11, number);
        const Canvas high = drawnWith(&CATransform3D::m22, number);
        for (std::size_t i = 0; i < kSide; ++i) {
            ASSERT_EQ(wide.at(i, kSide / 2), 0xFFFF0000) << i;
            ASSERT_EQ(high.at(kSide / 2, i), 0xFFFF0000) << i;
        }
        EXPECT_EQ(wide.at(kSide / 2, kSide - 10), 0xFF000000);
        EXPECT_EQ(high.at(kSide - 10, kSide / 2), 0xFF000000);
    }
}

TEST(Perspective, MasksAlongTheEdgesThatAreSeen) {
    const Sheet sheet{.turn = 0.3L};
    const auto layer = sheet.makeSheet();
    layer->setMasksToBounds(true);
    layer->addSublayer(makeFilled(-500, -500, 1000, 1000, kWhite).get());
    const Canvas masked = drawn(sheet.makeTree(layer));
    expectCoveredBy(sheet, masked, 0xFFFFFFFF);
    const Canvas filled = drawn(sheet.makeFilledTree(kWhite));
    for (int i = 0; i < kSide * kSide; ++i) {
        const int x = i % kSide;
        const int y = i / kSide;
        ASSERT_NEAR(whiteness(masked, x, y), whiteness(filled, x, y), 1.01 / 255) << x << ' ' << y;
    }
}

TEST(Perspective, FadesWhatOverlapsAsOne) {
    const Sheet sheet;
    const auto layer = sheet.makeSheet();
    layer->setOpacity(0.5F);
    layer->setBackgroundColor(kRed);
    layer->addSublayer(makeFilled(0, 0, static_cast<CGFloat>(sheet.width),
                                  static_cast<CGFloat>(sheet.height), kWhite)
                           .get());
    expectCoveredBy(sheet, drawn(sheet.makeTree(layer)), 0xFF808080);
}

/// It is drawn from a smaller version of itself, so that it does not shimmer while it tilts.
TEST(Perspective, MixesTexelsThatAreTooSmallToBeSeen) {
    const Sheet sheet;
    const auto layer = sheet.makeSheet();
    layer->setContents(makeImage(
        1024, 1024, [](auto x, auto y) { return (x + y) % 2 == 0 ? 0xFFFFFFFFU : 0xFF000000U; }));
    const Canvas canvas = drawn(sheet.makeTree(layer));
    for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) {
            if (sheet.sideOf(x, y) == Sheet::Side::Inside) {
                ASSERT_NEAR(canvas.at(x, y) & 255, 127.5, 2) << x << ' ' << y;
            }
        }
    }
}

TEST(Perspective, LooksTheSameWhenOnlyWhatChangedIsDrawn) {
    SoftwareCompositor compositor;
    Canvas canvas(kSide, kSide);
    Sheet sheet{.turn = 0.2L, .tilt = 0};
    const auto layer = sheet.makeSheet();
    layer->setContents(makeTexture());
    layer->addSublayer(makeFilled(-20, 10, 60, 30, {1, 0, 0, 0.5}).get());
    const auto root = sheet.makeTree(layer);
    canvas.draw(compositor, *root);
    for (int frame = 1; frame <= 60; ++frame) {
        sheet.tilt = static_cast<Real>(frame) / 20;
        root->setSublayerTransform(sheet.makeTree(sheet.makeSheet())->sublayerTransform());
        layer->setMasksToBounds(frame % 20 > 10);
        layer->setOpacity(frame % 30 > 20 ? 0.5F : 1.0F);
        canvas.drawOver(1, compositor, *root);
        ASSERT_EQ(canvas, drawn(root)) << frame;
    }
}
