#include "Host/Desktop/OutputShow.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

constexpr Clock::Nanoseconds kSecond = 1'000'000'000;
constexpr unsigned kPictures = 2;
constexpr NSTimeInterval kSettlingTime = 0.1;
constexpr NSTimeInterval kUntilStandIn = 2;
constexpr NSTimeInterval kProof = 10;
constexpr int kMaxQuickEnds = 2;
constexpr NSTimeInterval kMinRetry = 10;
constexpr NSTimeInterval kMaxRetry = 600;
constexpr NSTimeInterval kPicturePatience = 0.5;

/// A view cannot change its bundle or its tint, nor return to a value that its bundle decides.
bool takesNewView(const WallpaperChoice &before, const WallpaperChoice &now) {
    return before.bundle != now.bundle || before.tint != now.tint || now.lacksAnyOf(before);
}

/// Counts the ends in a row before a view had proven itself, however long it had loaded. True when
/// the bundle must not be started again.
bool isGivenUp(bool isProven, bool isHopeless, int &quickEnds) {
    quickEnds = isProven ? 0 : quickEnds + 1;
    return isHopeless || quickEnds >= kMaxQuickEnds;
}

/// Looks at some of the pixels only.
bool isOpaqueAlmostEverywhere(const SharedBuffers &memory, unsigned index) {
    constexpr unsigned kSamplesASide = 64;
    constexpr unsigned kMinOpaque = kSamplesASide * kSamplesASide / 16 * 15;
    constexpr std::uint32_t kMinAlpha = 240;
    const std::uint32_t *const pixels = memory.pixels(index);
    unsigned opaque = 0;
    for (unsigned i = 0; i < kSamplesASide * kSamplesASide; ++i) {
        const std::size_t x = std::size_t{i % kSamplesASide} * memory.width() / kSamplesASide;
        const std::size_t y = std::size_t{i / kSamplesASide} * memory.height() / kSamplesASide;
        opaque += pixels[y * memory.width() + x] >> 24 >= kMinAlpha ? 1 : 0;
    }
    return opaque >= kMinOpaque;
}

/// Tells the maker for which output its views are.
ViewMaker makerFor(const std::string &output, ViewMaker makeView) {
    return [output, makeView = std::move(makeView)](ViewRequest request,
                                                    RemoteView::Listener &listener) {
        request.output = output;
        return makeView(request, listener);
    };
}

} // namespace

void FrameRate::countFrame(Clock::Nanoseconds now) { _times[_frames++ % _times.size()] = now; }

double FrameRate::perSecond(Clock::Nanoseconds now) const {
    const std::uint64_t known = std::min<std::uint64_t>(_frames, _times.size());
    if (known < 2) {
        return 0;
    }
    const Clock::Nanoseconds last = _times[(_frames - 1) % _times.size()];
    const Clock::Nanoseconds first = _times[(_frames - known) % _times.size()];
    if (now - last > kSecond || last <= first) {
        return 0;
    }
    return static_cast<double>(known - 1) * kSecond / static_cast<double>(last - first);
}

OutputShow::OutputShow(DesktopSurface &surface, ViewMaker makeView, LastGoodBundle &lastGood,
                       std::string shippedBundle, Listener &listener)
    : _surface(surface), _makeView(makerFor(surface.outputName(), std::move(makeView))),
      _lastGood(lastGood), _shippedBundle(std::move(shippedBundle)), _listener(listener),
      _background(_makeView, static_cast<BackgroundPicture::Listener &>(*this)),
      _begin([this] { begin(); }), _beginStandIn([this] { beginStandIn(); }),
      _prove([this] { prove(); }), _readPictureAnyway([this] { servePictureReaders(); }) {
    _surface.setListener(this);
}

OutputShow::~OutputShow() {
    _surface.setListener(nullptr);
    servePictureReaders();
}

void OutputShow::choose(const WallpaperChoice &choice, bool isAnew) {
    const WallpaperChoice before = std::exchange(_choice, choice);
    if (isAnew || _candidates.empty() || takesNewView(before, choice)) {
        beginChoice();
    } else {
        if (_shown && std::exchange(_shown->isScrolled, false)) {
            _shown->values.offset.reset();
        }
        updateAllValues();
    }
}

void OutputShow::setRunning(bool isRunning) {
    _isRunning = isRunning;
    updateRunning();
}

void OutputShow::setHalved(bool isHalved) {
    if (isHalved != _isHalved) {
        _isHalved = isHalved;
        updateAllValues();
    }
}

