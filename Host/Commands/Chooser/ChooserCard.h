#pragma once

#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/UIKit/UIView.h"

namespace Lumivera {

/// A bundle's thumbnail with its name, faint when the bundle cannot be shown. Main thread.
class ChooserCard {
  public:
    /// The listing is not owned.
    explicit ChooserCard(const BundleListing &listing);

    UIView &view() { return *_view; }

    /// Sets the card's frame in its superview and the height of its picture, in points. The old
    /// picture is stretched until draw() is called.
    void layOut(const CGRect &frame, CGFloat pictureHeight, CGFloat unit, CGFloat density);

    /// Whether draw() would change the card.
    bool needsDrawing() const { return !_isDrawn; }

    /// Decodes the picture, which takes some milliseconds, and draws the name.
    void draw();

    void setSelected(bool isSelected);

    /// The thumbnail; null before draw() and when the bundle has none.
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
