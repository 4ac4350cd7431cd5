#include "Host/Commands/Gallery/Gallery.h"

namespace Lumivera {

namespace {

// A stage is a square, and the label stands over it.
constexpr CGFloat kCellShape = 0.84;
constexpr CGFloat kLabelShare = 0.19;

CGFloat shapeOf(NSUInteger stages) {
    return stages == 1 ? kCellShape : static_cast<CGFloat>(stages) / (1 + kLabelShare);
}

} // namespace

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
