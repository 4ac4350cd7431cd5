#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <cstdint>
#include <span>
#include <string>

enum class UIImageOrientation {
    Up,
    Down,
    Left,
    Right,
    UpMirrored,
    DownMirrored,
    LeftMirrored,
    RightMirrored
};

/// A bitmap and its scale, in pixels a point. Never changes. Any thread.
class PLATFORM_EXPORT UIImage final : public NSObject {
  public:
    /// Loads the file. When the main screen's scale is above 1, a file `name@2x.ext` or
    /// `name@3x.ext` beside it is preferred, which gets that scale: the one with the smallest scale
    /// that is not below the screen's, else the one with the largest. For a path that ends in
    /// @2x.ext or @3x.ext only that file is tried. Null when no file could be decoded.
    static Retained<UIImage> imageWithContentsOfFile(const std::string &path);

    /// Decodes bytes of a PNG, JPEG or WebP file, at scale 1. Null when they are not an image.
    static Retained<UIImage> imageWithData(std::span<const std::uint8_t> bytes);

    /// Null for a null bitmap. A scale that is not above 0 counts as 1.
    static Retained<UIImage> imageWithCGImage_scale_orientation(Retained<CGImage> bitmap,
                                                                CGFloat scale,
                                                                UIImageOrientation orientation);

    /// In points: the bitmap's pixels divided by the scale.
    CGSize size() const noexcept;
    CGFloat scale() const noexcept { return _scale; }
    UIImageOrientation imageOrientation() const noexcept { return _orientation; }

    /// Never null.
    const Retained<CGImage> &bitmap() const noexcept { return _bitmap; }

    /// The last part of the path given to imageWithContentsOfFile; empty for an image made from
    /// bytes or from another image.
    const std::string &fileName() const noexcept { return _fileName; }

  private:
    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    UIImage(Retained<CGImage> bitmap, CGFloat scale, UIImageOrientation orientation,
            std::string fileName);
    ~UIImage() override = default;

    const Retained<CGImage> _bitmap;
    const CGFloat _scale;
    const UIImageOrientation _orientation;
    const std::string _fileName;
};
