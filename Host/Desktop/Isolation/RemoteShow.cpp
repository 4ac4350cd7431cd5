#include "Host/Desktop/Isolation/RemoteShow.h"

#include "Host/Desktop/Isolation/ConfinedProcess.h"
#include "Host/Playing/OffscreenPicture.h"
#include "Platform/Compositor/PixelArithmetic.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kSettlingTime = 0.25;
constexpr std::size_t kMaxDamage = 1000;
constexpr std::uint32_t kBlack = 0xff000000;

/// A view often ends while its bundle is written anew. What is wrong is said when nothing better
/// has come after this time.
constexpr NSTimeInterval kUntilWords = 0.5;

/// The dark ground of the words, premultiplied, and their distance from its edges in points.
constexpr std::uint32_t kGround = 0xd0000000;
constexpr CGFloat kMargin = 8;

DeviceRect wholeOf(std::size_t width, std::size_t height) {
    return {0, 0, static_cast<int>(width), static_cast<int>(height)};
}

/// Copies the rectangles from one picture to another; a stride is the distance of rows in pixels.
void copyRects(const std::vector<DeviceRect> &rects, const std::uint32_t *from,
               std::size_t fromStride, std::uint32_t *to, std::size_t toStride) {
    for (const DeviceRect &rect : rects) {
        const auto left = static_cast<std::size_t>(rect.left);
        for (auto row = static_cast<std::size_t>(rect.top);
             row < static_cast<std::size_t>(rect.bottom); ++row) {
            std::copy_n(from + row * fromStride + left, rect.width(), to + row * toStride + left);
        }
    }
}

} // namespace

RemoteShow::RemoteShow(Window &window, Options options)
    : Show(window, options.seconds), _options(std::move(options)),
      _begin([this] { guard([this] { begin(); }); }),
      _showWords([this] { guard([this] { showWords(); }); }) {
    begin();
}

/// The view that is shown goes on until the new one has drawn.
void RemoteShow::begin() {
    _size = pictureSize();
    if (_shown.view && !_isOutdated && _size.pixelWidth() == _width &&
        _size.pixelHeight() == _height && _size.density == _shownDensity) {
        _coming = {};
        return;
    }
    try {
        beginView();
    } catch (const HostError &error) {
        fail(error);
    }
}

void RemoteShow::beginView() {
    _coming = {};
    _size.check();
    const auto memory = std::make_shared<SharedBuffers>(
        static_cast<unsigned>(_size.pixelWidth()), static_cast<unsigned>(_size.pixelHeight()), 1);
    _comingDensity = _size.density;
    _coming = {memory,
               _options.makeView({_options.bundle, _options.values, memory, _size.density}, *this)};
    _coming.view->allowDrawing(0);
    _coming.view->setRunning(_isRunning);
}

void RemoteShow::reload(NSInteger bundleSpeed) {
    _options.bundleSpeed = bundleSpeed;
    _isOutdated = true;
    _showWords.cancel();
    guard([this] { begin(); });
}

/// Throws the error where the show is not to stay.
void RemoteShow::fail(const HostError &error) {
    if (!_options.drawWords) {
        throw error;
    }
    _comingWords = error.what();
    _showWords.callAfter(kUntilWords);
}

void RemoteShow::showWords() {
    setWords(_comingWords);
    if (_options.viewFailed) {
        _options.viewFailed(_words);
    }
}

void RemoteShow::setWords(const std::string &words) {
    _showWords.cancel();
    if (words != _words) {
        _words = words;
        _wordsPicture = nullptr;
        _wordsWidth = 0;
        _damage = {wholeOf(_width, _height)};
        drawAgain();
    }
}

RemoteView *RemoteShow::visibleView() const {
    return _shown.view ? _shown.view.get() : _coming.view.get();
}

void RemoteShow::setRunning(bool running) {
    _isRunning = running;
    allowDrawing();
    for (const Player *player : {&_shown, &_coming}) {
        if (player->view) {
            player->view->setRunning(running);
        }
    }
}

void RemoteShow::windowResized() {
    drawAgain();
    const PictureSize size = pictureSize();
    if (size.size != _size.size || size.density != _size.density) {
        _size = size;
        _begin.callAfter(kSettlingTime);
    }
}

void RemoteShow::tapped(CGPoint point) {
    if (RemoteView *view = visibleView()) {
        allowDrawing();
        view->tap(point);
    }
}

void RemoteShow::scrolledBy(CGFloat distance) {
    set(changeByScrolling(_options.values.offset, distance, window().size().width));
}

void RemoteShow::scrollingEnded() {
    if (RemoteView *view = visibleView()) {
        allowDrawing();
        view->finishScrolling();
    }
}

void RemoteShow::keyPressed(WindowKey key) {
    if (const auto change = playedValues().changeBy(key)) {
        set(*change);
    } else {
        Show::keyPressed(key);
    }
}

/// The view tells its petals late, so those that it was given count.
PlayedValues RemoteShow::playedValues() const {
    PlayedValues values;
    const RemoteView *view = visibleView();
    if (const auto petals = view ? view->petals() : std::nullopt) {
        values.petals = _options.values.petals.value_or(static_cast<NSUInteger>(*petals));
    }
    values.speed = _options.values.speed.value_or(_options.bundleSpeed);
    return values;
}

