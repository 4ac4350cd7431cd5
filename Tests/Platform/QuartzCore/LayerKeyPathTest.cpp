#include "Platform/QuartzCore/LayerKeyPath.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

namespace {

using std::numbers::pi;

const char *const kPaths[] = {"position",
                              "bounds",
                              "opacity",
                              "transform",
                              "sublayerTransform",
                              "transform.translation",
                              "transform.scale",
                              "transform.rotation",
                              "transform.rotation.z",
                              "sublayerTransform.rotation.x"};

LayerKeyPath path(const char *text) { return LayerKeyPath::parse(text).value(); }

const CGFloat *elements(const CATransform3D &t) { return &t.m11; }

void expectNear(const CATransform3D &actual, const CATransform3D &expected,
                CGFloat tolerance = 1e-12) {
    for (int i = 0; i < 16; ++i) {
        EXPECT_NEAR(elements(actual)[i], elements(expected)[i], tolerance) << "element " << i;
    }
}

bool isFinite(const CATransform3D &t) {
    return std::all_of(elements(t), elements(t) + 16, [](CGFloat v) { return std::isfinite(v); });
}

/// A transform that moves, rotates, scales and has perspective.
LayerValues anyValues() {
    LayerValues values;
    values.position = {11, 12};
    values.bounds = {{1, 2}, {30, 40}};
    values.opacity = 0.625F;
    values.transform = CATransform3DScale(
        CATransform3DRotate(CATransform3DMakeTranslation(5, 6, 7), 0.4, 0, 0, 1), 2, 3, 4);
    CATransform3D perspective = CATransform3DIdentity;
    perspective.m34 = -0.002;
    values.sublayerTransform = CATransform3DRotate(perspective, 0.3, 1, 0, 0);
    return values;
}

LayerValues written(const char *text, const AnimationComponents &components,
                    LayerValues values = anyValues()) {
    path(text).write(components, values);
    return values;
}

std::optional<AnimationComponents> componentsOf(const char *text, const AnimationValue &value) {
    return path(text).componentsOf(value);
}

} // namespace

TEST(LayerKeyPath, KnowsWhatCanBeAnimated) {
    for (const char *text : kPaths) {
        EXPECT_TRUE(LayerKeyPath::parse(text)) << text;
    }
}

TEST(LayerKeyPath, KnowsNothingElse) {
    for (const char *text : {"", "Opacity", "opacity ", "transform.", "transform.rotation.x",
                             "transform.translation.x", "sublayerTransform.rotation", "frame"}) {
        EXPECT_FALSE(LayerKeyPath::parse(text)) << text;
    }
}

TEST(LayerKeyPath, WritingWhatWasReadChangesNothing) {
    const LayerValues values = anyValues();
    for (const char *text : kPaths) {
        const LayerValues after = written(text, path(text).read(values));
        expectNear(after.transform, values.transform);
        expectNear(after.sublayerTransform, values.sublayerTransform);
        EXPECT_EQ(after.position, values.position) << text;
        EXPECT_EQ(after.bounds, values.bounds) << text;
        EXPECT_EQ(after.opacity, values.opacity) << text;
    }
}

TEST(LayerKeyPath, ReadsWhatWasWritten) {
    const AnimationComponents numbers{0.25, 0.5,  0.75, 1.25, 1.5, 1.75, 2,    2.25,
                                      2.5,  2.75, 3,    3.25, 3.5, 3.75, 4.25, 4.5};
    for (const char *text : kPaths) {
        const LayerKeyPath keyPath = path(text);
        const AnimationComponents read = keyPath.read(written(text, numbers));
        for (std::size_t i = 0; i < keyPath.count(); ++i) {
            EXPECT_NEAR(read[i], numbers[i], 1e-12) << text << ' ' << i;
        }
    }
}

TEST(LayerKeyPath, PlainPropertiesAreTheirValues) {
    EXPECT_EQ(written("position", {3, 4}).position, (CGPoint{3, 4}));
    EXPECT_EQ(written("bounds", {1, 2, 3, 4}).bounds, CGRectMake(1, 2, 3, 4));
    EXPECT_EQ(written("opacity", {0.5}).opacity, 0.5F);
    const CATransform3D turn = CATransform3DMakeRotation(1, 1, 2, 3);
    EXPECT_EQ(written("transform", componentsOf("transform", turn).value()).transform, turn);
    EXPECT_EQ(written("sublayerTransform", componentsOf("transform", turn).value()), [&] {
        LayerValues values = anyValues();
        values.sublayerTransform = turn;
        return values;
    }());
}

TEST(LayerKeyPath, BoundsAreNeverNegativeNorNaN) {
    EXPECT_EQ(written("bounds", {1, 2, -3, std::nan("")}).bounds, CGRectMake(1, 2, 0, 0));
}

