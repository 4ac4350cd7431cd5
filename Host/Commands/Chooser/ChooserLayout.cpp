#include "Host/Commands/Chooser/ChooserLayout.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

constexpr CGFloat kUsualSide = 660;
constexpr CGFloat kMinUnit = 0.8;
constexpr CGFloat kMaxUnit = 2;

/// Ratios of width to height.
constexpr CGFloat kShape = 1.6;
constexpr CGFloat kMaxPreviewAspect = 1.8;
constexpr CGFloat kMinPreviewAspect = 1.1;
constexpr CGFloat kPreviewOnTop = 1.25;
constexpr CGFloat kSlimmestPreview = 0.8;
constexpr CGFloat kWideWindow = 1.1;

/// Lengths in units.
constexpr CGFloat kMargin = 24;
constexpr CGFloat kSmallMargin = 14;
constexpr CGFloat kSmallWindow = 520;
constexpr CGFloat kMinShelfWidth = 190;
constexpr CGFloat kMaxShelfWidth = 780;
constexpr CGFloat kCardWidth = 132;
constexpr CGFloat kCardWidthInRow = 150;
constexpr CGFloat kLabelHeight = 27;
constexpr CGFloat kGap = 14;
constexpr CGFloat kShelfEdge = 6;
constexpr CGFloat kTitleHeight = 32;
constexpr CGFloat kDetailsHeight = 40;
constexpr CGFloat kButtonWidth = 116;
constexpr CGFloat kButtonHeight = 40;
constexpr CGFloat kMinRowHeight = 70;

/// A grid needs room for this many rows of cards; otherwise there is a single row.
constexpr CGFloat kRowsOfGrid = 1.9;

/// Shares of the window's size.
constexpr CGFloat kShelfShare = 0.36;
constexpr CGFloat kPreviewShare = 0.46;

CGFloat unitFor(CGSize size) {
    return std::clamp(std::min(size.width, size.height) / kUsualSide, kMinUnit, kMaxUnit);
}

CGFloat rightOf(const CGRect &rect) { return rect.origin.x + rect.size.width; }

CGFloat bottomOf(const CGRect &rect) { return rect.origin.y + rect.size.height; }

CGFloat orNothing(CGFloat length) { return std::max<CGFloat>(length, 0); }

} // namespace

ChooserLayout::ChooserLayout(const PictureSize &size, NSUInteger count)
    : _size(size.size), _density(size.density), _count(count), _unit(unitFor(size.size)) {
    const CGFloat shorter = std::min(_size.width, _size.height);
    const CGFloat wanted = shorter < kSmallWindow * _unit ? kSmallMargin : kMargin;
    const CGFloat margin = std::min(wanted * _unit, shorter / 10);
    _edge = std::min(kShelfEdge * _unit, margin);
    if (_count == 0) {
        _preview =
            snapped({{margin, margin},
                     {orNothing(_size.width - 2 * margin), orNothing(_size.height - 2 * margin)}});
        return;
    }
    if (_size.width > _size.height * kWideWindow) {
        standBesideOneAnother(margin);
    } else {
        standBelowOneAnother(margin);
    }
    placeCards();
}

/// Wide windows have the cards on the left.
void ChooserLayout::standBesideOneAnother(CGFloat margin) {
    const CGFloat narrowest = std::min(kMinShelfWidth * _unit, _size.width / 2);
    const CGFloat shelf =
        std::clamp(_size.width * kShelfShare, narrowest, kMaxShelfWidth * _unit) - margin;
    const CGFloat height = orNothing(_size.height - 2 * margin);
    _shelf = snapped({{margin - _edge, margin - _edge}, {shelf + 2 * _edge, height + 2 * _edge}});
    const CGFloat left = margin + shelf + margin;
    const CGFloat room = orNothing(_size.width - left - margin);
    const CGFloat info = std::min((kTitleHeight + kDetailsHeight) * _unit, height / 2);
    const CGFloat between = margin * 0.6;
    const CGFloat highest = orNothing(height - info - between);
    const CGFloat width = std::min(room, highest * kMaxPreviewAspect);
    const CGFloat used = std::min(highest, width / kMinPreviewAspect);
    const CGFloat start = left + (room - width) / 2;
    _preview = snapped({{start, margin}, {width, used}});
    placeInfo({{start, margin + used + between}, {width, info}});
}

void ChooserLayout::standBelowOneAnother(CGFloat margin) {
    const CGFloat width = orNothing(_size.width - 2 * margin);
    const CGFloat between = margin * 0.7;
    const CGFloat info = std::min((kTitleHeight + kDetailsHeight / 2) * _unit, _size.height / 4);
    const CGFloat room = orNothing(_size.height - 2 * margin - 2 * between - info);
    const CGFloat row = (kCardWidthInRow / kShape + kLabelHeight) * _unit;
    CGFloat height = std::min(width / kPreviewOnTop, _size.height * kPreviewShare);
    _isRow = room - height < kRowsOfGrid * row;
    if (_isRow) {
        height = std::max(std::min(room - row, width / kSlimmestPreview), room / 2);
    }
    _preview = snapped({{margin, margin}, {width, height}});
    placeInfo({{margin, margin + height + between}, {width, info}});
    const CGFloat top = margin + height + info + 2 * between;
    _shelf = snapped({{margin - _edge, top - _edge},
                      {width + 2 * _edge, orNothing(_size.height - top - margin) + 2 * _edge}});
}

