#pragma once

#include "Host/Displays/Display.h"
#include "Host/Wallpapers/PictureSize.h"
#include "Platform/Foundation/NSTypes.h"

#include <optional>

namespace Lumivera {

/// Where everything of the chooser stands: beside one another in a wide window, otherwise the
/// preview on top and the cards below it, in a single row where there is no room for more.
/// Without cards the preview has it all. In points, on whole pixels; what finds no room is empty.
class ChooserLayout {
  public:
    ChooserLayout(const PictureSize &size, NSUInteger count);

    /// How large things are drawn; 1 in a window of usual size.
    CGFloat unit() const { return _unit; }

    CGRect preview() const { return _preview; }
    CGRect title() const { return _title; }
    CGRect details() const { return _details; }
    CGRect button() const { return _button; }

    /// The window through which the cards are seen. They may be longer than it, sideways when they
    /// stand in one row and else downwards.
    CGRect shelf() const { return _shelf; }
    bool isRow() const { return _isRow; }
    NSUInteger columns() const { return _columns; }

    /// All of a card, and its picture alone. On a shelf that has not been scrolled, from its top
    /// left corner on.
    CGRect card(NSUInteger index) const;
    CGRect cardPicture(NSUInteger index) const;

    /// How far the cards can be scrolled, and how far they must be to show all of a card.
    CGFloat longestScroll() const;
    CGFloat scrollShowing(NSUInteger index, CGFloat present) const;

    /// The card at a point of the window; nothing between cards and outside of the shelf.
    std::optional<NSUInteger> cardAt(CGPoint point, CGFloat scroll) const;

    /// The card that a key leads to; the same at an end and for other keys.
    NSUInteger neighbour(NSUInteger index, DisplayKey key) const;

  private:
    void standBesideOneAnother(CGFloat margin);
    void standBelowOneAnother(CGFloat margin);
    void placeInfo(const CGRect &area);
    void placeCards();
    CGFloat pageLength() const;
    CGRect snapped(const CGRect &rect) const;

    const CGSize _size;
    const CGFloat _density;
    const NSUInteger _count;
    const CGFloat _unit;
    CGRect _preview, _title, _details, _button, _shelf;
    /// Room around the cards for the mark of the selected one.
    CGFloat _edge = 0;
    bool _isRow = false;
    NSUInteger _columns = 1;
    CGSize _card;
    CGFloat _pictureHeight = 0;
};

} // namespace Lumivera
