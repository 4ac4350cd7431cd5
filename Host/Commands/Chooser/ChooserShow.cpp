#include "Host/Commands/Chooser/ChooserShow.h"

#include "Host/Commands/Chooser/ChooserLayout.h"
#include "Host/Commands/Chooser/TextPicture.h"
#include "Host/Commands/Gallery/GalleryCanvas.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Printing.h"
#include "Host/Wallpapers/Rules/BundleRules.h"

#include <algorithm>

namespace Lumivera {

namespace {

using namespace ChooserStyle;

constexpr const char *kNoBundles =
    "There are no wallpapers yet. Put the folder of one, whose name ends in .bundle, into "
    "~/.local/share/lumivera/wallpapers, or name a folder: lumivera choose DIR";

constexpr float kFaintButton = 0.35F;

/// The author and the summary of a bundle as one text, and whether it has mistakes.
std::string detailsOf(const BundleListing &bundle) {
    std::string text = bundle.author.empty() ? "" : "by " + bundle.author;
    if (!bundle.summary.empty()) {
        text += (text.empty() ? "" : " · ") + bundle.summary;
    }
    const std::string mistakes =
        bundle.problem.empty() ? textOf(cheapMistakes(bundle.path)) : std::string();
    if (!mistakes.empty()) {
        text += (text.empty() ? "" : " · ") + mistakes;
    }
    return text;
}

} // namespace

ChooserShow::ChooserShow(Window &window, Options options)
    : TreeShow(window, std::nullopt), _options(std::move(options)),
      _root(UIView::initWithFrame({})), _title(UIView::initWithFrame({})),
      _details(UIView::initWithFrame({})), _button(UIView::initWithFrame({})),
      _buttonText(UIView::initWithFrame({})), _preview(_options.makeView),
      _shelf(_options.bundles) {
    _root->layer()->setBackgroundColor(kBackground);
    for (UIView *part : {&_shelf.view(), &_preview.view(), _title.get(), _details.get(),
                         _button.get(), _buttonText.get()}) {
        _root->addSubview(part);
    }
    layOut();
    if (hasBundles()) {
        select(std::min<NSUInteger>(_options.selected, _options.bundles.size() - 1));
    } else {
        _preview.say(kNoBundles);
    }
}

void ChooserShow::windowResized() {
    drawAgain();
    layOut();
    describe();
}

void ChooserShow::keyPressed(WindowKey key) {
    const NSUInteger neighbour = _layout->neighbour(_selected, key);
    if (key == WindowKey::Use) {
        use();
    } else if (neighbour != _selected) {
        select(neighbour);
    } else {
        Show::keyPressed(key);
    }
}

/// The first tap on a card selects it, the second chooses it.
void ChooserShow::tapped(CGPoint point) {
    const auto card = _shelf.cardAt(point);
    if (CGRectContainsPoint(_layout->button(), point) || card == _selected) {
        use();
    } else if (card) {
        select(*card);
    } else {
        _preview.tap(point);
    }
}

void ChooserShow::scrolledBy(CGFloat distance) {
    if (_layout->isRow()) {
        _shelf.scrollBy(-distance);
    }
}

void ChooserShow::scrolledDownBy(CGFloat distance) { _shelf.scrollBy(-distance); }

void ChooserShow::layOut() {
    const PictureSize size = pictureSize();
    _layout.emplace(size, _options.bundles.size());
    _root->setFrame({{0, 0}, size.size});
    _title->setFrame(_layout->title());
    _details->setFrame(_layout->details());
    _button->setFrame(_layout->button());
    _buttonText->setFrame(_layout->button());
    _preview.layOut(_layout->preview(), _layout->unit(), size.density);
    _shelf.layOut(*_layout, size.density);
    drawButton();
}

void ChooserShow::select(NSUInteger index) {
    _selected = index;
    _failure.clear();
    _shelf.select(index);
    _preview.show(bundle(), _shelf.picture(index));
    describe();
}

void ChooserShow::use() {
    if (!hasBundles() || !bundle().problem.empty()) {
        return;
    }
    try {
        _options.use(bundle());
        windowClosed();
    } catch (const HostError &error) {
        printError(error.what());
        _failure = error.what();
        describe();
    }
}

void ChooserShow::describe() {
    const bool canBeUsed = hasBundles() && bundle().problem.empty();
    for (UIView *part : {_button.get(), _buttonText.get()}) {
        part->setHidden(!hasBundles());
        part->layer()->setOpacity(canBeUsed ? 1 : kFaintButton);
    }
    if (!hasBundles()) {
        return;
    }
    const bool hasFailed = !_failure.empty();
    write(*_title, bundle().name, kTitleText, kText, true);
    write(*_details, hasFailed ? _failure : detailsOf(bundle()), kUsualText,
          hasFailed ? kWarning : kFaintText, false);
}

void ChooserShow::write(UIView &view, const std::string &text, CGFloat size, const CGColor &color,
                        bool isBold) {
    const TextPicture::Style style{size * _layout->unit(), color, isBold};
    view.layer()->setContents(
        TextPicture::draw(text, style, view.bounds().size, pictureSize().density));
}

void ChooserShow::drawButton() {
    const CGRect whole = _button->bounds();
    const CGFloat density = pictureSize().density;
    GalleryCanvas canvas(whole.size, density);
    canvas.fillPanel(whole, std::min(whole.size.height, whole.size.width) / 2, kAccent, kAccent);
    _button->layer()->setContents(canvas.picture());
    const TextPicture::Style style{kUsualText * _layout->unit(), kOnAccent, true, true};
    _buttonText->layer()->setContents(
        TextPicture::draw("Use", style, _buttonText->bounds().size, density));
}

} // namespace Lumivera