TEST(LayerKeyPath, TranslationIsTheFourthRow) {
    const LayerValues before = anyValues();
    EXPECT_EQ(path("transform.translation").read(before)[0], 5);
    EXPECT_EQ(path("transform.translation").read(before)[1], 6);
    CATransform3D expected = before.transform;
    expected.m41 = 50;
    expected.m42 = -60;
    EXPECT_EQ(written("transform.translation", {50, -60}).transform, expected);
}

TEST(LayerKeyPath, ScaleKeepsTheDirectionsOfTheAxes) {
    const CATransform3D expected = CATransform3DScale(
        CATransform3DRotate(CATransform3DMakeTranslation(5, 6, 7), 0.4, 0, 0, 1), 0.5, 1.5, 6);
    expectNear(written("transform.scale", {0.5, 1.5, 6}).transform, expected);
}

TEST(LayerKeyPath, ScaleCanComeBackFromNothing) {
    LayerValues values;
    values.transform = CATransform3DMakeScale(0, 0, 0);
    EXPECT_EQ(path("transform.scale").read(values)[0], 0);
    EXPECT_EQ(written("transform.scale", {2, 2, 2}, values).transform,
              CATransform3DMakeScale(2, 2, 2));
}

TEST(LayerKeyPath, RotationTurnsAboutZAndKeepsScaleAndPlace) {
    for (const char *text : {"transform.rotation", "transform.rotation.z"}) {
        EXPECT_NEAR(path(text).read(anyValues())[0], 0.4, 1e-15);
        for (const double angle : {-pi / 2, 0.0, 1.1, 3.0, 9.0}) {
            const CATransform3D expected = CATransform3DScale(
                CATransform3DRotate(CATransform3DMakeTranslation(5, 6, 7), angle, 0, 0, 1), 2, 3,
                4);
            expectNear(written(text, {angle}).transform, expected);
        }
    }
}

TEST(LayerKeyPath, RotationXTurnsBeforePerspective) {
    const LayerKeyPath keyPath = path("sublayerTransform.rotation.x");
    EXPECT_NEAR(keyPath.read(anyValues())[0], 0.3, 1e-15);
    CATransform3D perspective = CATransform3DIdentity;
    perspective.m34 = -0.002;
    for (const double angle : {-1.2, 0.0, pi / 4, pi / 2, 3.0}) {
        expectNear(written("sublayerTransform.rotation.x", {angle}).sublayerTransform,
                   CATransform3DRotate(perspective, angle, 1, 0, 0));
    }
}

TEST(LayerKeyPath, ATransformOfZerosStaysFinite) {
    LayerValues nothing;
    nothing.transform = CATransform3D();
    nothing.sublayerTransform = CATransform3D();
    for (const char *text : kPaths) {
        const LayerValues after = written(
            text, AnimationComponents{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}, nothing);
        EXPECT_TRUE(isFinite(after.transform)) << text;
        EXPECT_TRUE(isFinite(after.sublayerTransform)) << text;
    }
}

TEST(LayerKeyPath, TakesValuesOfItsType) {
    EXPECT_EQ(componentsOf("opacity", 0.25F).value()[0], 0.25);
    EXPECT_EQ(componentsOf("transform.rotation", 0.1).value()[0], 0.1);
    EXPECT_EQ(componentsOf("transform.scale", 3.0).value()[2], 3);
    EXPECT_EQ(componentsOf("position", CGPoint{1, 2}).value()[1], 2);
    EXPECT_EQ(componentsOf("transform.translation", CGPoint{1, 2}).value()[0], 1);
    EXPECT_EQ(componentsOf("bounds", CGRectMake(1, 2, 3, 4)).value()[3], 4);
    EXPECT_EQ(componentsOf("sublayerTransform", CATransform3DIdentity).value()[15], 1);
}

TEST(LayerKeyPath, RefusesValuesOfAnotherType) {
    const AnimationValue values[] = {std::monostate(), 1.0F,     1.0,
                                     CGPoint(),        CGRect(), CATransform3DIdentity};
    const auto fitting = [&](const char *text) {
        std::string result;
        for (const AnimationValue &value : values) {
            result += componentsOf(text, value) ? '1' : '0';
        }
        return result;
    };
    EXPECT_EQ(fitting("position"), "000100");
    EXPECT_EQ(fitting("transform.translation"), "000100");
    EXPECT_EQ(fitting("bounds"), "000010");
    EXPECT_EQ(fitting("transform"), "000001");
    EXPECT_EQ(fitting("sublayerTransform"), "000001");
    for (const char *text : {"opacity", "transform.scale", "transform.rotation",
                             "transform.rotation.z", "sublayerTransform.rotation.x"}) {
        EXPECT_EQ(fitting(text), "011000") << text;
    }
}