void RemoteShow::set(const WallpaperValues &change) {
    _options.values.apply(change);
    allowDrawing();
    for (const Player *player : {&_shown, &_coming}) {
        if (player->view) {
            player->view->set(change);
        }
    }
}

void RemoteShow::viewDrew(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects) {
    guard([&] { takePicture(view, index, rects); });
}

void RemoteShow::takePicture(RemoteView &view, unsigned index,
                             const std::vector<DeviceRect> &rects) {
    if (&view == _coming.view.get()) {
        _shown = std::exchange(_coming, {});
        _shownDensity = _comingDensity;
        _width = _shown.memory->width();
        _height = _shown.memory->height();
        _picture.resize(std::size_t{_width} * _height);
        _isOutdated = false;
        setWords("");
        _damage.clear(); // of a picture of another size
        keep(*_shown.memory, {wholeOf(_width, _height)});
    } else {
        keep(*_shown.memory, rects);
    }
    _awaitsDrawing = !_isRunning;
    if (_isRunning) {
        view.allowDrawing(index);
    }
}

/// A view that rests may draw again when something of it changes.
void RemoteShow::allowDrawing() {
    if (_shown.view && std::exchange(_awaitsDrawing, false)) {
        _shown.view->allowDrawing(0);
    }
}

/// Copies what the view has drawn, because it draws the next picture into the same memory.
void RemoteShow::keep(const SharedBuffers &memory, const std::vector<DeviceRect> &rects) {
    copyRects(rects, memory.pixels(0), _width, _picture.data(), _width);
    _damage.insert(_damage.end(), rects.begin(), rects.end());
    if (_damage.size() > kMaxDamage) {
        _damage = {wholeOf(_width, _height)};
    }
}

void RemoteShow::viewEnded(RemoteView &view, const std::string &reason, bool) {
    guard([&] {
        (&view == _coming.view.get() ? _coming : _shown) = {};
        fail(failureOf(_options.bundle, reason));
    });
}

/// Frames of a view that is not shown yet do not count, unless it is the first one.
void RemoteShow::viewEndedFrame(RemoteView &view, std::string_view entry) {
    if (&view == visibleView() && _options.frameEnded) {
        guard([&] { _options.frameEnded(entry); });
    }
}

void RemoteShow::viewSounded(RemoteView &, const std::string &name) {
    if (_options.playSound) {
        guard([&] { _options.playSound(name); });
    }
}

const std::vector<DeviceRect> &RemoteShow::draw(const CompositorTarget &target) {
    const bool fits = target.width == _width && target.height == _height;
    _drawn = std::exchange(_damage, {});
    if (!fits || target.age != 1 || !_words.empty()) {
        _drawn = {wholeOf(target.width, target.height)};
    }
    if (fits) {
        copyRects(_drawn, _picture.data(), _width, target.pixels, target.stride);
    } else {
        stretchInto(target);
    }
    drawWords(target);
    return _drawn;
}

/// Along the lower edge, on a dark ground.
void RemoteShow::drawWords(const CompositorTarget &target) {
    const CGFloat density = window().density();
    const auto margin = static_cast<std::size_t>(std::lround(kMargin * density));
    if (_words.empty() || target.width <= 2 * margin) {
        return;
    }
    if (target.width != _wordsWidth || density != _wordsDensity) {
        _wordsWidth = target.width;
        _wordsDensity = density;
        _wordsPicture = _options.drawWords(
            _words, static_cast<CGFloat>(target.width) / density - 2 * kMargin, density);
    }
    if (!_wordsPicture) {
        return;
    }
    const CGImage &words = *_wordsPicture;
    const std::size_t height = std::min<std::size_t>(words.height() + 2 * margin, target.height);
    for (std::size_t row = 0; row < height; ++row) {
        std::uint32_t *to = target.pixels + (target.height - height + row) * target.stride;
        for (std::size_t x = 0; x < target.width; ++x) {
            const bool isInWords = row >= margin && row - margin < words.height() && x >= margin &&
                                   x - margin < words.width();
            PixelArithmetic::blend(PixelArithmetic::spread(kGround), to[x]);
            if (isInWords) {
                PixelArithmetic::blend(
                    PixelArithmetic::spread(
                        words.pixels()[(row - margin) * words.width() + x - margin]),
                    to[x]);
            }
        }
    }
}

/// There is no picture before the first one.
void RemoteShow::stretchInto(const CompositorTarget &target) const {
    for (std::size_t row = 0; row < target.height; ++row) {
        const std::uint32_t *from = _picture.data() + row * _height / target.height * _width;
        std::uint32_t *to = target.pixels + row * target.stride;
        for (std::size_t x = 0; x < target.width; ++x) {
            to[x] = _picture.empty() ? kBlack : from[x * _width / target.width];
        }
    }
}

std::string RemoteShow::takeScreenshot() {
    if (!_picture.empty()) {
        return writeScreenshot(_picture, _width, _height);
    }
    const std::vector<std::uint32_t> black(_size.pixelWidth() * _size.pixelHeight(), kBlack);
    return writeScreenshot(black, _size.pixelWidth(), _size.pixelHeight());
}

} // namespace Lumivera
