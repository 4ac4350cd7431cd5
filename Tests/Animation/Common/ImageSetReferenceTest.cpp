// Compares every operation with its formula in double precision, over pictures of any colour and
// alpha.

#include "Animation/Common/ImageSet.h"
#include "Tests/Animation/Support/RealPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

namespace {

/// Rounding to 8 bits alone may change a value by half a step.
constexpr double kRounding = 0.6;

struct Size {
    std::size_t width;
    std::size_t height;
};

std::ostream &operator<<(std::ostream &stream, const Size &size) {
    return stream << size.width << "x" << size.height;
}

class ImageOperation : public ::testing::TestWithParam<Size> {
  protected:
    Retained<UIImage> picture() {
        return randomPicture(GetParam().width, GetParam().height, _random);
    }

    /// True for an opaque grey pixel.
    Retained<UIImage> stencil(std::size_t width, std::size_t height) {
        PixelBuffer pixels(width * height);
        std::generate(pixels.begin(), pixels.end(),
                      [this] { return 0xff000000 | (_random() % 256) * 0x010101; });
        return UIImage::imageWithCGImage_scale_orientation(
            CGImage::imageWithPixels(width, height, std::move(pixels)), 1, UIImageOrientation::Up);
    }

    std::mt19937 _random{20};
};

/// Draws a source over a backdrop. Where they overlap, `mix` gives the unpremultiplied colour from
/// the backdrop's and the source's.
template <class Mix>
RealPixel blended(const RealPixel &source, const RealPixel &backdrop, Mix mix) {
    const double sa = source.alpha(), da = backdrop.alpha();
    const auto pure = [](double component, double alpha) {
        return alpha == 0 ? 0 : component / alpha;
    };
    return RealPixel::of([&](int i) {
        if (i == 3) {
            return sa + da - sa * da;
        }
        const double s = source.components[i], d = backdrop.components[i];
        return s * (1 - da) + d * (1 - sa) + sa * da * mix(pure(d, da), pure(s, sa));
    });
}

RealPixel filledShape(const RealPixel &pixel, const CGColor &color) {
    const double components[] = {color.red, color.green, color.blue, 1};
    return RealPixel::of([&](int i) { return components[i] * color.alpha * pixel.alpha(); });
}

double multiply(double backdrop, double source) { return backdrop * source; }

double overlay(double backdrop, double source) {
    return backdrop <= 0.5 ? 2 * backdrop * source : 1 - 2 * (1 - backdrop) * (1 - source);
}

Retained<UIColor> colorOf(const CGColor &color) {
    return UIColor::colorWithRed_green_blue_alpha(color.red, color.green, color.blue, color.alpha);
}

} // namespace

TEST_P(ImageOperation, TintIsThePictureMultipliedOntoItsShapeInTheColor) {
    for (int i = 0; i < 5; ++i) {
        const auto image = picture();
        const CGColor color = randomColor(_random);
        const auto expected = RealPicture::from(*image).mapped(
            [&](const RealPixel &p) { return blended(p, filledShape(p, color), multiply); });
        const auto result = ImageSet::colorizeImage_withColor(image, colorOf(color).get());
        EXPECT_LE(expected.differenceFrom(result.get()), kRounding);
    }
}

TEST_P(ImageOperation, OverlayLetsTheColorChooseBetweenMultiplyAndScreen) {
    for (int i = 0; i < 5; ++i) {
        const auto image = picture();
        const CGColor color = randomColor(_random);
        const auto expected = RealPicture::from(*image).mapped(
            [&](const RealPixel &p) { return blended(p, filledShape(p, color), overlay); });
        const auto result = SpriteExtend::imageColorOverlay(image.get(), colorOf(color).get());
        EXPECT_LE(expected.differenceFrom(result.get()), kRounding);
    }
}

