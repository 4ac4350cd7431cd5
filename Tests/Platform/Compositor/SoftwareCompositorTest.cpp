#include "Tests/Platform/Compositor/CompositorTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(SoftwareCompositor, DrawsBlackWhereNothingIs) {
    const auto root = makeLayer(0, 0, 4, 3);
    EXPECT_EQ(Canvas(4, 3).draw(*root).count(kBlack), 12U);
}

TEST(SoftwareCompositor, LeavesWhatIsRightOfTheRowsAlone) {
    const auto root = makeFilled(0, 0, 40, 30, kRed);
    root->addSublayer(makeFilled(-10, -10, 80, 80, {0, 1, 0, 0.5}).get());
    Canvas canvas(20, 10);
    EXPECT_TRUE(canvas.draw(*root).isGuardIntact());
    EXPECT_EQ(canvas.count(kBlack), 0U);
}

TEST(SoftwareCompositor, TellsTheRootThatItWasDrawn) {
    const auto root = makeLayer(0, 0, 4, 3);
    ASSERT_TRUE(root->needsComposite());
    Canvas(4, 3).draw(*root);
    EXPECT_FALSE(root->needsComposite());
}

TEST(SoftwareCompositor, PutsTheRootsBoundsAtTheCornerWhateverItsPosition) {
    const auto root = makeFilled(100, 50, 4, 4, kRed);
    root->setBounds(CGRectMake(10, 20, 4, 4));
    root->addSublayer(makeFilled(11, 21, 1, 1, kGreen).get());
    const Canvas canvas = Canvas(6, 6).draw(*root);
    EXPECT_EQ(canvas.at(0, 0), 0xFFFF0000);
    EXPECT_EQ(canvas.at(1, 1), 0xFF00FF00);
    EXPECT_EQ(canvas.at(4, 4), kBlack);
}

TEST(SoftwareCompositor, CopiesAPictureAtWholePixelsToTheBit) {
    const auto root = makeLayer(0, 0, 50, 50);
    const auto image = makeOpaqueNoise(17, 11, 1);
    root->addSublayer(makePictureLayer(5, 7, image).get());
    const Canvas canvas = Canvas(50, 50).draw(*root);
    for (NSUInteger y = 0; y < 11; ++y) {
        for (NSUInteger x = 0; x < 17; ++x) {
            ASSERT_EQ(canvas.at(x + 5, y + 7), image->pixels()[y * 17 + x]);
        }
    }
    EXPECT_EQ(canvas.at(4, 7), kBlack);
    EXPECT_EQ(canvas.at(22, 7), kBlack);
}

