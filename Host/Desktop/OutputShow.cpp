#include "Host/Desktop/OutputShow.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <cmath>

namespace Lumivera {

namespace {

constexpr unsigned kPictures = 2;
constexpr NSTimeInterval kSettlingTime = 0.1;
constexpr NSTimeInterval kUntilStandIn = 2;
constexpr NSTimeInterval kProof = 10;
constexpr int kMostQuickEnds = 2;
constexpr NSTimeInterval kFirstRetry = 10;
constexpr NSTimeInterval kLongestRetry = 600;
constexpr NSTimeInterval kPicturePatience = 0.5;

/// True when a value has gone: what it was before, only a new view knows.
template <class Value>
bool isLost(const std::optional<Value> &before, const std::optional<Value> &now) {
    return before && !now;
}

bool takesNewView(const WallpaperChoice &before, const WallpaperChoice &now) {
    return before.bundle != now.bundle || before.tint != now.tint ||
           isLost(before.petals, now.petals) || isLost(before.speed, now.speed) ||
           isLost(before.scale, now.scale) || isLost(before.offset, now.offset) ||
           isLost(before.scaleLevel, now.scaleLevel);
}

/// Whether the bundle is not to be begun once more; counts its quick ends.
bool isGivenUp(const ViewSlot &ended, bool isHopeless, int &quickEnds) {
    const Clock::Nanoseconds age = Clock::current().now() - ended.startTime;
    const bool isQuick = age < Clock::nanoseconds(kProof);
    quickEnds = isQuick ? quickEnds + 1 : 0;
    return isHopeless || quickEnds >= kMostQuickEnds;
}

} // namespace

OutputShow::OutputShow(DesktopSurface &surface, ViewMaker makeView, LastGoodBundle &lastGood,
                       std::string shippedBundle, Listener &listener)
    : _surface(surface), _makeView(std::move(makeView)), _lastGood(lastGood),
      _shippedBundle(std::move(shippedBundle)), _listener(listener), _begin([this] { begin(); }),
      _lendStandIn([this] { beginStandIn(); }), _prove([this] { prove(); }),
      _readPictureAnyway([this] { servePictureReaders(); }) {
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
        setEverywhere(choice);
        updatePetals();
    }
}

void OutputShow::setRunning(bool isRunning) {
    _isRunning = isRunning;
    updateRunning();
}

void OutputShow::setHalved(bool isHalved) {
    if (isHalved != _isHalved) {
        _isHalved = isHalved;
        updatePetals();
    }
}

void OutputShow::tap(CGPoint point) {
    if (_shown && _isRunning) {
        _shown->view->tap(point);
    }
}

void OutputShow::scrolledBy(CGFloat distance) {
    if (_shown && _isRunning) {
        _shown->view->scrollBy(distance);
    }
}

void OutputShow::scrollingEnded() {
    if (_shown && _isRunning) {
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

/// While the view rests, nobody draws into the picture that is shown; otherwise the next one is
/// waited for, which nobody draws into before it is shown.
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
        if (_shown && _presented) {
            reader(_shown->memory->pixels(*_presented), _shown->memory->width(),
                   _shown->memory->height());
        } else {
            reader(nullptr, 0, 0);
        }
    }
}

/// What is shown stays until there is something of the new size.
void OutputShow::surfaceGeometryChanged() {
    updateRunning();
    const std::optional<ViewSlot> &wanted = _coming ? _coming : _shown;
    if (!wanted) {
        begin();
    } else if (wanted->geometry != _surface.geometry()) {
        _begin.callAfter(kSettlingTime);
    }
}

void OutputShow::bufferWanted(unsigned index) {
    if (std::exchange(_isFirstPictureReady, false)) {
        const SurfaceGeometry &size = _shown->geometry;
        _presented = index;
        _surface.present(index,
                         {{0, 0, static_cast<int>(size.width), static_cast<int>(size.height)}});
    } else if (_shown) {
        _shown->view->allowDrawing(index);
    }
}

void OutputShow::viewDrew(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects) {
    if (_coming && _coming->view.get() == &view) {
        _lendStandIn.cancel();
        _standIn.reset();
        forgetStandIns();
        show(_coming);
    } else if (_standIn && _standIn->view.get() == &view) {
        show(_standIn);
    } else if (_shown && _shown->view.get() == &view) {
        _presented = index;
        _frameRate.countFrame(Clock::current().now());
        servePictureReaders();
        _surface.present(index, rects);
    }
}

void OutputShow::viewEnded(RemoteView &view, const std::string &reason, bool isHopeless) {
    const auto take = [&view](std::optional<ViewSlot> &slot) {
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
        _lendStandIn.callAfter(kUntilStandIn);
    }
}

