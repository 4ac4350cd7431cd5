#include "Host/Wallpapers/PictureSize.h"

#include "Host/Support/HostError.h"

#include <charconv>
#include <cmath>

namespace Lumivera {

namespace {

std::size_t pixels(CGFloat points, CGFloat density) {
    return static_cast<std::size_t>(std::llround(points * density));
}

bool isSide(double pixels) { return pixels >= 1 && pixels <= kMaximumSide; }

/// Moves `first` behind the number.
bool readNumber(const char *&first, const char *last, double &number) {
    const auto result = std::from_chars(first, last, number, std::chars_format::fixed);
    first = result.ptr;
    return result.ec == std::errc() && std::isfinite(number);
}

} // namespace

std::size_t PictureSize::pixelWidth() const { return pixels(size.width, density); }

std::size_t PictureSize::pixelHeight() const { return pixels(size.height, density); }

void PictureSize::check() const {
    const double width = std::round(size.width * density);
    const double height = std::round(size.height * density);
    if (!isSide(width) || !isSide(height)) {
        throw UsageError("--size", "a picture must have 1 to 16384 pixels a side",
                         "give another --size or --density");
    }
    if (width * height > kMaximumPixels) {
        throw UsageError("--size", "a picture may have 64 million pixels at most",
                         "give a smaller --size or --density");
    }
}

CGSize sizeFromText(const std::string &text) {
    double width = 0;
    double height = 0;
    const char *at = text.data();
    const char *end = at + text.size();
    const bool isSize = readNumber(at, end, width) && at != end && *at++ == 'x' &&
                        readNumber(at, end, height) && at == end;
    if (!isSize) {
        throw UsageError("--size " + text, "is no size", "write it as WIDTHxHEIGHT, as 320x480");
    }
    return {static_cast<CGFloat>(width), static_cast<CGFloat>(height)};
}

} // namespace Lumivera