void OutputShow::tap(CGPoint point) {
    if (takesInput()) {
        ++_taps;
        _shown->view->tap(point);
    }
}

void OutputShow::scrolledBy(CGFloat distance) {
    if (takesInput()) {
        _shown->isScrolled = true;
        _shown->view->scrollBy(distance);
    }
}

void OutputShow::scrollingEnded() {
    if (takesInput()) {
        _shown->view->finishScrolling();
    }
}

OutputStatus OutputShow::status() const {
    const SurfaceGeometry geometry = _surface.geometry();
    OutputStatus status;
    status.output = name();
    status.width = geometry.width;
    status.height = geometry.height;
    status.density = geometry.density;
    const SurfaceLayer layer = _surface.layer();
    status.layer = layer.name;
    status.layerWords = layer.words;
    status.layerRemedy = layer.remedy;
    status.taps = _taps;
    status.frames = _frameRate.frames();
    status.framesPerSecond = _frameRate.perSecond(Clock::current().now());
    if (_candidateIndex > 0) {
        status.failedBundle = _candidates.front();
    }
    if (_shown) {
        status.bundle = _shown->bundle;
        status.petals = _shown->view->petals();
        status.cpuTime = _shown->view->cpuTime();
    }
    return status;
}

/// Reads the visible picture of a resting view at once, because nobody draws into it. A running
/// view may, so its next picture is read before it is presented.
void OutputShow::readPicture(PictureReader reader) {
    _pictureReaders.push_back(std::move(reader));
    if (_shown && _isRunning) {
        _readPictureAnyway.callAfter(kPicturePatience);
    } else {
        servePictureReaders();
    }
}

void OutputShow::servePictureReaders() {
    _readPictureAnyway.cancel();
    for (const PictureReader &reader : std::exchange(_pictureReaders, {})) {
        serve(reader);
    }
}

void OutputShow::serve(const PictureReader &reader) {
    if (!_shown || !_presented) {
        reader(nullptr, 0, 0);
        return;
    }
    const SharedBuffers &memory = *_shown->memory;
    std::vector<std::uint32_t> whole;
    if (_shown->geometry.isTransparent) {
        whole = _background.beneath(memory, *_presented);
    }
    reader(whole.empty() ? memory.pixels(*_presented) : whole.data(), memory.width(),
           memory.height());
}

/// Keeps the visible picture until there is one of the new size. A surface that has become
/// transparent must get no opaque one meanwhile.
void OutputShow::surfaceGeometryChanged() {
    updateRunning();
    const std::optional<Slot> &wanted = _coming ? _coming : _shown;
    if (!wanted || wanted->geometry.isTransparent != _surface.geometry().isTransparent) {
        _standIn.reset();
        begin();
    } else if (wanted->geometry != _surface.geometry()) {
        _begin.callAfter(kSettlingTime);
    } else if (_background.picture() && !isBackgroundTold()) {
        tellBackground();
    }
}

void OutputShow::bufferWanted(unsigned index) {
    if (std::exchange(_isFirstPictureReady, false)) {
        const SurfaceGeometry &size = _shown->geometry;
        _presented = index;
        present(index, {{0, 0, static_cast<int>(size.width), static_cast<int>(size.height)}});
    } else if (_shown && !_shown->isWithheld) {
        _shown->view->allowDrawing(index);
    }
}

/// The surface may have become transparent, or opaque, since the view was made.
void OutputShow::present(unsigned index, const std::vector<DeviceRect> &damage) {
    if (_shown->geometry.isTransparent == _surface.geometry().isTransparent) {
        _surface.present(index, damage);
    }
}

void OutputShow::viewDrew(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects) {
    if (_coming && _coming->view.get() == &view) {
        _beginStandIn.cancel();
        _standIn.reset();
        forgetStandIns();
        show(_coming);
    } else if (_standIn && _standIn->view.get() == &view) {
        show(_standIn);
    } else if (_shown && _shown->view.get() == &view) {
        _presented = index;
        _frameRate.countFrame(Clock::current().now());
        servePictureReaders();
        present(index, rects);
    }
}

