#pragma once

#include "Host/Commands/Chooser/ChooserCard.h"
#include "Host/Commands/Chooser/ChooserLayout.h"
#include "Host/Support/DeferredCall.h"

#include <memory>
#include <optional>
#include <vector>

namespace Lumivera {

/// The cards of all bundles in a scrolling view. Draws one card a call-out, the visible ones first.
/// Main thread.
class ChooserShelf {
  public:
    /// The listings are not owned.
    explicit ChooserShelf(const std::vector<BundleListing> &bundles);

    UIView &view() { return *_view; }

    /// The thumbnail of a card; null before it is drawn and when the bundle has none.
    Retained<CGImage> picture(NSUInteger index) const { return _cards[index]->picture(); }
    bool needsDrawing(NSUInteger index) const { return _cards[index]->needsDrawing(); }

    void layOut(const ChooserLayout &layout, CGFloat density);

    /// Marks the card and scrolls until it is visible.
    void select(NSUInteger index);

    /// Scrolls by a distance in points, towards the end of the cards.
    void scrollBy(CGFloat distance);

    /// The scroll offset in points.
    CGFloat scroll() const { return _scroll; }

    /// The card at a point of the window.
    std::optional<NSUInteger> cardAt(CGPoint point) const;

  private:
    void scrollTo(CGFloat scroll);
    void placeBar();
    void drawNext();
    ChooserCard *nextToDraw();

    const Retained<UIView> _view;
    const Retained<UIView> _content;
    const Retained<UIView> _bar;
    std::vector<std::unique_ptr<ChooserCard>> _cards;
    std::optional<ChooserLayout> _layout;
    std::optional<NSUInteger> _selected;
    CGFloat _density = 1;
    CGFloat _scroll = 0;
    DeferredCall _draw;
};

} // namespace Lumivera
