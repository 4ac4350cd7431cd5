#pragma once

#include "Animation/Common/WallpaperExport.h"
#include "Platform/CoreGraphics/CGGeometry.h"
#include "Platform/UIKit/UIColor.h"
#include "Platform/UIKit/UIImage.h"

#include <cstdint>
#include <span>
#include <string>

/// Tints and masks pictures. Results are new pictures at scale 1; null for a null picture. Main
/// thread.
class WALLPAPER_EXPORT ImageSet {
  public:
    /// The picture multiplied onto its shape filled with the colour. A null colour gives the same
    /// object.
    static Retained<UIImage> colorizeImage_withColor(Retained<UIImage> image, const UIColor *color);

    /// The picture seen through a mask that is stretched over it without smoothing: black shows it,
    /// white hides it, greys show it in part. With a mask that is not grey and opaque, or is null,
    /// the result is transparent.
    static Retained<UIImage> maskImage_withImage(const UIImage *image, const UIImage *mask);
};

/// More operations on pictures. Null for a null picture.
class WALLPAPER_EXPORT SpriteExtend {
  public:
    /// Decodes a file; with `dencrypt` its bytes are pair-transformed first (see DataEncrypt). Null
    /// when the file cannot be read or is no picture. Any thread.
    static Retained<UIImage> imageWithContentsOfFile_dencrypt(const std::string &path,
                                                              bool dencrypt);

    /// The same for a file in memory; null when `data.data()` is null. Any thread.
    static Retained<UIImage> imageWithData_dencrypt(std::span<const std::uint8_t> data,
                                                    bool dencrypt);

    /// The part inside a rectangle in bitmap pixels, at scale 1; null when none of it is inside.
    static Retained<UIImage> clipImageWithRect(const UIImage *image, const CGRect &rect);

    /// The picture in grey, at one pixel a point; with `alpha` pure black becomes transparent. Null
    /// when a side is below 1.
    static Retained<UIImage> createGrayImageWithAlpha(const UIImage *image, bool alpha);

    /// The picture blended (overlay) onto its shape filled with the colour: where the colour is
    /// dark they are multiplied, where it is light screened. Null stands for opaque black. Main
    /// thread.
    static Retained<UIImage> imageColorOverlay(const UIImage *image, const UIColor *color);

    /// `other`, stretched to the picture's size, on top of the picture. Main thread.
    static Retained<UIImage> drawToImage(const UIImage *image, const UIImage *other);

    /// The picture with rounded corners, the radius in points; 0 cuts nothing.
    static Retained<UIImage> imageWithRoundCorners(const UIImage *image, CGFloat radius);

    /// The bitmap's pixels as premultiplied bytes A, R, G, B, rows from the top, 4 bytes a pixel
    /// without padding. The caller releases the buffer with `free`. Null when there is no memory.
    static std::uint8_t *getImageData(const UIImage *image);
};
