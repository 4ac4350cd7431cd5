#include "Host/Commands/Gallery/GalleryPictures.h"

#include "Host/Commands/Gallery/GalleryCanvas.h"
#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSBundle.h"

#include <cmath>

namespace Lumivera {

namespace {

constexpr CGFloat kTileSide = 96;
constexpr CGFloat kTileDensity = 4;
constexpr CGColor kTileTop{1, 0.93, 0.97, 0.20};
constexpr CGColor kTileBottom{1, 0.93, 0.97, 0.10};
constexpr CGColor kTileLine{1, 0.9, 0.95, 0.42};

constexpr CGColor kNight{0.106, 0.086, 0.192, 1};
constexpr CGColor kDusk{0.235, 0.145, 0.298, 1};

/// The version of the picture with the highest density.
Retained<UIImage> load(const std::string &bundlePath, NSUInteger number) {
    const std::string start = bundlePath + "/lumivera_flower" + std::to_string(number + 1);
    for (const char *ending : {"@3x.png", "@2x.png", ".png"}) {
        if (auto image = UIImage::imageWithContentsOfFile(start + ending)) {
            return image;
        }
    }
    throw HostError(start + ".png", "is missing or damaged",
                    "put a PNG, JPEG or WebP picture of that name there");
}

Retained<UIImage> drawTile() {
    GalleryCanvas canvas({kTileSide, kTileSide}, kTileDensity);
    const CGRect whole{{0, 0}, {kTileSide, kTileSide}};
    canvas.fillPanel(whole, 6, kTileTop, kTileBottom);
    canvas.strokePanel(whole, 6, 1.5, kTileLine);
    std::vector<GalleryCanvas::Line> lines;
    for (const CGFloat at : {kTileSide / 4, kTileSide / 2, kTileSide * 3 / 4}) {
        lines.push_back({{at, 2}, {at, kTileSide - 2}});
        lines.push_back({{2, at}, {kTileSide - 2, at}});
    }
    canvas.strokeLines(lines, 0.6F, kTileLine);
    return UIImage::imageWithCGImage_scale_orientation(canvas.picture(), kTileDensity,
                                                       UIImageOrientation::Up);
}

std::uint32_t mixed(CGFloat first, CGFloat second, CGFloat part, int shift) {
    return static_cast<std::uint32_t>(std::lround((first + (second - first) * part) * 255))
           << shift;
}

} // namespace

GalleryPictures::GalleryPictures(const std::string &bundlePath) : _tile(drawTile()) {
    if (!NSBundle::bundleWithPath(bundlePath)) {
        throw HostError(bundlePath, "there is no such bundle",
                        "see `lumivera list` for those that are installed");
    }
    for (NSUInteger number = 0; number < 3; ++number) {
        _flowers.push_back(load(bundlePath, number));
    }
}

/// The gradient is one pixel wide; the layer stretches it.
Retained<CGImage> GalleryPictures::background(const PictureSize &size) {
    PixelBuffer pixels;
    const std::size_t height = size.pixelHeight();
    for (std::size_t y = 0; y < height; ++y) {
        const CGFloat part = static_cast<CGFloat>(y) / static_cast<CGFloat>(height);
        pixels.push_back(0xFF000000 | mixed(kNight.red, kDusk.red, part, 16) |
                         mixed(kNight.green, kDusk.green, part, 8) |
                         mixed(kNight.blue, kDusk.blue, part, 0));
    }
    return CGImage::imageWithPixels(1, height, std::move(pixels));
}

} // namespace Lumivera