/// What the surface shows stays there meanwhile.
void OutputShow::wantedViewEnded(const ViewSlot &slot, const std::string &reason, bool isHopeless) {
    const std::string what = description(slot, reason);
    if (isGivenUp(slot, isHopeless, _quickEnds)) {
        fallBack(what);
    } else {
        _listener.outputSays(what + "; it is begun anew");
        begin();
    }
}

void OutputShow::standInEnded(const ViewSlot &slot, const std::string &reason, bool isHopeless) {
    if (isGivenUp(slot, isHopeless, _quickStandInEnds) && slot.bundle == standInBundle()) {
        _standInIndex = standInIndex() + 1;
        _quickStandInEnds = 0;
    }
    const std::string what = description(slot, reason);
    const std::string next = standInBundle();
    if (next.empty()) {
        _listener.outputSays(what + "; nothing else stands in");
    } else if (next == slot.bundle) {
        _listener.outputSays(what + "; it is begun anew");
    } else {
        _listener.outputSays(what + "; " + next + " stands in instead");
    }
    beginStandIn();
}

std::string OutputShow::description(const ViewSlot &slot, const std::string &reason) const {
    const bool namesBundle = reason.find(slot.bundle) != std::string::npos;
    return name() + ": " + (namesBundle ? reason : slot.bundle + ": " + reason);
}

void OutputShow::fallBack(const std::string &what) {
    _quickEnds = 0;
    if (++_candidateIndex < _candidates.size()) {
        _listener.outputSays(what + "; " + candidate() + " is shown instead");
        begin();
        return;
    }
    _candidateIndex = 0;
    _lendStandIn.cancel();
    forgetStandIns();
    _retryDelay = std::clamp(_retryDelay * 2, kFirstRetry, kLongestRetry);
    _listener.outputSays(what + "; nothing else can be shown, so all is tried again in " +
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
        _begin.callAfter(kFirstRetry);
    } else if (!_shown && !_standIn) {
        _lendStandIn.callAfter(kUntilStandIn);
    }
}

/// Nothing when there can be no view now.
std::optional<ViewSlot> OutputShow::makeSlot(const std::string &bundle) {
    ViewSlot slot;
    slot.bundle = bundle;
    slot.geometry = _surface.geometry();
    slot.startTime = Clock::current().now();
    try {
        slot.memory =
            std::make_shared<SharedBuffers>(slot.geometry.width, slot.geometry.height, kPictures);
        slot.view = _makeView({bundle, _choice, slot.memory, slot.geometry.density}, *this);
    } catch (const HostError &error) {
        _listener.outputSays(name() + ": " + error.what());
        return std::nullopt;
    }
    slot.view->allowDrawing(0);
    return slot;
}

/// Somebody who waits for a slow wallpaper, or one that hangs, sees another one meanwhile.
void OutputShow::beginStandIn() {
    const std::string bundle = standInBundle();
    if (_shown || bundle.empty()) {
        return;
    }
    _standIn = makeSlot(bundle);
    if (_standIn) {
        _standIn->isStandIn = true;
    } else {
        _lendStandIn.callAfter(kFirstRetry);
    }
}

std::size_t OutputShow::standInIndex() const {
    return std::max(_standInIndex, _candidateIndex + 1);
}

/// What would be shown next if the candidate ended; empty when that has failed as well.
std::string OutputShow::standInBundle() const {
    const std::size_t index = standInIndex();
    return index < _candidates.size() ? _candidates[index] : "";
}

void OutputShow::forgetStandIns() {
    _standInIndex = 0;
    _quickStandInEnds = 0;
}

void OutputShow::show(std::optional<ViewSlot> &coming) {
    _shown = std::exchange(coming, std::nullopt);
    _isFirstPictureReady = true;
    _presented.reset();
    _ownPetals = _shown->view->petals();
    _prove.cancel();
    updatePetals();
    updateRunning();
    _surface.setBuffers(_shown->memory);
}

void OutputShow::updateRunning() {
    if (!_shown) {
        return;
    }
    const bool isRunning = _isRunning && _shown->geometry == _surface.geometry();
    _shown->view->setRunning(isRunning);
    // A view that is stopped proves nothing, and nothing of ours wakes while it is.
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

void OutputShow::setEverywhere(const WallpaperChoice &choice) {
    for (const auto *slot : {&_shown, &_coming, &_standIn}) {
        if (*slot) {
            (*slot)->view->set(choice);
        }
    }
}

/// The bundle's own number is known once its view has told it.
void OutputShow::updatePetals() {
    const std::optional<std::uint64_t> petals = _choice.petals ? _choice.petals : _ownPetals;
    if (!petals) {
        return;
    }
    const std::uint64_t wanted = _isHalved ? (*petals + 1) / 2 : *petals;
    if (_shown && _shown->view->petals() != wanted) {
        WallpaperChoice change;
        change.petals = wanted;
        _shown->view->set(change);
    }
}

} // namespace Lumivera
