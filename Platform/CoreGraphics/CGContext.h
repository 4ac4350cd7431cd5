#pragma once

#include "Platform/CoreGraphics/CGAffineTransform.h"
#include "Platform/CoreGraphics/CGCanvas.h"
#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/CoreGraphics/CGImage.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <memory>
#include <span>
#include <vector>

class CGPath;

/// What the pixels of a bitmap context become.
enum class CGBitmapFormat {
    Grey,                   ///< 8 bits, no alpha; what is transparent counts as over black.
    AlphaFirstPremultiplied ///< Bytes A, R, G, B.
};

/// Draws into a bitmap of its own. User space has its origin at the bottom left with y growing
/// upward, until the transform says otherwise; pictures are drawn with their top row toward greater
/// y. One context is used on one thread at a time.
class PLATFORM_EXPORT CGContext final : public NSObject {
  public:
    /// Null for a size of 0 or beyond CGImage's bounds. The bitmap begins clear, a grey one black.
    /// With `buffer` (width × height × 4 bytes, owned by the caller, cleared at once) flush()
    /// writes rows from the top into it; only for AlphaFirstPremultiplied.
    static Retained<CGContext> bitmapContextCreate(NSUInteger width, NSUInteger height,
                                                   CGBitmapFormat format,
                                                   std::uint8_t *buffer = nullptr);

    /// The new operation comes before the present transform.
    void scaleCTM(CGFloat x, CGFloat y);
    void translateCTM(CGFloat x, CGFloat y);

    /// Transform, clip, fill colour and blend mode; a restore without a save does nothing.
    void saveGState();
    void restoreGState();

    /// Opaque black at first.
    void setFillColor(const CGColor &color);
    void setBlendMode(CGBlendMode mode);

    /// From now on paints only inside `area`, and there as far as the picture is opaque. A null
    /// picture leaves nothing to paint.
    void clipToMask(const CGRect &area, const CGImage *mask);

    void fillRect(const CGRect &area);

    /// Stretches the picture to the area. Null draws nothing.
    void drawImage(const CGRect &area, const CGImage *image);

    void beginPath();
    void moveToPoint(CGFloat x, CGFloat y);
    void addRect(const CGRect &rect);

    /// A line to, and an arc of the radius along, the corner at (x1, y1) on the way to (x2, y2).
    /// Points in one line, or a radius of 0, give the line to the corner.
    void addArcToPoint(CGFloat x1, CGFloat y1, CGFloat x2, CGFloat y2, CGFloat radius);
    void closePath();

    /// From now on paints only inside the path too, with antialiased edges; ends the path.
    void clip();

    /// A picture of the bitmap as it is now.
    Retained<CGImage> createImage() const;

    /// Writes the bitmap into the buffer given at creation.
    void flush() const;

  private:
    struct State {
        CGAffineTransform transform;
        std::shared_ptr<const CGCoverage> clip; // null: everything
        CGColor fillColor;
        CGBlendMode blendMode = CGBlendMode::Normal;
    };

    template <class T, class... Arguments> friend Retained<T> makeRetained(Arguments &&...);

    CGContext(NSUInteger width, NSUInteger height, CGBitmapFormat format, std::uint8_t *buffer);
    ~CGContext() override;

    void fillPixels(const CGRect &pixels);
    void intersectClip(CGCoverage coverage);
    CGAffineTransform imageToDevice(const CGRect &area, const CGImage &image) const;

    CGCanvas _canvas;
    const CGBitmapFormat _format;
    std::uint8_t *const _buffer;
    State _state;
    std::vector<State> _saved;
    std::unique_ptr<CGPath> _path;
};
