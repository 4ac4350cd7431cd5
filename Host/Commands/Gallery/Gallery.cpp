#include "Host/Commands/Gallery/Gallery.h"

#include "Host/Commands/Gallery/GalleryCard.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

constexpr CGFloat kGapShare = 0.016;
constexpr CGFloat kMaxGap = 16;

CGFloat gapPixels(const PictureSize &size) {
    const CGFloat shorter = std::min(size.size.width, size.size.height);
    return std::round(std::min(shorter * kGapShare, kMaxGap) * size.density);
}

/// The length of each part; there are gaps between the parts and at both ends.
CGFloat share(CGFloat length, NSUInteger count, CGFloat gap) {
    const auto parts = static_cast<CGFloat>(count);
    return std::max<CGFloat>(std::floor((length - gap * (parts + 1)) / parts), 0);
}

CGFloat start(CGFloat length, NSUInteger count, CGFloat part, CGFloat gap) {
    const auto parts = static_cast<CGFloat>(count);
    return std::max<CGFloat>(std::floor((length - parts * part - (parts - 1) * gap) / 2), 0);
}

/// The stage is a square with the label above it.
constexpr CGFloat kCellShape = 0.84;
constexpr CGFloat kLabelShare = 0.19;

CGFloat shapeOf(NSUInteger stages) {
    return stages == 1 ? kCellShape : static_cast<CGFloat>(stages) / (1 + kLabelShare);
}

} // namespace

GalleryGrid::GalleryGrid(const PictureSize &size, NSUInteger count, CGFloat shape,
                         NSUInteger columns)
    : _pixels{static_cast<CGFloat>(size.pixelWidth()), static_cast<CGFloat>(size.pixelHeight())},
      _density(size.density), _count(count), _gap(gapPixels(size)),
      _columns(columns > 0 ? std::min(columns, count) : bestColumns(shape)) {}

/// Prefers the largest cells, then the fewest empty places.
NSUInteger GalleryGrid::bestColumns(CGFloat shape) const {
    NSUInteger best = 1;
    CGFloat bestHeight = -1;
    NSUInteger bestRest = 0;
    for (NSUInteger columns = 1; columns <= _count; ++columns) {
        const CGSize cell = cellPixels(columns);
        const CGFloat height = std::min(cell.width / shape, cell.height);
        const NSUInteger rest = (columns - _count % columns) % columns;
        if (height > bestHeight || (height == bestHeight && rest < bestRest)) {
            best = columns;
            bestHeight = height;
            bestRest = rest;
        }
    }
    return best;
}

CGSize GalleryGrid::cellPixels(NSUInteger columns) const {
    const NSUInteger rows = (_count + columns - 1) / columns;
    return {share(_pixels.width, columns, _gap), share(_pixels.height, rows, _gap)};
}

CGRect GalleryGrid::cell(NSUInteger index) const {
    const NSUInteger row = index / _columns;
    const NSUInteger inRow = std::min(_columns, _count - row * _columns);
    const CGSize size = cellPixels(_columns);
    const CGFloat left = start(_pixels.width, inRow, size.width, _gap) +
                         static_cast<CGFloat>(index % _columns) * (size.width + _gap);
    const CGFloat top = start(_pixels.height, rows(), size.height, _gap) +
                        static_cast<CGFloat>(row) * (size.height + _gap);
    return {{left / _density, top / _density}, {size.width / _density, size.height / _density}};
}

std::optional<NSUInteger> GalleryGrid::cellAt(CGPoint point) const {
    for (NSUInteger index = 0; index < _count; ++index) {
        if (CGRectContainsPoint(cell(index), point)) {
            return index;
        }
    }
    return std::nullopt;
}

GalleryCell::GalleryCell(const Exhibit &exhibit, const GalleryPictures &pictures,
                         const CGRect &frame, CGFloat density, NSUInteger stageCount)
    : _exhibit(exhibit), _view(UIView::initWithFrame(frame)) {
    const GalleryCard card(exhibit, frame.size, density, stageCount);
    _view->setClipsToBounds(true);
    _view->layer()->setContents(card.draw());
    for (NSUInteger i = 0; i < stageCount; ++i) {
        _stages.push_back(std::make_unique<ExhibitStage>(exhibit, pictures.flower(exhibit.flower),
                                                         pictures.tile(), card.stageFrame(i)));
        _view->addSubview(&_stages.back()->view());
    }
}

void GalleryCell::play() {
    for (const auto &stage : _stages) {
        stage->play();
    }
}

void GalleryCell::hold() {
    for (const auto &stage : _stages) {
        stage->hold();
    }
}

void GalleryCell::holdMoments() {
    const auto count = static_cast<NSTimeInterval>(_stages.size());
    for (std::size_t i = 0; i < _stages.size(); ++i) {
        _stages[i]->play();
        _stages[i]->holdAfter(_exhibit.pass * static_cast<NSTimeInterval>(i) / count);
    }
}

Gallery::Gallery(const GalleryPictures &pictures, const PictureSize &size, const Options &options)
    : _pictures(pictures), _options(options), _root(UIView::initWithFrame({{0, 0}, size.size})) {
    layOut(size);
}

void Gallery::resize(const PictureSize &size) {
    layOut(size);
    if (_isPlaying) {
        setPlaying(true);
    }
}

void Gallery::layOut(const PictureSize &size) {
    for (const auto &cell : _cells) {
        cell->view().removeFromSuperview();
    }
    _cells.clear();
    _root->setFrame({{0, 0}, size.size});
    _root->layer()->setContents(GalleryPictures::background(size));
    const auto &exhibits = allExhibits();
    _grid.emplace(size, exhibits.size(), shapeOf(_options.stagesPerCell), _options.columns);
    for (NSUInteger i = 0; i < exhibits.size(); ++i) {
        _cells.push_back(std::make_unique<GalleryCell>(exhibits[i], _pictures, _grid->cell(i),
                                                       size.density, _options.stagesPerCell));
        _root->addSubview(&_cells.back()->view());
    }
}

void Gallery::setPlaying(bool playing) {
    _isPlaying = playing;
    for (const auto &cell : _cells) {
        if (playing) {
            cell->play();
        } else {
            cell->hold();
        }
    }
}

void Gallery::holdMoments() {
    for (const auto &cell : _cells) {
        cell->holdMoments();
    }
}

void Gallery::restartAt(CGPoint point) {
    const auto index = _grid->cellAt(point);
    if (index && _isPlaying) {
        _cells[*index]->play();
    }
}

} // namespace Lumivera
