#pragma once

#include "Platform/CoreGraphics/BitmapCanvas.h"
#include "Platform/CoreGraphics/CGAffineTransform.h"
#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <memory>
#include <span>
#include <vector>

class CGPath;

/// The pixel formats of bitmap contexts.
enum class BitmapFormat {
    Grey,                   ///< 8 bits, no alpha; transparent pixels are blended over black.
    AlphaFirstPremultiplied ///< Bytes A, R, G, B.
};

/// Draws into a bitmap of its own. At first user space has its origin at the bottom left with y
/// growing upward; pictures are drawn with their top row toward greater y. One thread at a time.
class PLATFORM_EXPORT CGContext final : public NSObject {
  public:
    /// Null for a size of 0 or beyond CGImage's bounds. The bitmap is clear at first, a grey one
    /// black. flush() writes the bitmap, rows from the top, into `buffer` (width × height × 4
    /// bytes, owned by the caller, cleared by this call); only for AlphaFirstPremultiplied.
    static Retained<CGContext> bitmapContextCreate(NSUInteger width, NSUInteger height,
                                                   BitmapFormat format,
                                                   std::uint8_t *buffer = nullptr);

    /// Puts the operation before the current transform.
    void scaleCTM(CGFloat x, CGFloat y);
    void translateCTM(CGFloat x, CGFloat y);

    /// Saves and restores the transform, clip, fill colour and blend mode. A restore without a save
    /// does nothing.
    void saveGState();
    void restoreGState();

    /// Opaque black at first.
    void setFillColor(const CGColor &color);
    void setBlendMode(CGBlendMode mode);

    /// Restricts painting to `area`, in proportion to the alpha of the picture stretched over it.
    /// With a null picture nothing is painted any more.
    void clipToMask(const CGRect &area, const CGImage *mask);

    void fillRect(const CGRect &area);

    /// Stretches the picture to the area. Null draws nothing.
    void drawImage(const CGRect &area, const CGImage *image);

    void beginPath();
    void moveToPoint(CGFloat x, CGFloat y);
    void addRect(const CGRect &rect);

    /// Adds a line to, and an arc of the radius along, the corner at (x1, y1) on the way to
    /// (x2, y2). When the points are in one line or the radius is 0, adds the line to the corner.
    void addArcToPoint(CGFloat x1, CGFloat y1, CGFloat x2, CGFloat y2, CGFloat radius);
    void closePath();

    /// Restricts painting to the inside of the path too, with antialiased edges; ends the path.
    void clip();

    /// A copy of the bitmap as it is now.
    Retained<CGImage> createImage() const;

    /// Writes the bitmap into the buffer given at creation.
    void flush() const;

  private:
    struct State {
        CGAffineTransform transform;
        std::shared_ptr<const ClipCoverage> clip; // null: everything
        CGColor fillColor;
        CGBlendMode blendMode = CGBlendMode::Normal;
    };

    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    CGContext(NSUInteger width, NSUInteger height, BitmapFormat format, std::uint8_t *buffer);
    ~CGContext() override;

    void fillPixels(const CGRect &pixels);
    void intersectClip(ClipCoverage coverage);
    CGAffineTransform imageToDevice(const CGRect &area, const CGImage &image) const;

    BitmapCanvas _canvas;
    const BitmapFormat _format;
    std::uint8_t *const _buffer;
    State _state;
    std::vector<State> _saved;
    std::unique_ptr<CGPath> _path;
};