void OutputShow::viewEnded(RemoteView &view, const std::string &reason, bool isHopeless) {
    const auto take = [&view](std::optional<Slot> &slot) {
        return slot && slot->view.get() == &view ? std::exchange(slot, std::nullopt) : std::nullopt;
    };
    const auto coming = take(_coming);
    const auto standIn = take(_standIn);
    const auto shown = take(_shown);
    if (shown) {
        _prove.cancel();
        _isFirstPictureReady = false;
        _presented.reset();
        servePictureReaders();
    }
    const auto &ended = coming ? coming : standIn ? standIn : shown;
    if (!ended) {
        return;
    }
    if (ended->isStandIn) {
        standInEnded(*ended, reason, isHopeless);
    } else if (!_coming) {
        wantedViewEnded(*ended, reason, isHopeless);
    } else {
        _beginStandIn.callAfter(kUntilStandIn);
    }
}

/// The surface keeps showing its picture meanwhile.
void OutputShow::wantedViewEnded(const Slot &slot, const std::string &reason, bool isHopeless) {
    const std::string what = description(slot.bundle, reason);
    if (isGivenUp(slot.isProven, isHopeless, _quickEnds)) {
        fallBack(slot.bundle, what);
    } else {
        say(slot.bundle, what + "; it is begun anew");
        begin();
    }
}

void OutputShow::standInEnded(const Slot &slot, const std::string &reason, bool isHopeless) {
    if (isGivenUp(slot.isProven, isHopeless, _quickStandInEnds) && slot.bundle == standInBundle()) {
        _standInIndex = standInIndex() + 1;
        _quickStandInEnds = 0;
    }
    const std::string what = description(slot.bundle, reason);
    const std::string next = standInBundle();
    if (next.empty()) {
        say(slot.bundle, what + "; nothing else stands in");
    } else if (next == slot.bundle) {
        say(slot.bundle, what + "; it is begun anew");
    } else {
        say(slot.bundle, what + "; " + next + " stands in instead");
    }
    beginStandIn();
}

std::string OutputShow::description(const std::string &bundle, const std::string &reason) const {
    const bool namesBundle = reason.find(bundle) != std::string::npos;
    return name() + ": " + (namesBundle ? reason : bundle + ": " + reason);
}

void OutputShow::fallBack(const std::string &bundle, const std::string &what) {
    _quickEnds = 0;
    if (++_candidateIndex < _candidates.size()) {
        say(bundle, what + "; " + candidate() + " is shown instead");
        begin();
        return;
    }
    _candidateIndex = 0;
    _beginStandIn.cancel();
    forgetStandIns();
    _retryDelay = std::clamp(_retryDelay * 2, kMinRetry, kMaxRetry);
    say(bundle, what + "; nothing else can be shown, so all is tried again in " +
                    std::to_string(std::lround(_retryDelay)) + " s");
    _begin.callAfter(_retryDelay);
}

void OutputShow::beginChoice() {
    _candidates.clear();
    for (const std::string &bundle :
         {_choice.bundle.value_or(_shippedBundle), _lastGood.path(), _shippedBundle}) {
        const bool isNew =
            std::find(_candidates.begin(), _candidates.end(), bundle) == _candidates.end();
        if (!bundle.empty() && isNew) {
            _candidates.push_back(bundle);
        }
    }
    _candidateIndex = 0;
    _quickEnds = 0;
    _retryDelay = 0;
    _background.expire();
    forgetStandIns();
    begin();
}

void OutputShow::begin() {
    _begin.cancel();
    if (_candidates.empty() || _surface.geometry().width == 0) {
        return;
    }
    _coming = makeSlot(candidate());
    if (!_coming) {
        _begin.callAfter(kMinRetry);
    } else if (!_shown && !_standIn) {
        _beginStandIn.callAfter(kUntilStandIn);
    }
}

/// Empty when no view can be made now.
std::optional<OutputShow::Slot> OutputShow::makeSlot(const std::string &bundle) {
    Slot slot;
    slot.bundle = bundle;
    slot.geometry = _surface.geometry();
    slot.values = valuesFor(slot);
    try {
        slot.memory =
            std::make_shared<SharedBuffers>(slot.geometry.width, slot.geometry.height, kPictures);
        slot.view =
            _makeView({bundle, slot.values, slot.memory, slot.geometry.density,
                       slot.geometry.isTransparent ? WallpaperPart::Petals : WallpaperPart::Whole},
                      *this);
    } catch (const HostError &error) {
        say(bundle, name() + ": " + error.what());
        return std::nullopt;
    }
    slot.view->allowDrawing(0);
    return slot;
}

/// Shows another wallpaper while the wanted one is slow or hangs.
void OutputShow::beginStandIn() {
    const std::string bundle = standInBundle();
    if (_shown || bundle.empty()) {
        return;
    }
    _standIn = makeSlot(bundle);
    if (_standIn) {
        _standIn->isStandIn = true;
    } else {
        _beginStandIn.callAfter(kMinRetry);
    }
}

