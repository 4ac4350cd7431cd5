#include "Host/Wallpapers/WallpaperSettings.h"

#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Host/Support/HostError.h"
#include "Host/Wallpapers/BundleCall.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <random>

namespace Lumivera {

namespace {

std::size_t pixels(CGFloat points, CGFloat density) {
    return static_cast<std::size_t>(std::llround(points * density));
}

bool isSide(double pixels) { return pixels >= 1 && pixels <= kMaxSide; }

/// Reads a number and moves `first` behind it.
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
    if (width * height > kMaxPixels) {
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

void WallpaperSettings::applyTo(DeskTopView &view) const {
    WallpaperValues values = *this;
    values.scale = scale.value_or(1);
    values.offset = offset.value_or(0);
    applyTo(view, values);
}

void WallpaperSettings::applyTo(DeskTopView &view, const WallpaperValues &change) const {
    if (change.scale) {
        const BundleCall call(BundleCall::Kind::SetScale);
        view.setScale(*change.scale);
        BundleCall::set(BundleCall::Kind::SetFrame);
        view.setFrame({{0, 0}, size});
    }
    if (change.offset) {
        view.setOffset(*change.offset);
    }
    auto *petals = dynamic_cast<LumiveraView *>(&view);
    if (petals && change.petals) {
        petals->setSakuraCount(*change.petals);
    }
    if (change.speed) {
        const BundleCall call(BundleCall::Kind::SetSpeedLevel);
        view.setSpeedLevel(*change.speed);
    }
    if (petals && change.scaleLevel) {
        petals->setSakuraScaleLevel(static_cast<std::int32_t>(*change.scaleLevel));
    }
}

void WallpaperSettings::applyToLoaded(DeskTopView &view) const {
    WallpaperValues overwritten;
    overwritten.scaleLevel = scaleLevel;
    applyTo(view, overwritten);
    auto *petals = dynamic_cast<LumiveraView *>(&view);
    if (petals && tint && tint->alpha > 0) {
        const auto color =
            UIColor::colorWithRed_green_blue_alpha(tint->red, tint->green, tint->blue, tint->alpha);
        petals->setBgColor(color.get());
    }
    if (seed) {
        std::srand(*seed);
    }
}

unsigned newSeed() { return std::random_device()(); }

unsigned seedForOutput(unsigned seed, std::string_view output) {
    constexpr std::uint32_t kFactor = 16777619;
    std::uint32_t number = seed;
    for (const char c : output) {
        number = (number ^ static_cast<unsigned char>(c)) * kFactor;
    }
    return number;
}

} // namespace Lumivera
