#pragma once

#include "Platform/Compositor/SpriteTexels.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <map>
#include <tuple>

/// Pictures prepared for being drawn as sprites, when they are first needed, and kept while they
/// are in use. Also smaller versions of them, halved as often as asked along each axis: drawn in
/// place of a picture that is reduced strongly, they keep it from shimmering as it moves.
class SpritePictures {
  public:
    /// The picture with its width halved `halvingsX` times and its height `halvingsY` times,
    /// rounded up. Valid until the next call of endFrame() or purge().
    const SpriteTexels &texels(CGImage &image, int halvingsX, int halvingsY);

    /// Forgets what has not been used for a few hundred frames.
    void endFrame();
    void purge();

  private:
    using Key = std::tuple<CGImage *, int, int>;

    struct Entry {
        Retained<CGImage> image;
        CGPixels reduced;
        SpriteTexels texels;
        unsigned lastUsed = 0;
    };

    static void prepare(Entry &entry, CGImage &image, int halvingsX, int halvingsY);

    unsigned _frame = 0;
    std::map<Key, Entry> _entries;

    // Sprites of one picture often follow each other.
    const Key *_latestKey = nullptr;
    Entry *_latest = nullptr;
};
