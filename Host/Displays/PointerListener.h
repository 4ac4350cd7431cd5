#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"

namespace Lumivera {

/// Hears what a pointer or a finger does to a picture, in call-outs of the main run loop. Places
/// and distances are in points, from the picture's top left corner.
class PointerListener {
  public:
    virtual void tapped(CGPoint point) = 0;

    /// By how much the content moved to the right since the last call.
    virtual void scrolledBy(CGFloat distance) = 0;
    virtual void scrollingEnded() = 0;

    /// By how much it moved down. A wheel's turn has no end. Means nothing unless overridden.
    virtual void scrolledDownBy(CGFloat) {}

  protected:
    ~PointerListener() = default;
};

} // namespace Lumivera
