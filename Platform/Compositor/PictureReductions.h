#pragma once

#include "Platform/Compositor/PixelArea.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <map>
#include <tuple>
#include <vector>

/// Smaller versions of pictures, halved as often as asked along each axis, made when first needed
/// and kept while they are in use. Drawn in place of a picture that is reduced strongly, they keep
/// it from shimmering as it moves.
class PictureReductions {
  public:
    /// The picture with its width halved `halvingsX` times and its height `halvingsY` times,
    /// rounded up. Valid until the next call of endFrame() or purge().
    Picture reduction(CGImage &image, int halvingsX, int halvingsY);

    /// Forgets what has not been used for a few hundred frames.
    void endFrame();
    void purge() { _entries.clear(); }

  private:
    using Key = std::tuple<CGImage *, int, int>;

    struct Entry {
        Retained<CGImage> image;
        Picture picture;
        std::vector<std::uint32_t> pixels;
        unsigned lastUsed = 0;
    };

    unsigned _frame = 0;
    std::map<Key, Entry> _entries;
};
