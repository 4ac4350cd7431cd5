#include "Host/Commands/Gallery/GalleryCell.h"

#include "Host/Commands/Gallery/GalleryCard.h"

namespace Lumivera {

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

} // namespace Lumivera