TEST(SoftwareCompositor, TurnsAPictureByAQuarterToTheBit) {
    const auto root = makeLayer(0, 0, 40, 40);
    const auto image = makeOpaqueNoise(10, 10, 2);
    const auto layer = makePictureLayer(5, 5, image);
    layer->setTransform({0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    root->addSublayer(layer.get());
    const Canvas canvas = Canvas(40, 40).draw(*root);
    for (NSUInteger y = 0; y < 10; ++y) {
        for (NSUInteger x = 0; x < 10; ++x) {
            ASSERT_EQ(canvas.at(14 - y, x + 5), image->pixels()[y * 10 + x]);
        }
    }
}

TEST(SoftwareCompositor, BlendsTranslucentTexelsAtWholePixelsExactly) {
    const auto root = makeFilled(0, 0, 8, 8, kWhite);
    root->addSublayer(
        makePictureLayer(2, 2, makeImage(1, 1, [](auto, auto) { return 0x80400000U; })).get());
    EXPECT_EQ(Canvas(8, 8).draw(*root).at(2, 2), 0xFFBF7F7F);
}

TEST(SoftwareCompositor, SplitsAPictureAtHalfAPixelEvenly) {
    const auto root = makeLayer(0, 0, 8, 8);
    root->addSublayer(
        makePictureLayer(2.5, 2, makeImage(1, 1, [](auto, auto) { return 0xFFFFFFFFU; })).get());
    const Canvas canvas = Canvas(8, 8).draw(*root);
    EXPECT_EQ(canvas.at(2, 2), 0xFF808080);
    EXPECT_EQ(canvas.at(3, 2), 0xFF808080);
    EXPECT_EQ(canvas.at(1, 2), kBlack);
    EXPECT_EQ(canvas.at(4, 2), kBlack);
}

TEST(SoftwareCompositor, LeavesNoBorderAroundEnlargedOpaqueContents) {
    const auto root = makeLayer(0, 0, 200, 200);
    const auto white = makeImage(3, 3, [](auto, auto) { return 0xFFFFFFFFU; });
    for (const CGFloat x : {10.0, 50.0}) { // side by side
        const auto layer = makePictureLayer(0, 0, white);
        layer->setBounds(CGRectMake(0, 0, 40, 40));
        layer->setPosition({x + 20, 30});
        root->addSublayer(layer.get());
    }
    const Canvas canvas = Canvas(200, 200).draw(*root);
    EXPECT_EQ(canvas.count(0xFFFFFFFF), 80U * 40);
    EXPECT_EQ(canvas.count(kBlack), 200U * 200 - 80 * 40);
}

TEST(SoftwareCompositor, CoversPixelsInPartWhereABackgroundEndsWithinThem) {
    const auto root = makeLayer(0, 0, 8, 8);
    root->addSublayer(makeFilled(1.25, 1, 4, 2.5, kWhite).get());
    const Canvas canvas = Canvas(8, 8).draw(*root);
    EXPECT_EQ(canvas.at(1, 1), 0xFFBFBFBF);
    EXPECT_EQ(canvas.at(2, 1), 0xFFFFFFFF);
    EXPECT_EQ(canvas.at(5, 1), 0xFF404040);
    EXPECT_EQ(canvas.at(2, 3), 0xFF808080);
    EXPECT_EQ(canvas.at(6, 1), kBlack);
}

TEST(SoftwareCompositor, DrawsALineThinnerThanAPixelAsFaintAsItIsThin) {
    const auto root = makeLayer(0, 0, 8, 8);
    root->addSublayer(makeFilled(3.25, 0, 0.25, 8, kWhite).get());
    EXPECT_EQ(Canvas(8, 8).draw(*root).at(3, 4), 0xFF404040);
}

TEST(SoftwareCompositor, MakesScalePixelsOfAPoint) {
    const auto root = makeLayer(0, 0, 8, 8);
    root->addSublayer(makeFilled(1, 1, 2, 2, kRed).get());
    const Canvas canvas = Canvas(16, 16).draw(*root, 2);
    EXPECT_EQ(canvas.count(0xFFFF0000), 16U);
    EXPECT_EQ(canvas.at(2, 2), 0xFFFF0000);
    EXPECT_EQ(canvas.at(5, 5), 0xFFFF0000);
}

TEST(SoftwareCompositor, CopiesADensePictureOnADenseTargetToTheBit) {
    const auto root = makeLayer(0, 0, 20, 20);
    const auto image = makeOpaqueNoise(12, 8, 3);
    const auto layer = makeLayer(2, 3, 6, 4);
    layer->setContents(image);
    root->addSublayer(layer.get());
    const Canvas canvas = Canvas(40, 40).draw(*root, 2);
    for (NSUInteger y = 0; y < 8; ++y) {
        for (NSUInteger x = 0; x < 12; ++x) {
            ASSERT_EQ(canvas.at(x + 4, y + 6), image->pixels()[y * 12 + x]);
        }
    }
}

TEST(SoftwareCompositor, DrawsLaterSublayersInFront) {
    const auto root = makeFilled(0, 0, 8, 8, kWhite);
    root->addSublayer(makeFilled(0, 0, 4, 4, kRed).get());
    root->addSublayer(makeFilled(2, 2, 4, 4, kGreen).get());
    const Canvas canvas = Canvas(8, 8).draw(*root);
    EXPECT_EQ(canvas.at(3, 3), 0xFF00FF00);
    EXPECT_EQ(canvas.at(1, 1), 0xFFFF0000);
    EXPECT_EQ(canvas.at(7, 7), 0xFFFFFFFF);
}

TEST(SoftwareCompositor, DrawsContentsOverTheBackgroundAndUnderSublayers) {
    const auto root = makeFilled(0, 0, 6, 1, kRed);
    root->setContents(makeImage(2, 1, [](auto, auto) { return 0xFF0000FFU; }));
    root->setContentsGravity(ContentsGravity::Center);
    root->addSublayer(makeFilled(3, 0, 1, 1, kGreen).get());
    const Canvas canvas = Canvas(6, 1).draw(*root);
    EXPECT_EQ(canvas.at(1, 0), 0xFFFF0000);
    EXPECT_EQ(canvas.at(2, 0), 0xFF0000FF);
    EXPECT_EQ(canvas.at(3, 0), 0xFF00FF00);
}

TEST(SoftwareCompositor, HidesALayerWithEverythingInIt) {
    const auto root = makeLayer(0, 0, 8, 8);
    const auto layer = makeFilled(0, 0, 8, 8, kRed);
    layer->addSublayer(makeFilled(1, 1, 2, 2, kGreen).get());
    root->addSublayer(layer.get());
    layer->setHidden(true);
    EXPECT_EQ(Canvas(8, 8).draw(*root).count(kBlack), 64U);
}

TEST(SoftwareCompositor, TurnsSublayersAboutTheAnchorPointOfTheirLayer) {
    const auto root = makeLayer(0, 0, 10, 10);
    root->addSublayer(makeFilled(1, 2, 3, 1, kRed).get());
    root->setSublayerTransform(CATransform3DMakeScale(-1, -1, 1)); // half a turn about (5, 5)
    const Canvas canvas = Canvas(10, 10).draw(*root);
    EXPECT_EQ(canvas.count(0xFFFF0000), 3U);
    EXPECT_EQ(canvas.at(6, 7), 0xFFFF0000);
    EXPECT_EQ(canvas.at(8, 7), 0xFFFF0000);
}

TEST(SoftwareCompositor, TurnsALayerAboutItsOwnAnchorPoint) {
    const auto root = makeLayer(0, 0, 20, 20);
    const auto layer = makeFilled(0, 0, 4, 2, kRed);
    layer->setAnchorPoint({0, 0});
    layer->setPosition({10, 10});
    layer->setTransform({0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}); // clockwise
    root->addSublayer(layer.get());
    const Canvas canvas = Canvas(20, 20).draw(*root);
    EXPECT_EQ(canvas.count(0xFFFF0000), 8U);
    EXPECT_EQ(canvas.at(8, 10), 0xFFFF0000);
    EXPECT_EQ(canvas.at(9, 13), 0xFFFF0000);
}

TEST(SoftwareCompositor, ShowsOverlappingSublayersOfAFadedLayerAsOne) {
    const auto root = makeFilled(0, 0, 8, 8, kWhite);
    const auto group = makeLayer(0, 0, 8, 8);
    group->addSublayer(makeFilled(0, 0, 4, 4, kRed).get());
    group->addSublayer(makeFilled(2, 2, 4, 4, kGreen).get());
    group->setOpacity(0.5F);
    root->addSublayer(group.get());
    const Canvas canvas = Canvas(8, 8).draw(*root);
    EXPECT_EQ(canvas.at(1, 1), 0xFFFF7F7F);
    EXPECT_EQ(canvas.at(3, 3), 0xFF7FFF7F); // no red shows through
    EXPECT_EQ(canvas.at(5, 5), 0xFF7FFF7F);
    EXPECT_EQ(canvas.at(7, 7), 0xFFFFFFFF);
}

TEST(SoftwareCompositor, FadesALeafLikeItsGroup) {
    const auto root = makeLayer(0, 0, 8, 8);
    const auto layer = makeFilled(0, 0, 4, 4, kWhite);
    layer->setOpacity(0.25F);
    root->addSublayer(layer.get());
    EXPECT_EQ(Canvas(8, 8).draw(*root).at(1, 1), 0xFF404040);
}

TEST(SoftwareCompositor, MultipliesTheOpacityOfNestedGroups) {
    const auto root = makeLayer(0, 0, 8, 8);
    const auto outer = makeFilled(0, 0, 8, 8, kRed);
    const auto inner = makeFilled(0, 0, 4, 8, kWhite);
    inner->addSublayer(makeFilled(0, 0, 2, 8, kGreen).get());
    inner->setOpacity(0.5F);
    outer->addSublayer(inner.get());
    outer->setOpacity(0.5F);
    root->addSublayer(outer.get());
    const Canvas canvas = Canvas(8, 8).draw(*root);
    EXPECT_EQ(canvas.at(1, 1), 0xFF404000);
    EXPECT_EQ(canvas.at(3, 1), 0xFF804040);
    EXPECT_EQ(canvas.at(6, 1), 0xFF800000);
}

TEST(SoftwareCompositor, FadesTheRootOverBlack) {
    const auto root = makeFilled(0, 0, 8, 8, kWhite);
    root->addSublayer(makeFilled(0, 0, 4, 8, kRed).get());
    root->setOpacity(0.5F);
    const Canvas canvas = Canvas(8, 8).draw(*root);
    EXPECT_EQ(canvas.at(1, 1), 0xFF800000);
    EXPECT_EQ(canvas.at(6, 1), 0xFF808080);
}

TEST(SoftwareCompositor, ClipsSublayersAndContentsToTheBounds) {
    const auto root = makeLayer(0, 0, 20, 20);
    const auto clip = makeLayer(4, 4, 6, 6);
    clip->setMasksToBounds(true);
    clip->setContents(makeImage(10, 10, [](auto, auto) { return 0xFF00FF00U; }));
    clip->setContentsGravity(ContentsGravity::Center);
    clip->addSublayer(makeFilled(3, -5, 20, 30, kRed).get());
    root->addSublayer(clip.get());
    const Canvas canvas = Canvas(20, 20).draw(*root);
    EXPECT_EQ(canvas.count(0xFFFF0000), 18U);
    EXPECT_EQ(canvas.count(0xFF00FF00), 18U);
    EXPECT_EQ(canvas.count(kBlack), 400U - 36);
}

TEST(SoftwareCompositor, ShowsOverhangingSublayersWithoutAClip) {
    const auto root = makeLayer(0, 0, 20, 20);
    const auto layer = makeLayer(4, 4, 6, 6);
    layer->addSublayer(makeFilled(-2, -2, 10, 10, kRed).get());
    root->addSublayer(layer.get());
    EXPECT_EQ(Canvas(20, 20).draw(*root).count(0xFFFF0000), 100U);
}

TEST(SoftwareCompositor, CoversPixelsInPartWhereAClipEndsWithinThem) {
    const auto root = makeLayer(0, 0, 20, 20);
    const auto clip = makeLayer(4.5, 4, 6, 6);
    clip->setMasksToBounds(true);
    clip->addSublayer(makeFilled(-2, -2, 10, 10, kWhite).get());
    clip->addSublayer(makeFilled(-2, -2, 10, 10, kRed).get());
    root->addSublayer(clip.get());
    const Canvas canvas = Canvas(20, 20).draw(*root);
    EXPECT_EQ(canvas.at(4, 5), 0xFF800000);
    EXPECT_EQ(canvas.at(5, 5), 0xFFFF0000);
    EXPECT_EQ(canvas.at(10, 5), 0xFF800000);
    EXPECT_EQ(canvas.at(11, 5), kBlack);
}

TEST(SoftwareCompositor, ClipsToABoundsThatIsTurned) {
    const auto root = makeLayer(0, 0, 40, 40);
    const auto clip = makeLayer(10, 10, 20, 20);
    clip->setMasksToBounds(true);
    clip->setTransform(CATransform3DMakeRotation(M_PI / 4, 0, 0, 1));
    clip->addSublayer(makeFilled(-20, -20, 60, 60, kRed).get());
    root->addSublayer(clip.get());
    const Canvas canvas = Canvas(40, 40).draw(*root);
    EXPECT_EQ(canvas.at(20, 20), 0xFFFF0000);
    EXPECT_EQ(canvas.at(20, 8), 0xFFFF0000); // a corner points up
    EXPECT_EQ(canvas.at(11, 11), kBlack);
    EXPECT_EQ(canvas.at(28, 11), kBlack);
}

TEST(SoftwareCompositor, ShowsNothingInsideAClipWithoutArea) {
    const auto root = makeLayer(0, 0, 8, 8);
    const auto clip = makeLayer(4, 4, 0, 0);
    clip->addSublayer(makeFilled(-4, -4, 8, 8, kRed).get());
    root->addSublayer(clip.get());
    EXPECT_EQ(Canvas(8, 8).draw(*root).count(0xFFFF0000), 64U);
    clip->setMasksToBounds(true);
    EXPECT_EQ(Canvas(8, 8).draw(*root).count(kBlack), 64U);
}

struct GravityCase {
    const char *name;
    ContentsGravity gravity;
    CGFloat contentsScale;
    CGRect shown; // of a 4 × 2 picture in bounds of 8 × 8 at (10, 10)
};

class Gravity : public testing::TestWithParam<GravityCase> {};

TEST_P(Gravity, PlacesThePicture) {
    const auto root = makeLayer(0, 0, 30, 30);
    const auto layer = makeLayer(10, 10, 8, 8);
    layer->setContents(makeImage(4, 2, [](auto, auto) { return 0xFFFF0000U; }));
    layer->setContentsGravity(GetParam().gravity);
    layer->setContentsScale(GetParam().contentsScale);
    root->addSublayer(layer.get());
    const Canvas canvas = Canvas(30, 30).draw(*root);
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 30; ++x) {
            const bool inside = CGRectContainsPoint(GetParam().shown, {x + 0.5, y + 0.5});
            ASSERT_EQ(canvas.at(x, y), inside ? 0xFFFF0000 : kBlack) << x << ", " << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    SoftwareCompositor, Gravity,
    testing::Values(
        GravityCase{"Resize", ContentsGravity::Resize, 1, CGRectMake(10, 10, 8, 8)},
        GravityCase{"ResizeAspect", ContentsGravity::ResizeAspect, 1, CGRectMake(10, 12, 8, 4)},
        GravityCase{"AspectFill", ContentsGravity::ResizeAspectFill, 1, CGRectMake(6, 10, 16, 8)},
        GravityCase{"Center", ContentsGravity::Center, 1, CGRectMake(12, 13, 4, 2)},
        GravityCase{"DenseCenter", ContentsGravity::Center, 0.5, CGRectMake(10, 12, 8, 4)}),
    [](const auto &info) { return info.param.name; });

TEST(SoftwareCompositor, GivesTheSamePictureAfterAPurge) {
    const auto root = makeLayer(0, 0, 100, 80);
    root->setContents(makeOpaqueNoise(211, 97, 4));
    root->setContentsGravity(ContentsGravity::ResizeAspectFill);
    const auto small = makePictureLayer(30, 30, makeNoise(64, 64, 5));
    small->setTransform(CATransform3DMakeScale(0.2, 0.2, 1));
    root->addSublayer(small.get());
    SoftwareCompositor compositor;
    const Canvas first = Canvas(100, 80).draw(compositor, *root);
    const Canvas again = Canvas(100, 80).draw(compositor, *root);
    compositor.purge();
    EXPECT_EQ(first, again);
    EXPECT_EQ(first, Canvas(100, 80).draw(compositor, *root));
}

TEST(SoftwareCompositor, LetsGoOfImagesThatAreNoLongerShown) {
    const auto root = makeLayer(0, 0, 100, 80);
    auto image = makeOpaqueNoise(211, 97, 4);
    root->setContents(image);
    SoftwareCompositor compositor;
    Canvas(100, 80).draw(compositor, *root);
    root->setContents(nullptr);
    Canvas(100, 80).draw(compositor, *root);
    EXPECT_EQ(image->retainCount(), 1U);
}

TEST(SoftwareCompositor, LetsGoOfItsImagesWhenPurged) {
    const auto root = makeLayer(0, 0, 100, 80);
    auto large = makeOpaqueNoise(211, 97, 4);
    auto small = makeNoise(64, 64, 5);
    root->setContents(large);
    const auto layer = makePictureLayer(30, 30, small);
    layer->setTransform(CATransform3DMakeScale(0.2, 0.2, 1));
    root->addSublayer(layer.get());
    SoftwareCompositor compositor;
    Canvas(100, 80).draw(compositor, *root);
    EXPECT_GT(large->retainCount(), 2U);
    EXPECT_GT(small->retainCount(), 2U);
    compositor.purge();
    EXPECT_EQ(large->retainCount(), 2U);
    EXPECT_EQ(small->retainCount(), 2U);
}

/// Scaling a background takes as long as many frames.
TEST(SoftwareCompositor, KeepsItsScaledBackgroundWhileNothingChanges) {
    const auto root = makeLayer(0, 0, 100, 80);
    auto image = makeOpaqueNoise(211, 97, 4);
    root->setContents(image);
    SoftwareCompositor compositor;
    Canvas canvas(100, 80);
    canvas.draw(compositor, *root);
    const NSUInteger users = image->retainCount();
    EXPECT_TRUE(canvas.drawOver(1, compositor, *root).empty());
    EXPECT_EQ(image->retainCount(), users);
}

TEST(SoftwareCompositor, FollowsAChangeOfTargetSizeAndScale) {
    const auto root = makeLayer(0, 0, 100, 80);
    root->setContents(makeOpaqueNoise(211, 97, 4));
    SoftwareCompositor compositor;
    Canvas(100, 80).draw(compositor, *root);
    EXPECT_EQ(Canvas(150, 120).draw(compositor, *root, 1.5), Canvas(150, 120).draw(*root, 1.5));
    EXPECT_EQ(Canvas(50, 120).draw(compositor, *root, 1.5), Canvas(50, 120).draw(*root, 1.5));
}

TEST(SoftwareCompositor, KeepsAStronglyReducedPictureFromShimmering) {
    const auto root = makeLayer(0, 0, 40, 40);
    const auto layer = makePictureLayer(
        0, 0, makeImage(64, 64, [](auto x, auto y) { return (x + y) % 2 ? 0xFFFFFFFFU : kBlack; }));
    layer->setTransform(CATransform3DMakeScale(0.25, 0.25, 1));
    root->addSublayer(layer.get());
    for (int step = 0; step < 8; ++step) {
        layer->setPosition({20 + step / 8.0, 20 + step / 16.0});
        const std::uint32_t middle = Canvas(40, 40).draw(*root).at(20, 20);
        EXPECT_NEAR(middle & 255, 127.5, 1);
    }
}

TEST(SoftwareCompositor, ScalesLargeContentsWithoutADarkBorder) {
    const auto root = makeLayer(0, 0, 90, 70);
    root->setContents(makeImage(31, 57, [](auto, auto) { return 0xFFFFFFFFU; }));
    for (const ContentsGravity gravity :
         {ContentsGravity::Resize, ContentsGravity::ResizeAspectFill}) {
        root->setContentsGravity(gravity);
        EXPECT_EQ(Canvas(90, 70).draw(*root).count(0xFFFFFFFF), 90U * 70);
    }
}

TEST(SoftwareCompositor, KeepsAverageBrightnessWhenLargeContentsAreReduced) {
    const auto root = makeLayer(0, 0, 50, 50);
    root->setContents(
        makeImage(400, 400, [](auto x, auto y) { return (x + y) % 2 ? 0xFFFFFFFFU : kBlack; }));
    const Canvas canvas = Canvas(50, 50).draw(*root);
    for (std::size_t i = 0; i < 50 * 50; ++i) {
        ASSERT_NEAR(canvas.at(i % 50, i / 50) & 255, 127.5, 2);
    }
}

TEST(SoftwareCompositor, IgnoresATargetWithoutPixels) {
    const auto root = makeFilled(0, 0, 8, 8, kRed);
    SoftwareCompositor compositor;
    std::uint32_t untouched = 7;
    compositor.composite(*root, {nullptr, 8, 8, 8}, 1);
    compositor.composite(*root, {&untouched, 0, 8, 8}, 1);
    compositor.composite(*root, {&untouched, 8, 0, 8}, 1);
    EXPECT_EQ(untouched, 7U);
    EXPECT_FALSE(root->needsComposite());
}

TEST(SoftwareCompositor, FillsASinglePixel) {
    const auto root = makeFilled(0, 0, 100, 100, kRed);
    root->setContents(makeNoise(300, 300, 6));
    const auto image = makeImage(1, 1, [](auto, auto) { return 0xFF00FF00U; });
    root->addSublayer(makePictureLayer(0, 0, image).get());
    EXPECT_EQ(Canvas(1, 1).draw(*root).at(0, 0), 0xFF00FF00);
}

TEST(SoftwareCompositor, DrawsOnlyBlackWithoutAUsableScale) {
    const auto root = makeFilled(0, 0, 4, 4, kRed);
    for (const double scale : {0.0, -1.0, std::nan(""), HUGE_VAL}) {
        EXPECT_EQ(Canvas(4, 4).draw(*root, scale).count(kBlack), 16U);
    }
}

namespace {

const double kOddNumbers[] = {
    0,      -0.0,     1e-300,    1e-20,
    1e-6,   0.4,      -1,        70000,
    -1e9,   1e18,     -1e100,    1e300,
    -1e308, HUGE_VAL, -HUGE_VAL, std::numeric_limits<double>::quiet_NaN()};

/// Layers of every kind, each with one odd number in one of its fields.
void setOddField(CALayer &layer, int field, double odd) {
    CATransform3D transform = layer.transform();
    double *const entries[] = {&transform.m11, &transform.m12, &transform.m14,
                               &transform.m21, &transform.m24, &transform.m34,
                               &transform.m41, &transform.m42, &transform.m44};
    switch (field) {
    case 0:
        return layer.setPosition({odd, 5});
    case 1:
        return layer.setBounds(CGRectMake(odd, 0, 20, 20));
    case 2:
        return layer.setBounds(CGRectMake(0, 0, odd, 20));
    case 3:
        return layer.setBounds(CGRectMake(0, 0, odd, odd));
    case 4:
        return layer.setAnchorPoint({odd, odd});
    case 5:
        return layer.setOpacity(static_cast<float>(std::clamp(odd, -1e30, 1e30)));
    case 6:
        return layer.setBackgroundColor({odd, odd, odd, odd});
    case 7:
        return layer.setContentsScale(odd);
    case 8:
        return layer.setPosition({odd, -odd});
    case 9:
        return layer.setTransform(CATransform3DMakeScale(odd, odd, odd));
    default:
        *entries[field - 10] = odd;
        return layer.setTransform(transform);
    }
}
constexpr int kOddFields = 19;

} // namespace

TEST(SoftwareCompositor, SurvivesOddGeometryOfEveryField) {
    for (int field = 0; field < kOddFields; ++field) {
        for (const double odd : kOddNumbers) {
            for (const bool masks : {false, true}) {
                const auto root = makeLayer(0, 0, 32, 32);
                const auto layer = makeFilled(4, 4, 20, 20, {1, 0, 0, 0.5});
                layer->setContents(makeNoise(13, 7, 7));
                layer->setContentsGravity(ContentsGravity::Center);
                layer->setTransform(CATransform3DMakeRotation(0.5, 0, 0, 1));
                layer->setMasksToBounds(masks);
                layer->setOpacity(0.7F);
                layer->addSublayer(makePictureLayer(1, 1, makeNoise(9, 9, 8)).get());
                setOddField(*layer, field, odd);
                root->addSublayer(layer.get());
                EXPECT_TRUE(Canvas(32, 32).draw(*root, 1.5).isGuardIntact());
                root->setSublayerTransform(layer->transform());
                EXPECT_TRUE(Canvas(32, 32).draw(*root, 1.5).isGuardIntact());
            }
        }
    }
}

TEST(SoftwareCompositor, ShowsTheMiddleOfAGiganticLayer) {
    const auto root = makeLayer(0, 0, 16, 16);
    const auto layer = makeFilled(-5e11, -5e11, 1e12, 1e12, kRed);
    layer->setContents(makeImage(2, 2, [](auto, auto) { return 0xFF00FF00U; }));
    root->addSublayer(layer.get());
    EXPECT_EQ(Canvas(16, 16).draw(*root).count(0xFF00FF00), 256U);
    layer->setTransform(CATransform3DMakeRotation(0.3, 0, 0, 1));
    EXPECT_EQ(Canvas(16, 16).draw(*root).count(0xFF00FF00), 256U);
}

TEST(SoftwareCompositor, SkipsSpritesFarOutside) {
    const auto root = makeLayer(0, 0, 16, 16);
    for (const double x : {-1e15, -100.0, 17.0, 1e4, 3e9, 1e15}) {
        const auto layer = makePictureLayer(x, x, makeOpaqueNoise(8, 8, 9));
        layer->setTransform(CATransform3DMakeRotation(x, 0, 0, 1));
        root->addSublayer(layer.get());
    }
    EXPECT_EQ(Canvas(16, 16).draw(*root).count(kBlack), 256U);
}

TEST(SoftwareCompositor, ShowsALayerInPerspectiveAboutWhereItIs) {
    const auto root = makeLayer(0, 0, 64, 64);
    const auto layer = makeFilled(16, 16, 32, 32, kRed);
    CATransform3D perspective = CATransform3DIdentity;
    perspective.m34 = -1 / 500.0;
    root->setSublayerTransform(perspective);
    layer->setTransform(CATransform3DMakeRotation(M_PI / 4, 1, 0, 0));
    root->addSublayer(layer.get());
    const Canvas canvas = Canvas(64, 64).draw(*root);
    EXPECT_EQ(canvas.at(32, 32), 0xFFFF0000);
    EXPECT_EQ(canvas.at(32, 18), kBlack); // foreshortened to about 23 lines
    EXPECT_EQ(canvas.at(12, 32), kBlack);
}
