#include "Host/Commands/Gallery/GalleryCard.h"

#include "Host/Commands/Gallery/GalleryCanvas.h"
#include "Host/Commands/Gallery/Lettering.h"

#include <algorithm>

namespace Lumivera {

namespace {

constexpr CGColor kTop{1, 0.95, 1, 0.085};
constexpr CGColor kBottom{1, 0.95, 1, 0.035};
constexpr CGColor kEdge{1, 0.9, 0.97, 0.13};
constexpr CGColor kTitle{1, 0.93, 0.96, 0.95};
constexpr CGColor kCaption{1, 0.86, 0.93, 0.6};
constexpr CGColor kMark{1, 0.9, 0.97, 0.18};

/// Shares of the card's shorter side.
constexpr CGFloat kCorner = 0.07;
constexpr CGFloat kTitleShare = 0.095;
constexpr CGFloat kStripTitleShare = 0.12;
constexpr CGFloat kMaxTitleShare = 0.15;

/// Shares of the title's font size.
constexpr CGFloat kCaptionShare = 0.76;
constexpr CGFloat kFirstLine = 1.35;
constexpr CGFloat kBelowTitle = 1.85;
constexpr CGFloat kToSecondLine = 1.22;

/// Shares of the stage's side.
constexpr CGFloat kMarkArm = 0.05;
constexpr CGFloat kMarkWeight = 0.008;

constexpr CGFloat kMaxCornerRadius = 18;
constexpr CGFloat kMaxTitleSize = 26;
constexpr CGFloat kThinnestMark = 0.75;

/// The share of the width that a line of the label may take.
constexpr CGFloat kLine = 0.88;

/// The smallest readable letters, in pixels from the deepest to the tallest point.
constexpr CGFloat kMinLetterSize = 8;

CGFloat shorterSide(CGSize size) { return std::min(size.width, size.height); }

} // namespace

GalleryCard::GalleryCard(const Exhibit &exhibit, CGSize size, CGFloat density,
                         NSUInteger stageCount)
    : _exhibit(exhibit), _size(size), _density(density), _stageCount(stageCount),
      _title(readableSize(exhibit.title, wantedTitleSize())),
      _caption(readableSize(exhibit.caption, _title * kCaptionShare)) {}

/// Letters are larger in proportion on small cards, so that they can be read.
CGFloat GalleryCard::wantedTitleSize() const {
    const CGFloat shorter = shorterSide(_size);
    const CGFloat wanted = shorter * (isStrip() ? kStripTitleShare : kTitleShare);
    const CGFloat readable = std::min(kMinLetterSize / _density, shorter * kMaxTitleShare);
    return std::min(std::max(wanted, readable), kMaxTitleSize);
}

/// The size, reduced until the text fits; 0 when it would be unreadable.
CGFloat GalleryCard::readableSize(const std::u32string &text, CGFloat size) const {
    const CGFloat width = Lettering::width(text, size);
    const CGFloat room = _size.width * kLine;
    const CGFloat fitting = width > room ? size * room / width : size;
    return fitting * _density >= kMinLetterSize ? fitting : 0;
}

CGFloat GalleryCard::labelHeight() const {
    const bool hasSecondLine = !isStrip() && _caption > 0;
    return _title * (hasSecondLine ? kBelowTitle + kToSecondLine : kBelowTitle);
}

CGRect GalleryCard::stageFrame(NSUInteger number) const {
    const CGFloat width = _size.width / static_cast<CGFloat>(_stageCount);
    const CGFloat height = std::max<CGFloat>(_size.height - labelHeight(), 0);
    const CGFloat side = std::min(width, height);
    return {{width * static_cast<CGFloat>(number) + (width - side) / 2,
             _size.height - height + (height - side) / 2},
            {side, side}};
}

Retained<CGImage> GalleryCard::draw() const {
    GalleryCanvas canvas(_size, _density);
    const CGRect whole{{0, 0}, _size};
    const CGFloat corner = std::min(shorterSide(_size) * kCorner, kMaxCornerRadius);
    canvas.fillPanel(whole, corner, kTop, kBottom);
    canvas.strokePanel(whole, corner, 1 / _density, kEdge);
    for (NSUInteger i = 0; i < _stageCount; ++i) {
        markRestingPlace(canvas, stageFrame(i));
    }
    if (isStrip()) {
        writeStripLabel(canvas);
    } else {
        writeLabel(canvas);
    }
    return canvas.picture();
}

/// Writes two centred lines.
void GalleryCard::writeLabel(GalleryCanvas &canvas) const {
    const auto write = [&](const std::u32string &text, CGFloat line, CGFloat size,
                           const CGColor &color) {
        const CGFloat left = (_size.width - Lettering::width(text, size)) / 2;
        Lettering::write(canvas, text, {left, line * _title}, size, color);
    };
    write(_exhibit.title, kFirstLine, _title, kTitle);
    write(_exhibit.caption, kFirstLine + kToSecondLine, _caption, kCaption);
}

/// Writes one line, with the caption at its end.
void GalleryCard::writeStripLabel(GalleryCanvas &canvas) const {
    const CGFloat line = kFirstLine * _title;
    const CGFloat margin = _title;
    const CGFloat captionLeft = _size.width - margin - Lettering::width(_exhibit.caption, _caption);
    Lettering::write(canvas, _exhibit.title, {margin, line}, _title, kTitle);
    if (margin * 2 + Lettering::width(_exhibit.title, _title) < captionLeft) {
        Lettering::write(canvas, _exhibit.caption, {captionLeft, line}, _caption, kCaption);
    }
}

/// Draws a small cross.
void GalleryCard::markRestingPlace(GalleryCanvas &canvas, const CGRect &stage) const {
    const CGFloat side = stage.size.width;
    const CGFloat arm = side * kMarkArm;
    const CGFloat x = CGRectGetMidX(stage) + static_cast<CGFloat>(_exhibit.restX) * side;
    const CGFloat y = CGRectGetMidY(stage);
    const std::vector<GalleryCanvas::Line> cross{{{x - arm, y}, {x + arm, y}},
                                                 {{x, y - arm}, {x, y + arm}}};
    canvas.strokeLines(cross, std::max(side * kMarkWeight, kThinnestMark), kMark);
}

} // namespace Lumivera
