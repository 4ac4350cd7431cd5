#include "Platform/UIKit/UIImage.h"

#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/UIKit/UIScreen.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

/// A path split before its extension; the density is that of an @2x or @3x in the path, else 0.
struct PicturePath {
    std::string stem;
    std::string extension;
    int density = 0;
};

PicturePath takenApart(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    const std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || dot <= nameStart) {
        dot = path.size();
    }
    PicturePath result{path.substr(0, dot), path.substr(dot), 0};
    for (const int density : {2, 3}) {
        if (result.stem.ends_with("@" + std::to_string(density) + "x")) {
            result.density = density;
        }
    }
    return result;
}

/// The densities to try, best first: the smallest that is not below the screen's, then the others
/// from high to low.
std::vector<int> densitiesFor(CGFloat screenScale) {
    if (screenScale <= 1) {
        return {1};
    }
    return screenScale <= 2 ? std::vector{2, 3, 1} : std::vector{3, 2, 1};
}

Retained<CGImage> loadFile(const std::string &path) {
    const auto bytes = readFile(path, CGImage::kMaxBytes);
    return bytes ? CGImageCreateWithData(*bytes) : nullptr;
}

} // namespace

Retained<UIImage> UIImage::imageWithContentsOfFile(const std::string &path) {
    const std::string fileName = path.substr(path.rfind('/') + 1);
    const PicturePath parts = takenApart(path);
    if (parts.density != 0) {
        auto bitmap = loadFile(path);
        return bitmap ? makeRetained<UIImage>(std::move(bitmap), parts.density,
                                              UIImageOrientation::Up, fileName)
                      : nullptr;
    }
    const auto screen = UIScreen::mainScreen();
    for (const int density : densitiesFor(screen ? screen->scale() : 1)) {
        const std::string suffix = density == 1 ? "" : "@" + std::to_string(density) + "x";
        if (auto bitmap = loadFile(parts.stem + suffix + parts.extension)) {
            return makeRetained<UIImage>(std::move(bitmap), density, UIImageOrientation::Up,
                                         fileName);
        }
    }
    return nullptr;
}

Retained<UIImage> UIImage::imageWithData(std::span<const std::uint8_t> bytes) {
    return imageWithCGImage_scale_orientation(CGImageCreateWithData(bytes), 1,
                                              UIImageOrientation::Up);
}

Retained<UIImage> UIImage::imageWithCGImage_scale_orientation(Retained<CGImage> bitmap,
                                                              CGFloat scale,
                                                              UIImageOrientation orientation) {
    if (!bitmap) {
        return nullptr;
    }
    return makeRetained<UIImage>(std::move(bitmap), scale, orientation, std::string());
}

UIImage::UIImage(Retained<CGImage> bitmap, CGFloat scale, UIImageOrientation orientation,
                 std::string fileName)
    : _bitmap(std::move(bitmap)), _scale(scale > 0 && std::isfinite(scale) ? scale : 1),
      _orientation(orientation), _fileName(std::move(fileName)) {}

CGSize UIImage::size() const noexcept {
    return {static_cast<CGFloat>(_bitmap->width()) / _scale,
            static_cast<CGFloat>(_bitmap->height()) / _scale};
}