TEST_P(ImageOperation, DrawingAPictureOnAnotherOfItsSizeLaysItOnTop) {
    const auto image = picture(), top = picture();
    RealPicture expected = RealPicture::from(*image);
    const RealPicture above = RealPicture::from(*top);
    for (std::size_t i = 0; i < expected.pixels.size(); ++i) {
        const RealPixel under = expected.pixels[i], over = above.pixels[i];
        expected.pixels[i] = RealPixel::of(
            [&](int j) { return over.components[j] + under.components[j] * (1 - over.alpha()); });
    }
    EXPECT_LE(expected.differenceFrom(SpriteExtend::drawToImage(image.get(), top.get()).get()),
              kRounding);
}

TEST_P(ImageOperation, MaskHidesInProportionToItsLight) {
    const auto image = picture(), mask = stencil(GetParam().width, GetParam().height);
    RealPicture expected = RealPicture::from(*image);
    const RealPicture light = RealPicture::from(*mask);
    for (std::size_t i = 0; i < expected.pixels.size(); ++i) {
        const RealPixel pixel = expected.pixels[i];
        expected.pixels[i] = RealPixel::of(
            [&](int j) { return pixel.components[j] * (1 - light.pixels[i].components[0]); });
    }
    EXPECT_LE(expected.differenceFrom(ImageSet::maskImage_withImage(image.get(), mask.get()).get()),
              kRounding);
}

TEST_P(ImageOperation, MaskOfAnotherSizeIsStretchedOverThePicture) {
    const Size size = GetParam();
    const auto image = picture(), mask = stencil(5, 3);
    RealPicture expected = RealPicture::from(*image);
    const RealPicture light = RealPicture::from(*mask);
    for (std::size_t i = 0; i < expected.pixels.size(); ++i) {
        const double x =
            (static_cast<double>(i % size.width) + 0.5) / static_cast<double>(size.width);
        const double y =
            (static_cast<double>(i / size.width) + 0.5) / static_cast<double>(size.height);
        const auto under = static_cast<std::size_t>(y * 3) * 5 + static_cast<std::size_t>(x * 5);
        const RealPixel pixel = expected.pixels[i];
        expected.pixels[i] = RealPixel::of(
            [&](int j) { return pixel.components[j] * (1 - light.pixels[under].components[0]); });
    }
    EXPECT_LE(expected.differenceFrom(ImageSet::maskImage_withImage(image.get(), mask.get()).get()),
              kRounding);
}

TEST_P(ImageOperation, GreyWeighsTheColorsOverBlack) {
    const auto image = picture();
    const auto expected = RealPicture::from(*image).mapped([](const RealPixel &p) {
        const double grey =
            0.2126 * p.components[0] + 0.7152 * p.components[1] + 0.0722 * p.components[2];
        return RealPixel{{grey, grey, grey, 1}};
    });
    EXPECT_LE(
        expected.differenceFrom(SpriteExtend::createGrayImageWithAlpha(image.get(), false).get()),
        kRounding);
}

TEST_P(ImageOperation, ClipGivesTheVeryPixelsOfThePart) {
    const auto image = picture();
    const std::size_t x = GetParam().width / 3, y = GetParam().height / 2;
    const std::size_t width = GetParam().width - x, height = GetParam().height - y;
    const auto part = SpriteExtend::clipImageWithRect(
        image.get(), CGRectMake(static_cast<CGFloat>(x), static_cast<CGFloat>(y),
                                static_cast<CGFloat>(width), static_cast<CGFloat>(height)));
    RealPicture expected{width, height, {}};
    const RealPicture all = RealPicture::from(*image);
    for (std::size_t i = 0; i < width * height; ++i) {
        expected.pixels.push_back(all.pixels[(y + i / width) * GetParam().width + x + i % width]);
    }
    EXPECT_EQ(expected.differenceFrom(part.get()), 0);
}

TEST_P(ImageOperation, RawPixelsAreThePremultipliedBytes) {
    const auto image = picture();
    const std::unique_ptr<std::uint8_t, void (*)(void *)> bytes(
        SpriteExtend::getImageData(image.get()), std::free);
    ASSERT_TRUE(bytes);
    for (std::size_t i = 0; i < GetParam().width * GetParam().height; ++i) {
        const std::uint8_t *at = bytes.get() + i * 4;
        const std::uint32_t pixel =
            static_cast<std::uint32_t>(at[0]) << 24 | at[1] << 16 | at[2] << 8 | at[3];
        ASSERT_EQ(pixel, image->bitmap()->pixels()[i]) << "pixel " << i;
    }
}

