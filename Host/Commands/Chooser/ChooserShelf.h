#pragma once

#include "Host/Commands/Chooser/ChooserCard.h"
#include "Host/Commands/Chooser/ChooserLayout.h"
#include "Host/Support/DeferredCall.h"

#include <memory>
#include <optional>
#include <vector>

namespace Lumivera {

/// The cards of all bundles, as many as there are room for; the others are scrolled to. Cards are
/// drawn one by one in call-outs of their own, those that can be seen first. Main thread.
class ChooserShelf {
  public:
    /// The listings are not owned.
    explicit ChooserShelf(const std::vector<BundleListing> &bundles);

    UIView &view() { return *_view; }

    /// Of a card; null before it is drawn, and when there is none.
    Retained<CGImage> picture(NSUInteger index) const { return _cards[index]->picture(); }
    bool needsDrawing(NSUInteger index) const { return _cards[index]->needsDrawing(); }

    void layOut(const ChooserLayout &layout, CGFloat density);

    /// Scrolls to where it can be seen.
    void select(NSUInteger index);

    /// In points, towards the end of the cards.
    void scrollBy(CGFloat distance);

    /// In points, from the beginning.
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
