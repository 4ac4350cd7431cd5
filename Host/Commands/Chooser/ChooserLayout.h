#pragma once

#include "Host/Displays/Window.h"
#include "Host/Wallpapers/WallpaperSettings.h"
#include "Platform/CoreGraphics/CGColor.h"
#include "Platform/Foundation/NSTypes.h"

#include <optional>

/// The chooser's colours and common lengths; lengths in units of the layout.
namespace Lumivera::ChooserStyle {

inline constexpr CGColor kBackground{0.075, 0.067, 0.102, 1};
inline constexpr CGColor kPanelTop{1, 0.94, 1, 0.075};
inline constexpr CGColor kPanelBottom{1, 0.94, 1, 0.035};
inline constexpr CGColor kPanelEdge{1, 0.92, 0.98, 0.09};
inline constexpr CGColor kText{0.97, 0.94, 0.97, 1};
inline constexpr CGColor kFaintText{0.97, 0.94, 0.97, 0.58};
inline constexpr CGColor kMark{0.97, 0.94, 0.97, 0.3};
inline constexpr CGColor kAccent{0.965, 0.675, 0.765, 1};
inline constexpr CGColor kOnAccent{0.16, 0.07, 0.11, 1};
inline constexpr CGColor kWarning{1, 0.74, 0.55, 1};

inline constexpr CGFloat kPreviewCorner = 14;
inline constexpr CGFloat kCardCorner = 9;
inline constexpr CGFloat kSmallText = 13;
inline constexpr CGFloat kUsualText = 14;
inline constexpr CGFloat kTitleText = 21;

} // namespace Lumivera::ChooserStyle

namespace Lumivera {

/// The frames of the chooser's parts. A wide window has the cards beside the preview; others have
/// them below it, in a single row when there is no room for more. Without cards the preview fills
/// the window. In points, rounded to whole pixels; a part without room has an empty frame.
class ChooserLayout {
  public:
    ChooserLayout(const PictureSize &size, NSUInteger count);

    /// Scales text and gaps with the window; 1 in a window of the default size.
    CGFloat unit() const { return _unit; }

    CGRect preview() const { return _preview; }
    CGRect title() const { return _title; }
    CGRect details() const { return _details; }
    CGRect button() const { return _button; }

    /// The part of the window that shows the cards, which scroll sideways when they stand in one
    /// row and downwards otherwise.
    CGRect shelf() const { return _shelf; }
    bool isRow() const { return _isRow; }
    NSUInteger columns() const { return _columns; }

    /// The frames of a card and of its picture, relative to the shelf before scrolling.
    CGRect card(NSUInteger index) const;
    CGRect cardPicture(NSUInteger index) const;

    /// The largest scroll offset, and the one nearest to `present` that shows all of a card.
    CGFloat longestScroll() const;
    CGFloat scrollShowing(NSUInteger index, CGFloat present) const;

    /// The card at a point of the window; nothing between cards and outside the shelf.
    std::optional<NSUInteger> cardAt(CGPoint point, CGFloat scroll) const;

    /// The card that a key selects from this one; the same card at an end and for other keys.
    NSUInteger neighbour(NSUInteger index, WindowKey key) const;

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
    /// The margin around the cards for the ring of the selected one.
    CGFloat _edge = 0;
    bool _isRow = false;
    NSUInteger _columns = 1;
    CGSize _card;
    CGFloat _pictureHeight = 0;
};

} // namespace Lumivera
