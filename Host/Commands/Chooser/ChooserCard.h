#pragma once

#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/UIKit/UIView.h"

namespace Lumivera {

/// A bundle's small picture with its name, rather faint when something keeps it from being shown.
/// Main thread.
class ChooserCard {
  public:
    /// The listing is not owned.
    explicit ChooserCard(const BundleListing &listing);

    UIView &view() { return *_view; }

    /// All of it within its superview, and the height of its picture. What was drawn is stretched
    /// until it is drawn anew.
    void layOut(const CGRect &frame, CGFloat pictureHeight, CGFloat unit, CGFloat density);

    /// Whether draw() would change what is seen.
    bool needsDrawing() const { return !_isDrawn; }

    /// Reads the picture, which takes a while, and writes the name.
    void draw();

    void setSelected(bool isSelected);

    /// The small picture; null before it is drawn, and when there is none.
    Retained<CGImage> picture() const { return _thumbnail; }

  private:
    CGSize pictureSize() const { return _picture->bounds().size; }
    void drawPlaceholder();
    void drawRing();

    const BundleListing &_listing;
    const Retained<UIView> _view;
    const Retained<UIView> _ring;
    const Retained<UIView> _picture;
    const Retained<UIView> _letter;
    const Retained<UIView> _label;
    Retained<CGImage> _thumbnail;
    CGFloat _unit = 1;
    CGFloat _density = 1;
    bool _isDrawn = false;
    bool _isSelected = false;
};

} // namespace Lumivera
