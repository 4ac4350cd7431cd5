#include "Platform/QuartzCore/CATransform3D.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

namespace {

constexpr auto pi = std::numbers::pi_v<CGFloat>;

using Matrix = std::array<std::array<CGFloat, 4>, 4>;
using Vector = std::array<CGFloat, 4>;

Matrix rows(const CATransform3D &t) {
    return {{{t.m11, t.m12, t.m13, t.m14},
             {t.m21, t.m22, t.m23, t.m24},
             {t.m31, t.m32, t.m33, t.m34},
             {t.m41, t.m42, t.m43, t.m44}}};
}

Vector applied(const Vector &v, const CATransform3D &t) {
    const Matrix m = rows(t);
    Vector result{};
    for (std::size_t column = 0; column < 4; ++column) {
        for (std::size_t row = 0; row < 4; ++row) {
            result[column] += v[row] * m[row][column];
        }
    }
    return result;
}

void expectNear(const CATransform3D &actual, const CATransform3D &expected, CGFloat tolerance) {
    const Matrix a = rows(actual);
    const Matrix e = rows(expected);
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            EXPECT_NEAR(a[row][column], e[row][column], tolerance) << "m" << row + 1 << column + 1;
        }
    }
}

void expectNear(const Vector &actual, const Vector &expected) {
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(actual[i], expected[i], 1e-12) << "component " << i;
    }
}

CATransform3D randomTransform(std::mt19937 &random) {
    std::uniform_real_distribution<CGFloat> number(-3, 3);
    CATransform3D t;
    for (CGFloat *field : {&t.m11, &t.m12, &t.m13, &t.m14, &t.m21, &t.m22, &t.m23, &t.m24, &t.m31,
                           &t.m32, &t.m33, &t.m34, &t.m41, &t.m42, &t.m43, &t.m44}) {
        *field = number(random);
    }
    return t;
}

} // namespace

TEST(CATransform3D, IdentityChangesNothing) {
    expectNear(applied({3, 4, 5, 1}, CATransform3DIdentity), {3, 4, 5, 1});
}

TEST(CATransform3D, TranslationIsInTheFourthRow) {
    const CATransform3D t = CATransform3DMakeTranslation(1, 2, 3);
    EXPECT_EQ(t.m41, 1);
    EXPECT_EQ(t.m42, 2);
    EXPECT_EQ(t.m43, 3);
    expectNear(applied({10, 20, 30, 1}, t), {11, 22, 33, 1});
}

TEST(CATransform3D, ScaleIsOnTheDiagonal) {
    expectNear(applied({10, 20, 30, 1}, CATransform3DMakeScale(2, 0.5, -1)), {20, 10, -30, 1});
}

TEST(CATransform3D, RotationAboutTheScreensNormalTurnsXTowardsY) {
    const CATransform3D t = CATransform3DMakeRotation(pi / 2, 0, 0, 1);
    expectNear(applied({1, 0, 0, 1}, t), {0, 1, 0, 1});
    expectNear(applied({0, 1, 0, 1}, t), {-1, 0, 0, 1});
}

TEST(CATransform3D, RotationAboutTheScreensNormalIsExactInItsOtherNumbers) {
    for (const CGFloat angle : {0.3, -2.0, 100.0}) {
        const CATransform3D t = CATransform3DMakeRotation(angle, 0, 0, 1);
        EXPECT_EQ(t.m11, std::cos(angle));
        EXPECT_EQ(t.m12, std::sin(angle));
        EXPECT_EQ(t.m21, -std::sin(angle));
        EXPECT_EQ(t.m22, std::cos(angle));
        CATransform3D rest = t;
        rest.m11 = rest.m22 = 1;
        rest.m12 = rest.m21 = 0;
        EXPECT_EQ(rest, CATransform3DIdentity);
    }
}

TEST(CATransform3D, RotationsAboutXAndYFollowTheRightHand) {
    const CATransform3D aboutX = CATransform3DMakeRotation(pi / 2, 1, 0, 0);
    expectNear(applied({0, 1, 0, 1}, aboutX), {0, 0, 1, 1});
    const CATransform3D aboutY = CATransform3DMakeRotation(pi / 2, 0, 1, 0);
    expectNear(applied({0, 0, 1, 1}, aboutY), {1, 0, 0, 1});
}

TEST(CATransform3D, TheAxisOfARotationStaysWhereItIs) {
    const CATransform3D t = CATransform3DMakeRotation(1.1, 1, -2, 3);
    expectNear(applied({1, -2, 3, 1}, t), {1, -2, 3, 1});
}

TEST(CATransform3D, TheLengthOfTheAxisDoesNotMatter) {
    const CATransform3D expected = CATransform3DMakeRotation(0.7, 1, 2, 2);
    for (const CGFloat factor : {1e-200, 1e-3, 7.0, 1e200}) {
        expectNear(CATransform3DMakeRotation(0.7, factor, 2 * factor, 2 * factor), expected, 1e-15);
        expectNear(CATransform3DMakeRotation(0.7, 0, 0, factor),
                   CATransform3DMakeRotation(0.7, 0, 0, 1), 0);
    }
}

TEST(CATransform3D, ATurnAboutTheOppositeAxisTurnsBack) {
    expectNear(CATransform3DMakeRotation(0.7, 0, 0, -1), CATransform3DMakeRotation(-0.7, 0, 0, 1),
               1e-15);
}

TEST(CATransform3D, RotationAboutNoAxisIsTheIdentity) {
    EXPECT_EQ(CATransform3DMakeRotation(1, 0, 0, 0), CATransform3DIdentity);
    EXPECT_EQ(CATransform3DMakeRotation(1, std::nan(""), 0, 0), CATransform3DIdentity);
}

TEST(CATransform3D, ConcatenationAppliesTheFirstOneFirst) {
    std::mt19937 random(1);
    for (int i = 0; i < 100; ++i) {
        const CATransform3D first = randomTransform(random);
        const CATransform3D second = randomTransform(random);
        const Vector v{1, -2, 3, 1};
        const Vector expected = applied(applied(v, first), second);
        const Vector actual = applied(v, CATransform3DConcat(first, second));
        for (std::size_t k = 0; k < 4; ++k) {
            ASSERT_NEAR(actual[k], expected[k], 1e-10);
        }
    }
}

TEST(CATransform3D, NewOperationsComeBeforeTheTransform) {
    std::mt19937 random(2);
    const CATransform3D t = randomTransform(random);
    EXPECT_EQ(CATransform3DTranslate(t, 1, 2, 3),
              CATransform3DConcat(CATransform3DMakeTranslation(1, 2, 3), t));
    EXPECT_EQ(CATransform3DScale(t, 1, 2, 3),
              CATransform3DConcat(CATransform3DMakeScale(1, 2, 3), t));
    EXPECT_EQ(CATransform3DRotate(t, 1, 2, 3, 4),
              CATransform3DConcat(CATransform3DMakeRotation(1, 2, 3, 4), t));
}

TEST(CATransform3D, IsAllZeroAtFirst) {
    const CATransform3D t;
    for (const auto &row : rows(t)) {
        for (const CGFloat number : row) {
            EXPECT_EQ(number, 0);
        }
    }
    EXPECT_FALSE(t == CATransform3DIdentity);
}
