#include "GalleryView.h"

#include <algorithm>
#include <cmath>

namespace {

/// The share of a square that is free on each side of its card.
constexpr CGFloat kGap = 0.03;

/// Seconds in which the wave crosses the view.
constexpr double kWave = 0.6;

/// Divides a view into equal squares, as large as can be, in the middle.
class Grid {
  public:
    Grid(CGSize size, std::size_t count) : _size(size), _count(count) {
        for (std::size_t columns = 1; columns <= count; ++columns) {
            if (sideWith(columns) > sideWith(_columns)) {
                _columns = columns;
            }
        }
    }

    CGRect square(std::size_t index) const {
        const CGFloat side = sideWith(_columns);
        const CGFloat gap = std::round(kGap * side);
        const CGFloat left = middle(_size.width, side, _columns, index % _columns);
        const CGFloat top = middle(_size.height, side, rowsWith(_columns), index / _columns);
        const CGFloat card = std::max<CGFloat>(side - 2 * gap, 0);
        return {{left + gap, top + gap}, {card, card}};
    }

  private:
    std::size_t rowsWith(std::size_t columns) const { return (_count + columns - 1) / columns; }

    CGFloat sideWith(std::size_t columns) const {
        return std::floor(std::min(_size.width / static_cast<CGFloat>(columns),
                                   _size.height / static_cast<CGFloat>(rowsWith(columns))));
    }

    /// The start of one of `count` squares that lie in the middle of a length.
    static CGFloat middle(CGFloat length, CGFloat side, std::size_t count, std::size_t index) {
        const CGFloat rest = length - side * static_cast<CGFloat>(count);
        return std::floor(rest / 2) + side * static_cast<CGFloat>(index);
    }

    const CGSize _size;
    const std::size_t _count;
    std::size_t _columns = 1;
};

SystemSoundID soundOfFile(const std::string &name) {
    SystemSoundID sound = 0;
    if (const auto bundle = ImageCache::sharedInstance()->resBundle()) {
        const auto file = NSURL::fileURLWithPath(bundle->resourcePath() + "/" + name);
        AudioServicesCreateSystemSoundID(file.get(), &sound);
    }
    return sound;
}

} // namespace

/// The captions come from a pack, which takes the place of whatever the cache holds.
GalleryView::GalleryView(const CGRect &frame)
    : DeskTopView(frame), _player(Lumivera::make<SoundPlay>()) {
    ImageCache::sharedInstance()->setResourceData("captions.pack");
    bgView()->setContentMode(UIViewContentModeScaleToFill);
    _player->setSoundSwitch(true);
}

void GalleryView::initResource() {
    setBackgroundImage(Lumivera::picture("background.png"));
    const SystemSoundID sound = soundOfFile("chime.wav");
    {
        const TreeAccess access;
        _player->setSoundID(sound);
    }
    startAnimating();
}

/// Cards are made on the main thread, because operations on pictures belong there.
void GalleryView::doAnimating() {
    if (_pages.empty()) {
        addPage(animationExhibits());
        addPage(pictureExhibits());
        layOut();
    }
    if (!isAnimating()) {
        return; // this frame was due already when the pause began
    }
    const NSTimeInterval now = CACurrentMediaTime();
    for (const auto &card : cards()) {
        card->play(now);
    }
}

/// Animations that run would go on.
void GalleryView::pauseAnimating() {
    DeskTopView::pauseAnimating();
    for (const auto &card : cards()) {
        card->hold();
    }
}

void GalleryView::resumeAnimating() {
    beginCards();
    DeskTopView::resumeAnimating();
}

void GalleryView::setFrame(const CGRect &frame) {
    DeskTopView::setFrame(frame);
    if (!_pages.empty() && !(bounds().size == _laidOutSize)) {
        layOut();
    }
}

void GalleryView::tapActionAtViewPoint(CGPoint point) {
    if (!_pages.empty() && CGRectContainsPoint(tapClipRect(), point)) {
        _player->playSysSound(_player->soundID());
        showPage((_page + 1) % _pages.size(), point);
    }
}

const GalleryView::Cards &GalleryView::cards() const {
    static const Cards none;
    return _pages.empty() ? none : _pages[_page].cards;
}

void GalleryView::addPage(const std::vector<Exhibit> &exhibits) {
    Page page{UIView::initWithFrame(bounds()), {}};
    addSubview(page.view.get());
    for (const Exhibit &exhibit : exhibits) {
        page.cards.push_back(std::make_unique<Card>(exhibit));
        page.view->addSubview(&page.cards.back()->view());
    }
    page.view->setHidden(!_pages.empty());
    _pages.push_back(std::move(page));
}

void GalleryView::layOut() {
    _laidOutSize = bounds().size;
    for (const Page &page : _pages) {
        const Grid grid(_laidOutSize, page.cards.size());
        page.view->setFrame(bounds());
        for (std::size_t i = 0; i < page.cards.size(); ++i) {
            page.cards[i]->setFrame(grid.square(i));
        }
    }
    beginCards();
}

void GalleryView::beginCards() {
    const NSTimeInterval now = CACurrentMediaTime();
    for (const auto &card : cards()) {
        card->beginAt(now);
    }
}

void GalleryView::showPage(std::size_t number, CGPoint from) {
    _pages[_page].view->setHidden(true);
    _page = number;
    _pages[_page].view->setHidden(false);
    const CGSize size = _laidOutSize;
    const double diagonal = std::max<double>(std::hypot(size.width, size.height), 1);
    const double wave = isAnimating() ? kWave : 0;
    const NSTimeInterval now = CACurrentMediaTime();
    for (const auto &card : cards()) {
        const double distance = distanceForTwoPoints(from, card->view().center());
        card->beginAt(now + wave * distance / diagonal);
    }
}
