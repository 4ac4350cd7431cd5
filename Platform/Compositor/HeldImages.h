#pragma once

#include "Platform/Compositor/DisplayList.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <vector>

/// Keeps the images of the latest display list alive, so that no new one can have the address of
/// one that was shown. Keeps its memory.
class HeldImages {
  public:
    /// Lets go of what this list no longer shows.
    void follow(const std::vector<DisplayItem> &items);
    void purge() { _images.clear(); }

  private:
    std::vector<Retained<CGImage>> _images;
    std::vector<Retained<CGImage>> _before;
};
