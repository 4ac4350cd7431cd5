#pragma once

#include "Platform/Compositor/DisplayList.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <unordered_map>

/// Keeps the images of the latest display list alive, so that no new one can have the address of
/// one that was shown.
class HeldImages {
  public:
    /// Lets go of what this list no longer shows.
    void follow(const std::vector<DisplayItem> &items);
    void purge() { _images.clear(); }

  private:
    struct Entry {
        Retained<CGImage> image;
        unsigned lastUsed = 0;
    };

    unsigned _frame = 0;
    std::unordered_map<CGImage *, Entry> _images;
};