std::size_t OutputShow::standInIndex() const {
    return std::max(_standInIndex, _candidateIndex + 1);
}

/// The bundle that would be shown next if the candidate ended; empty when all have failed.
std::string OutputShow::standInBundle() const {
    const std::size_t index = standInIndex();
    return index < _candidates.size() ? _candidates[index] : "";
}

void OutputShow::forgetStandIns() {
    _standInIndex = 0;
    _quickStandInEnds = 0;
}

void OutputShow::show(std::optional<Slot> &coming) {
    _shown = std::exchange(coming, std::nullopt);
    _isFirstPictureReady = true;
    _presented.reset();
    if (const auto petals = _shown->view->petals(); petals && !_shown->values.petals) {
        _shown->ownPetals = _shown->values.petals = std::min<NSUInteger>(*petals, kMaxPetals);
    }
    _prove.cancel();
    withholdOpaquePicture();
    updateValues(_shown);
    updateRunning();
    _surface.setBuffers(_shown->memory);
    updateBackground();
}

/// The view has drawn into buffer 0 and is not allowed to draw again.
void OutputShow::withholdOpaquePicture() {
    SharedBuffers &memory = *_shown->memory;
    if (_shown->geometry.isTransparent && isOpaqueAlmostEverywhere(memory, 0)) {
        _shown->isWithheld = true;
        std::fill_n(memory.pixels(0), memory.bufferBytes() / sizeof(std::uint32_t), 0);
        say(_shown->bundle,
            description(_shown->bundle, "draws an opaque picture, which would hide the "
                                        "icons; it stands still behind them instead"));
    }
}

void OutputShow::updateBackground() {
    if (_shown && _shown->geometry.isTransparent) {
        const bool isDrawn =
            _background.draw({_shown->bundle, _shown->geometry,
                              _shown->isWithheld ? WallpaperPart::Whole : WallpaperPart::Background,
                              _shown->values});
        if (isDrawn && !isBackgroundTold()) {
            tellBackground();
        }
    } else if (_shown) {
        const bool wasThere = _background.picture() != nullptr;
        _background.clear();
        _surface.setBackground(nullptr);
        if (wasThere) {
            _listener.outputBackgroundGone(name());
        }
    }
}

void OutputShow::backgroundDrawn() {
    _surface.setBackground(_background.picture());
    tellBackground();
}

bool OutputShow::isBackgroundTold() const {
    return _backgroundArea == _surface.outputArea() && _backgroundWindow == _surface.layer().window;
}

void OutputShow::tellBackground() {
    _backgroundArea = _surface.outputArea();
    _backgroundWindow = _surface.layer().window;
    _listener.outputBackgroundDrawn(_surface, *_background.picture());
}

void OutputShow::backgroundFailed(const std::string &bundle, const std::string &reason) {
    say(bundle, description(bundle, reason) + "; its background is not shown");
}

void OutputShow::updateRunning() {
    if (!_shown) {
        return;
    }
    const bool isRunning =
        _isRunning && !_shown->isWithheld && _shown->geometry == _surface.geometry();
    _shown->view->setRunning(isRunning);
    // A view that is stopped proves nothing, and no timer should wake the host for it.
    if (!isRunning) {
        _prove.cancel();
    } else if (!_shown->isProven && !_prove.isPending()) {
        _prove.callAfter(kProof);
    }
}

void OutputShow::prove() {
    _shown->isProven = true;
    _lastGood.set(_shown->bundle);
}

WallpaperValues OutputShow::valuesFor(const Slot &slot) const {
    WallpaperValues values = _choice;
    values.petals = values.petals ? values.petals : slot.ownPetals;
    if (values.petals && _isHalved) {
        values.petals = (*values.petals + 1) / 2;
    }
    return values;
}

/// Tells the view only what has changed: a speed level that is set again gives every petal new
/// motion.
void OutputShow::updateValues(std::optional<Slot> &slot) {
    if (!slot) {
        return;
    }
    WallpaperValues change = valuesFor(*slot).changesSince(slot->values);
    change.tint.reset();
    if (change != WallpaperValues()) {
        slot->values.apply(change);
        slot->view->set(change);
    }
}

void OutputShow::updateAllValues() {
    for (auto *slot : {&_shown, &_coming, &_standIn}) {
        updateValues(*slot);
    }
    updateBackground();
}

} // namespace Lumivera
