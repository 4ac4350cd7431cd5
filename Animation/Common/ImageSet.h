#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/UIKit/UIColor.h"
#include "Platform/UIKit/UIImage.h"

#include <cstdint>
#include <span>
#include <string>

/// Tint and mask. Each gives a new picture at scale 1 and leaves its inputs as they are; a null
/// picture gives null. Main thread.
class WALLPAPER_EXPORT ImageSet {
  public:
    /// The picture's shape filled with the colour and shaded by the picture (multiply). A null
    /// colour gives the very same picture.
    static Retained<UIImage> colorizeImage_withColor(Retained<UIImage> image, const UIColor *color);

    /// The picture where the mask is dark; light samples hide it, those between in proportion. The
    /// mask is stretched over the picture without smoothing. It must be grey without alpha: with
    /// any other, or none, the result is empty.
    static Retained<UIImage> maskImage_withImage(const UIImage *image, const UIImage *mask);
};

/// More operations on pictures, the picture first. Null pictures give null.
class WALLPAPER_EXPORT SpriteExtend {
  public:
    /// The picture in the file; with `dencrypt` its bytes are pair-transformed first. Null when the
    /// file cannot be read or is no picture. Any thread.
    static Retained<UIImage> imageWithContentsOfFile_dencrypt(const std::string &path,
                                                              bool dencrypt);

    /// The same of bytes; `data()` null counts as no data. The bytes stay as they are. Any thread.
    static Retained<UIImage> imageWithData_dencrypt(std::span<const std::uint8_t> data,
                                                    bool dencrypt);

    /// The part inside a rectangle in bitmap pixels, at scale 1; null when none of it is inside.
    static Retained<UIImage> clipImageWithRect(const UIImage *image, const CGRect &rect);

    /// In grey, at one pixel a point; `alpha` makes pure black transparent. Null for an empty size.
    static Retained<UIImage> createGrayImageWithAlpha(const UIImage *image, bool alpha);

    /// The picture's shape filled with the colour (null: opaque black) and overlaid by the picture:
    /// dark colours multiply, light ones screen. Main thread.
    static Retained<UIImage> imageColorOverlay(const UIImage *image, const UIColor *color);

    /// `other`, stretched to the picture's size, on top of the picture. Main thread.
    static Retained<UIImage> drawToImage(const UIImage *image, const UIImage *other);

    /// With every corner cut on a circle of that radius in points; 0 cuts nothing.
    static Retained<UIImage> imageWithRoundCorners(const UIImage *image, CGFloat radius);

    /// The bitmap's pixels as premultiplied bytes A, R, G, B, rows from the top, 4 bytes a pixel
    /// without padding. The caller gives the buffer back with `free`. Null without memory.
    static std::uint8_t *getImageData(const UIImage *image);
};