TEST_P(ImageOperation, RoundCornersKeepWhatIsClearOfTheArcsAndCutWhatIsBeyond) {
    const auto image = picture();
    const auto width = static_cast<double>(GetParam().width);
    const auto height = static_cast<double>(GetParam().height);
    const double radius = std::min(width, height) / 3;
    const auto result = SpriteExtend::imageWithRoundCorners(image.get(), radius);
    ASSERT_TRUE(result);
    for (std::size_t i = 0; i < GetParam().width * GetParam().height; ++i) {
        const double x = static_cast<double>(i % GetParam().width) + 0.5;
        const double y = static_cast<double>(i / GetParam().width) + 0.5;
        const double beyondX = std::max({radius - x, x - (width - radius), 0.0});
        const double beyondY = std::max({radius - y, y - (height - radius), 0.0});
        const double distance = std::hypot(beyondX, beyondY);
        const std::uint32_t pixel = result->bitmap()->pixels()[i];
        if (distance < radius - 1) {
            ASSERT_EQ(pixel, image->bitmap()->pixels()[i]) << "at " << x << ", " << y;
        } else if (distance > radius + 1) {
            ASSERT_EQ(pixel, 0u) << "at " << x << ", " << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, ImageOperation,
                         ::testing::Values(Size{1, 1}, Size{2, 1}, Size{1, 2}, Size{3, 5},
                                           Size{16, 16}, Size{31, 64}, Size{100, 7},
                                           Size{257, 129}));

namespace {

class CornerRadius : public ::testing::TestWithParam<double> {};

/// How many pixels of the top left square of that side the picture covers.
double coveredArea(const UIImage &image, std::size_t side) {
    double sum = 0;
    for (std::size_t y = 0; y < side; ++y) {
        for (std::size_t x = 0; x < side; ++x) {
            sum += (image.bitmap()->pixels()[y * image.bitmap()->width() + x] >> 24) / 255.0;
        }
    }
    return sum;
}

Retained<UIImage> whitePicture(std::size_t width, std::size_t height) {
    return UIImage::imageWithCGImage_scale_orientation(
        CGImage::imageWithPixels(width, height, PixelBuffer(width * height, 0xffffffff)), 1,
        UIImageOrientation::Up);
}

Retained<UIImage> turned(const UIImage &image) {
    const CGImage &bitmap = *image.bitmap();
    PixelBuffer pixels(bitmap.pixels(), bitmap.pixels() + bitmap.width() * bitmap.height());
    std::reverse(pixels.begin(), pixels.end());
    return UIImage::imageWithCGImage_scale_orientation(
        CGImage::imageWithPixels(bitmap.width(), bitmap.height(), std::move(pixels)), 1,
        UIImageOrientation::Up);
}

} // namespace

TEST_P(CornerRadius, CutsTheExactAreaFromEachCorner) {
    const double radius = GetParam();
    const auto side = static_cast<std::size_t>(std::ceil(radius));
    const double square = static_cast<double>(side * side);
    const double cut = radius * radius * (1 - std::numbers::pi / 4);
    const auto result = SpriteExtend::imageWithRoundCorners(whitePicture(100, 90).get(), radius);
    ASSERT_TRUE(result);
    EXPECT_NEAR(coveredArea(*result, side), square - cut, (square - cut) * 0.02);
    EXPECT_NEAR(coveredArea(*turned(*result), side), square - cut, (square - cut) * 0.02);
    EXPECT_NEAR(square - coveredArea(*result, side), cut, cut * 0.02 + 0.05);
}

INSTANTIATE_TEST_SUITE_P(Radii, CornerRadius,
                         ::testing::Values(0.5, 1, 1.5, 2, 3, 5.25, 10, 17.5, 30, 45));
