#include "Host/Commands/Chooser/ChooserPreview.h"

#include "Host/Commands/Chooser/ChooserLayout.h"
#include "Host/Commands/Chooser/PanelCanvas.h"
#include "Host/Commands/Chooser/TextPicture.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

using namespace ChooserStyle;

/// Share of the preview's width.
constexpr CGFloat kWordsShare = 0.82;

constexpr std::uint32_t kOpaque = 0xff000000;

} // namespace

ChooserPreview::ChooserPreview(ViewMaker makeView)
    : _makeView(std::move(makeView)), _view(UIView::initWithFrame({})),
      _picture(UIView::initWithFrame({})), _words(UIView::initWithFrame({})),
      _begin([this] { begin(); }) {
    _view->addSubview(_picture.get());
    _view->addSubview(_words.get());
}

void ChooserPreview::layOut(const CGRect &frame, CGFloat unit, CGFloat density) {
    const bool isSame = frame.size == _view->bounds().size && density == _density;
    _view->setFrame(frame);
    if (isSame) {
        return;
    }
    _unit = unit;
    _density = density;
    const CGFloat width = std::round(frame.size.width * kWordsShare);
    _picture->setFrame(_view->bounds());
    _words->setFrame({{std::round((frame.size.width - width) / 2), 0}, {width, frame.size.height}});
    _corners = RoundCorners(kPreviewCorner * unit * density, kBackground);
    drawPanel();
    write();
    end();
    beginSoon();
}

void ChooserPreview::show(const BundleListing &listing, Retained<CGImage> standIn) {
    say(listing.problem);
    if (listing.problem.empty()) {
        _bundle = listing.path;
        _picture->layer()->setContents(std::move(standIn));
        beginSoon();
    }
}

void ChooserPreview::say(const std::string &words) {
    end();
    _begin.cancel();
    _bundle.clear();
    _picture->layer()->setContents(nullptr);
    _said = words;
    write();
}

void ChooserPreview::setRunning(bool isRunning) {
    _isRunning = isRunning;
    if (_remote) {
        _remote->setRunning(isRunning);
    } else {
        beginSoon();
    }
}

void ChooserPreview::tap(CGPoint point) {
    const CGRect frame = _view->frame();
    if (_remote && CGRectContainsPoint(frame, point)) {
        _remote->tap({point.x - frame.origin.x, point.y - frame.origin.y});
    }
}

void ChooserPreview::viewDrew(RemoteView &view, unsigned index,
                              const std::vector<DeviceRect> &rects) {
    if (!rects.empty()) {
        _picture->layer()->setContents(pictureOf(index));
    }
    view.allowDrawing(index);
}

void ChooserPreview::viewEnded(RemoteView &, const std::string &reason, bool) {
    say("This wallpaper cannot be shown (" + reason + ")");
}

void ChooserPreview::end() {
    _remote.reset();
    _memory.reset();
}

void ChooserPreview::begin() {
    const CGSize size = _view->bounds().size;
    const auto width = static_cast<unsigned>(std::lround(size.width * _density));
    const auto height = static_cast<unsigned>(std::lround(size.height * _density));
    if (width == 0 || height == 0) {
        return;
    }
    try {
        _memory = std::make_shared<SharedBuffers>(width, height, 1);
        _remote = _makeView({_bundle, {}, _memory, _density}, *this);
        _remote->allowDrawing(0);
    } catch (const HostError &error) {
        say(error.what());
    }
}

void ChooserPreview::beginSoon() {
    if (_isRunning && !_remote && !_bundle.empty()) {
        _begin.callAfter(kPatience);
    } else {
        _begin.cancel();
    }
}

void ChooserPreview::write() {
    const TextPicture::Style style{kUsualText * _unit, kFaintText, false, true};
    _words->layer()->setContents(TextPicture::draw(_said, style, _words->bounds().size, _density));
}

/// Draws the panel that stands in for a missing picture.
void ChooserPreview::drawPanel() {
    const CGRect whole = _view->bounds();
    PanelCanvas canvas(whole.size, _density);
    canvas.fillPanel(whole, kPreviewCorner * _unit, kPanelTop, kPanelBottom);
    canvas.strokePanel(whole, kPreviewCorner * _unit, 1 / _density, kPanelEdge);
    _view->layer()->setContents(canvas.picture());
}

/// Copies the buffer, because the view draws the next frame into it, and makes the copy opaque.
Retained<CGImage> ChooserPreview::pictureOf(unsigned index) {
    const std::uint32_t *drawn = _memory->pixels(index);
    const std::size_t count = std::size_t{_memory->width()} * _memory->height();
    PixelBuffer pixels(count);
    std::transform(drawn, drawn + count, pixels.begin(),
                   [](std::uint32_t pixel) { return pixel | kOpaque; });
    _corners.cut(pixels.data(), _memory->width(), _memory->height());
    return CGImage::imageWithPixels(_memory->width(), _memory->height(), std::move(pixels));
}

} // namespace Lumivera
