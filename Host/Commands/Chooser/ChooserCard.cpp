#include "Host/Commands/Chooser/ChooserCard.h"

#include "Host/Commands/Chooser/ChooserLayout.h"
#include "Host/Commands/Chooser/PanelCanvas.h"
#include "Host/Commands/Chooser/TextPicture.h"
#include "Host/Commands/Chooser/Thumbnail.h"
#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

using namespace ChooserStyle;

constexpr float kFaint = 0.4F;
constexpr float kUnselected = 0.62F;

/// Lengths in units.
constexpr CGFloat kRingGap = 2;
constexpr CGFloat kRingWidth = 2.5;
constexpr CGFloat kLabelTop = 6;

/// Share of the picture's height.
constexpr CGFloat kLetterShare = 0.4;

Retained<UIView> part(UIView &view) {
    auto part = UIView::initWithFrame({});
    view.addSubview(part.get());
    return part;
}

/// The first character of a text, as UTF-8.
std::string firstLetter(const std::string &text) {
    std::size_t length = 1;
    while (length < std::min<std::size_t>(text.size(), 4) && !isValidUTF8(text.substr(0, length))) {
        ++length;
    }
    return text.substr(0, length);
}

} // namespace

ChooserCard::ChooserCard(const BundleListing &listing)
    : _listing(listing), _view(UIView::initWithFrame({})), _ring(part(*_view)),
      _picture(part(*_view)), _letter(part(*_picture)), _label(part(*_view)) {
    _ring->setHidden(true);
    _label->layer()->setOpacity(kUnselected);
    _picture->layer()->setOpacity(listing.problem.empty() ? 1 : kFaint);
}

void ChooserCard::layOut(const CGRect &frame, CGFloat pictureHeight, CGFloat unit,
                         CGFloat density) {
    const CGSize size = frame.size;
    const bool isSame = size == _view->bounds().size && pictureHeight == pictureSize().height &&
                        density == _density;
    _view->setFrame(frame);
    if (isSame) {
        return;
    }
    _unit = unit;
    _density = density;
    _isDrawn = false;
    const CGFloat labelTop = std::round((pictureHeight + kLabelTop * unit) * density) / density;
    _picture->setFrame({{0, 0}, {size.width, pictureHeight}});
    _letter->setFrame(_picture->bounds());
    _label->setFrame({{0, labelTop}, {size.width, std::max<CGFloat>(size.height - labelTop, 0)}});
    drawRing();
}

void ChooserCard::draw() {
    _isDrawn = true;
    _thumbnail = Thumbnail::read(_listing.path, pictureSize(), _density, kCardCorner * _unit);
    _picture->layer()->setContents(_thumbnail);
    _letter->setHidden(static_cast<bool>(_thumbnail));
    if (!_thumbnail) {
        drawPlaceholder();
    }
    const TextPicture::Style style{kSmallText * _unit, kText, false, true};
    _label->layer()->setContents(
        TextPicture::draw(_listing.name, style, _label->bounds().size, _density));
}

void ChooserCard::setSelected(bool isSelected) {
    if (isSelected != _isSelected) {
        _isSelected = isSelected;
        _ring->setHidden(!isSelected);
        _label->layer()->setOpacity(isSelected ? 1 : kUnselected);
        drawRing();
    }
}

void ChooserCard::drawPlaceholder() {
    const CGRect whole = _picture->bounds();
    PanelCanvas canvas(whole.size, _density);
    canvas.fillPanel(whole, kCardCorner * _unit, kPanelTop, kPanelBottom);
    canvas.strokePanel(whole, kCardCorner * _unit, 1 / _density, kPanelEdge);
    _picture->layer()->setContents(canvas.picture());
    const TextPicture::Style style{whole.size.height * kLetterShare, kFaintText, true, true};
    _letter->layer()->setContents(
        TextPicture::draw(firstLetter(_listing.name), style, whole.size, _density));
}

void ChooserCard::drawRing() {
    if (!_isSelected) {
        return;
    }
    const CGFloat out = (kRingGap + kRingWidth) * _unit;
    const CGSize size = pictureSize();
    const CGRect whole{{0, 0}, {size.width + 2 * out, size.height + 2 * out}};
    PanelCanvas canvas(whole.size, _density);
    canvas.strokePanel(whole, kCardCorner * _unit + out, kRingWidth * _unit, kAccent);
    _ring->setFrame({{-out, -out}, whole.size});
    _ring->layer()->setContents(canvas.picture());
}

} // namespace Lumivera
