#pragma once

#include "Platform/Compositor/PixelArea.h"
#include "Platform/Compositor/PixelKernels.h"

#include <array>
#include <map>
#include <tuple>

/// A convex polygon around all texels of a picture that are not transparent. A bilinear sample
/// outside of it is transparent, so a sprite need not be drawn there. It lies within the picture.
struct SpriteOutline {
    static constexpr int kCorners = 8;

    /// In texels.
    struct Corner {
        double u;
        double v;
    };

    /// In clockwise order; some may coincide. Not set when `empty`.
    std::array<Corner, kCorners> corners = {};
    bool empty = true;

    static SpriteOutline around(const Picture &picture);
};

/// A picture prepared for being drawn as a sprite: its outline, and, unless it is large, its texels
/// in an order in which one load gets the four around a pixel.
class SpriteTexels {
  public:
    SpriteTexels() = default;
    SpriteTexels(SpriteTexels &&) = default;
    SpriteTexels &operator=(SpriteTexels &&) = default;

    /// The picture's pixels must outlive this if needsPixels().
    explicit SpriteTexels(const Picture &picture);

    /// Whether the picture is so large that its texels were not copied into the other order.
    bool needsPixels() const { return _pairs.empty(); }

    int width() const { return _width; }
    int height() const { return _height; }
    const SpriteOutline &outline() const { return _outline; }

    /// Valid while this is neither changed nor destroyed.
    const SpriteSource &source() const { return _source; }

  private:
    void preparePairs(const Picture &picture);

    int _width = 0;
    int _height = 0;
    SpriteOutline _outline;
    SpriteSource _source;
    std::vector<std::uint8_t> _pairs;
};

/// Prepares pictures for being drawn as sprites when they are first needed, and keeps them while
/// they are in use. Also makes smaller versions, halved as often as asked along each axis: a
/// picture that is reduced strongly is drawn from one of these, so that it does not shimmer as it
/// moves.
class SpritePictures {
  public:
    /// The picture with its width halved `halvingsX` times and its height halved `halvingsY` times,
    /// rounded up. Valid until the next call of endFrame() or purge().
    const SpriteTexels &texels(CGImage &image, int halvingsX, int halvingsY);

    /// Forgets what has not been used for a few hundred frames.
    void endFrame();
    void purge();

  private:
    using Key = std::tuple<CGImage *, int, int>;

    struct Entry {
        Retained<CGImage> image;
        PixelBuffer reduced;
        SpriteTexels texels;
        unsigned lastUsed = 0;
    };

    static void prepare(Entry &entry, CGImage &image, int halvingsX, int halvingsY);

    unsigned _frame = 0;
    std::map<Key, Entry> _entries;

    // The entry asked for last: sprites of one picture often follow each other.
    const Key *_latestKey = nullptr;
    Entry *_latest = nullptr;
};
