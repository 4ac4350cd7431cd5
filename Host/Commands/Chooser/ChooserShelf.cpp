#include "Host/Commands/Chooser/ChooserShelf.h"

#include "Host/Commands/Chooser/ChooserLayout.h"
#include "Host/Commands/Chooser/PanelCanvas.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

/// Lengths in units.
constexpr CGFloat kBarWidth = 3;
constexpr CGFloat kMinBarLength = 24;

/// Delay in seconds before cards are drawn, so that a resizing window does not draw them.
constexpr NSTimeInterval kAfterResize = 0.15;

} // namespace

ChooserShelf::ChooserShelf(const std::vector<BundleListing> &bundles)
    : _view(UIView::initWithFrame({})), _content(UIView::initWithFrame({})),
      _bar(UIView::initWithFrame({})), _draw([this] { drawNext(); }) {
    _view->setClipsToBounds(true);
    _view->addSubview(_content.get());
    _view->addSubview(_bar.get());
    for (const BundleListing &listing : bundles) {
        _cards.push_back(std::make_unique<ChooserCard>(listing));
        _content->addSubview(&_cards.back()->view());
    }
}

void ChooserShelf::layOut(const ChooserLayout &layout, CGFloat density) {
    const bool isFirst = !_layout;
    _layout.emplace(layout);
    _density = density;
    _view->setFrame(layout.shelf());
    for (NSUInteger i = 0; i < _cards.size(); ++i) {
        const CGFloat pictureHeight = layout.cardPicture(i).size.height;
        _cards[i]->layOut(layout.card(i), pictureHeight, layout.unit(), density);
    }
    scrollTo(_selected ? layout.scrollShowing(*_selected, _scroll) : _scroll);
    _draw.callAfter(isFirst ? 0 : kAfterResize);
}

void ChooserShelf::select(NSUInteger index) {
    if (_selected) {
        _cards[*_selected]->setSelected(false);
    }
    _selected = index;
    _cards[index]->setSelected(true);
    if (_layout) {
        scrollTo(_layout->scrollShowing(index, _scroll));
    }
}

void ChooserShelf::scrollBy(CGFloat distance) { scrollTo(_scroll + distance); }

std::optional<NSUInteger> ChooserShelf::cardAt(CGPoint point) const {
    return _layout ? _layout->cardAt(point, _scroll) : std::nullopt;
}

/// Rounds to whole pixels, so that pictures stay sharp.
void ChooserShelf::scrollTo(CGFloat scroll) {
    if (!_layout) {
        return;
    }
    _scroll = std::clamp<CGFloat>(scroll, 0, _layout->longestScroll());
    const CGFloat shown = std::round(_scroll * _density) / _density;
    const CGPoint start{_layout->isRow() ? -shown : 0, _layout->isRow() ? 0 : -shown};
    _content->setFrame({start, _layout->shelf().size});
    placeBar();
}

/// Places the scroll bar.
void ChooserShelf::placeBar() {
    const CGSize shelf = _layout->shelf().size;
    const CGFloat page = _layout->isRow() ? shelf.width : shelf.height;
    const CGFloat all = page + _layout->longestScroll();
    _bar->setHidden(all <= page);
    if (_bar->isHidden()) {
        return;
    }
    const CGFloat width = kBarWidth * _layout->unit();
    const CGFloat length =
        std::round(std::clamp(page * page / all, std::min(kMinBarLength, page), page));
    const CGFloat start = (page - length) * _scroll / _layout->longestScroll();
    const CGRect across{{start, shelf.height - width}, {length, width}};
    const CGRect down{{shelf.width - width, start}, {width, length}};
    const CGRect frame = _layout->isRow() ? across : down;
    if (frame.size != _bar->bounds().size || !_bar->layer()->contents()) {
        PanelCanvas canvas(frame.size, _density);
        canvas.fillPanel({{0, 0}, frame.size}, width / 2, ChooserStyle::kMark, ChooserStyle::kMark);
        _bar->layer()->setContents(canvas.picture());
    }
    _bar->setFrame(frame);
}

void ChooserShelf::drawNext() {
    if (ChooserCard *card = nextToDraw()) {
        card->draw();
        _draw.callAfter(0);
    }
}

/// A visible card that needs drawing, or else the first one; null when there is none.
ChooserCard *ChooserShelf::nextToDraw() {
    ChooserCard *first = nullptr;
    const CGFloat end =
        _scroll + (_layout->isRow() ? _layout->shelf().size.width : _layout->shelf().size.height);
    for (NSUInteger i = 0; i < _cards.size(); ++i) {
        if (!_cards[i]->needsDrawing()) {
            continue;
        }
        first = first ? first : _cards[i].get();
        const CGRect place = _layout->card(i);
        const CGFloat from = _layout->isRow() ? place.origin.x : place.origin.y;
        const CGFloat length = _layout->isRow() ? place.size.width : place.size.height;
        if (from + length > _scroll && from < end) {
            return _cards[i].get();
        }
    }
    return first;
}

} // namespace Lumivera
