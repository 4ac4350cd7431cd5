#include "Tests/Animation/Support/RealPicture.h"

#include "Platform/CoreGraphics/PixelBuffer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

RealPixel realPixel(std::uint32_t pixel) {
    constexpr int kShifts[] = {16, 8, 0, 24};
    return RealPixel::of([&](int i) { return (pixel >> kShifts[i] & 0xff) / 255.0; });
}

std::uint32_t randomByte(std::mt19937 &random) {
    const std::uint32_t draw = random() % 1024;
    return draw < 256 ? draw : draw < 512 ? 0 : draw < 768 ? 255 : draw % 256;
}

} // namespace

RealPicture RealPicture::from(const UIImage &image) {
    const CGImage &bitmap = *image.bitmap();
    RealPicture result{bitmap.width(), bitmap.height(), {}};
    for (std::size_t i = 0; i < result.width * result.height; ++i) {
        result.pixels.push_back(realPixel(bitmap.pixels()[i]));
    }
    return result;
}

double RealPicture::differenceFrom(const UIImage *image) const {
    if (!image || image->bitmap()->width() != width || image->bitmap()->height() != height) {
        return std::numeric_limits<double>::infinity();
    }
    const RealPicture other = from(*image);
    double largest = 0;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        for (int j = 0; j < 4; ++j) {
            const double difference = pixels[i].components[j] - other.pixels[i].components[j];
            largest = std::max(largest, std::fabs(difference) * 255);
        }
    }
    return largest;
}

Retained<UIImage> randomPicture(std::size_t width, std::size_t height, std::mt19937 &random) {
    PixelBuffer pixels(width * height);
    std::generate(pixels.begin(), pixels.end(), [&] {
        const std::uint32_t alpha = randomByte(random);
        const std::uint32_t red = randomByte(random), green = randomByte(random);
        return premultipliedPixel(red, green, randomByte(random), alpha);
    });
    return UIImage::imageWithCGImage_scale_orientation(
        CGImage::imageWithPixels(width, height, std::move(pixels)), 1, UIImageOrientation::Up);
}

CGColor randomColor(std::mt19937 &random) {
    const auto fraction = [&] { return static_cast<CGFloat>(random() % 1001) / 1000; };
    const CGFloat red = fraction(), green = fraction(), blue = fraction();
    return {red, green, blue, random() % 3 == 0 ? 1 : fraction()};
}