/// Places the button at the end of the area and the text before it.
void ChooserLayout::placeInfo(const CGRect &area) {
    const CGFloat left = area.origin.x;
    const CGFloat top = area.origin.y;
    const CGSize button{std::min(kButtonWidth * _unit, area.size.width / 2),
                        std::min(kButtonHeight * _unit, area.size.height)};
    const CGFloat text = orNothing(area.size.width - button.width - kGap * _unit);
    const CGFloat title = std::min(kTitleHeight * _unit, area.size.height);
    _title = snapped({{left, top}, {text, title}});
    _details = snapped({{left, top + title}, {text, orNothing(area.size.height - title)}});
    _button = snapped({{left + area.size.width - button.width, top + 2 * _unit}, button});
}

void ChooserLayout::placeCards() {
    const CGFloat gap = kGap * _unit;
    const CGFloat label = kLabelHeight * _unit;
    const CGFloat width = orNothing(_shelf.size.width - 2 * _edge);
    const CGFloat height = orNothing(_shelf.size.height - 2 * _edge);
    if (_isRow) {
        _columns = std::max<NSUInteger>(_count, 1);
        const bool hasLabels = height >= kMinRowHeight * _unit;
        _pictureHeight = std::min(orNothing(height - (hasLabels ? label : 0)), width / kShape);
        _card = {_pictureHeight * kShape, height};
    } else {
        const CGFloat fitting = std::floor((width + gap) / (kCardWidth * _unit + gap));
        _columns = std::max<NSUInteger>(static_cast<NSUInteger>(orNothing(fitting)), 1);
        const auto columns = static_cast<CGFloat>(_columns);
        _card.width = orNothing((width - (columns - 1) * gap) / columns);
        _pictureHeight = _card.width / kShape;
        _card.height = _pictureHeight + label;
    }
}

CGRect ChooserLayout::card(NSUInteger index) const {
    const CGFloat gap = kGap * _unit;
    const auto column = static_cast<CGFloat>(index % _columns);
    const auto row = static_cast<CGFloat>(index / _columns);
    return snapped(
        {{_edge + column * (_card.width + gap), _edge + row * (_card.height + gap)}, _card});
}

CGRect ChooserLayout::cardPicture(NSUInteger index) const {
    const CGRect whole = card(index);
    return snapped({whole.origin, {whole.size.width, _pictureHeight}});
}

CGFloat ChooserLayout::pageLength() const {
    return _isRow ? _shelf.size.width : _shelf.size.height;
}

CGFloat ChooserLayout::longestScroll() const {
    if (_count == 0) {
        return 0;
    }
    const CGRect last = card(_count - 1);
    const CGFloat end = _isRow ? rightOf(last) : bottomOf(last);
    return orNothing(end + _edge - pageLength());
}

CGFloat ChooserLayout::scrollShowing(NSUInteger index, CGFloat present) const {
    const CGRect shown = card(index);
    const CGFloat start = (_isRow ? shown.origin.x : shown.origin.y) - _edge;
    const CGFloat end = (_isRow ? rightOf(shown) : bottomOf(shown)) + _edge;
    const CGFloat wanted = std::min(std::max(present, end - pageLength()), start);
    return std::clamp<CGFloat>(wanted, 0, longestScroll());
}

std::optional<NSUInteger> ChooserLayout::cardAt(CGPoint point, CGFloat scroll) const {
    if (!CGRectContainsPoint(_shelf, point)) {
        return std::nullopt;
    }
    const CGPoint inside{point.x - _shelf.origin.x + (_isRow ? scroll : 0),
                         point.y - _shelf.origin.y + (_isRow ? 0 : scroll)};
    for (NSUInteger index = 0; index < _count; ++index) {
        if (CGRectContainsPoint(card(index), inside)) {
            return index;
        }
    }
    return std::nullopt;
}

NSUInteger ChooserLayout::neighbour(NSUInteger index, WindowKey key) const {
    const CGFloat gap = kGap * _unit;
    const CGFloat step = (_isRow ? _card.width : _card.height) + gap;
    const NSUInteger steps = static_cast<NSUInteger>(
        std::clamp<CGFloat>(std::floor(pageLength() / std::max<CGFloat>(step, 1)), 1, 1000));
    const NSUInteger line = _isRow ? 1 : _columns;
    const NSUInteger last = _count == 0 ? 0 : _count - 1;
    const auto back = [&](NSUInteger by) { return by <= index ? index - by : index; };
    const auto on = [&](NSUInteger by) { return index + by <= last ? index + by : index; };
    switch (key) {
    case WindowKey::Left:
        return back(1);
    case WindowKey::Right:
        return on(1);
    case WindowKey::Up:
        return back(line);
    case WindowKey::Down:
        return on(line);
    case WindowKey::PageUp:
        return index - std::min(index / line, steps) * line;
    case WindowKey::PageDown:
        return index + std::min((last - std::min(index, last)) / line, steps) * line;
    case WindowKey::First:
        return 0;
    case WindowKey::Last:
        return last;
    default:
        return index;
    }
}

CGRect ChooserLayout::snapped(const CGRect &rect) const {
    const auto snap = [this](CGFloat length) { return std::round(length * _density) / _density; };
    const CGFloat left = snap(rect.origin.x);
    const CGFloat top = snap(rect.origin.y);
    return {{left, top},
            {orNothing(snap(rightOf(rect)) - left), orNothing(snap(bottomOf(rect)) - top)}};
}

} // namespace Lumivera
