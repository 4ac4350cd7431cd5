#pragma once

#include "Host/Desktop/Isolation/RemoteView.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/HostError.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Fake views that draw on the current clock, or end, as a test asks for each bundle.
class FakeViews {
  public:
    struct Behaviour {
        double firstPicture = 0.6;

        /// Time from the start until the view ends; it never ends when this is empty.
        std::optional<double> end;
        bool isHopeless = false;

        std::optional<std::uint64_t> petals = 30;

        /// The value of all pixels but the first; the view leaves them alone when this is empty.
        std::optional<std::uint32_t> ground = {};
    };

    class View;

    /// The behaviour of views of that bundle; views of other bundles do no harm.
    std::map<std::string, Behaviour> behaviours;

    /// The same for views that show nothing but the background.
    std::map<std::string, Behaviour> backgroundBehaviours;

    /// When true, creating a view fails.
    bool isOutOfProcesses = false;

    Lumivera::ViewMaker maker() {
        return [this](const Lumivera::ViewRequest &request,
                      Lumivera::RemoteView::Listener &listener) { return make(request, listener); };
    }

    /// The live views, the oldest first.
    const std::vector<View *> &views() const { return _views; }

    /// The bundles of all views that were ever created.
    const std::vector<std::string> &made() const { return _made; }

    /// The requests for backgrounds among them, the last one too.
    const std::vector<Lumivera::ViewRequest> &backgroundRequests() const {
        return _backgroundRequests;
    }

    /// The only live view of a bundle; null when there is none.
    View *view(const std::string &bundle) const;

  private:
    std::unique_ptr<Lumivera::RemoteView> make(const Lumivera::ViewRequest &request,
                                               Lumivera::RemoteView::Listener &listener);

    std::vector<View *> _views;
    std::vector<std::string> _made;
    std::vector<Lumivera::ViewRequest> _backgroundRequests;
};

/// Fills its pictures with the number of its frame. As a view in a process of its own, it tells its
/// number of petals a call-out after that number was set.
class FakeViews::View final : public Lumivera::RemoteView {
  public:
    View(FakeViews &owner, const Lumivera::ViewRequest &request, Listener &listener,
         const Behaviour &behaviour)
        : _owner(owner), _request(request), _listener(listener), _petals(behaviour.petals),
          _ground(behaviour.ground), _draw([this] { draw(); }), _end([this, behaviour] {
              _listener.viewEnded(*this, "has ended as the test wanted", behaviour.isHopeless);
          }),
          _tellPetals([this] { _petals = _setPetals; }) {
        _petals = _petals && request.values.petals ? request.values.petals : _petals;
        _owner._views.push_back(this);
        _draw.callAfter(behaviour.firstPicture);
        if (behaviour.end) {
            _end.callAfter(*behaviour.end);
        }
    }
    ~View() override { std::erase(_owner._views, this); }

    void allowDrawing(unsigned index) override { _allowed = index; }
    void setRunning(bool isRunning) override {
        _isRunning = isRunning;
        if (isRunning && !_draw.isPending()) {
            _draw.callAfter(0.025);
        }
    }
    void set(const Lumivera::WallpaperValues &change) override {
        if (change.petals && _petals) {
            _setPetals = change.petals;
            _tellPetals.callAfter(0);
        }
        _changes.push_back(textOf(change));
    }
    void tap(CGPoint point) override { _taps.push_back(point); }
    void scrollBy(CGFloat distance) override { _scrolled += distance; }
    void finishScrolling() override { ++_scrollsFinished; }
    std::optional<std::uint64_t> petals() const override { return _petals; }
    double cpuTime() const override { return 0.001 * _frames; }

    bool isRunning() const { return _isRunning; }
    const Lumivera::ViewRequest &request() const { return _request; }

    /// What was set after the view had begun, a text a call, such as "petals=5 offset=20".
    const std::vector<std::string> &changes() const { return _changes; }

    const std::vector<CGPoint> &taps() const { return _taps; }
    CGFloat scrolled() const { return _scrolled; }
    int scrollsFinished() const { return _scrollsFinished; }
    int frames() const { return _frames; }

    /// Ends the view in the next turn of the run loop.
    void endNow() { _end.callAfter(0); }

    void tellFrame(const std::string &entry) { _listener.viewEndedFrame(*this, entry); }
    void tellSound(const std::string &name) { _listener.viewSounded(*this, name); }

  private:
    static std::string textOf(const Lumivera::WallpaperValues &values) {
        const Lumivera::WallpaperChoice choice{values, {}};
        std::string text;
        for (const auto &key : Lumivera::WallpaperChoice::keys()) {
            if (const auto value = choice.textOf(key.name)) {
                text.append(text.empty() ? "" : " ").append(key.name).append("=" + *value);
            }
        }
        return text;
    }

    void draw() {
        if (_isRunning || _frames == 0) {
            _draw.callAfter(0.025);
        }
        if (!_allowed) {
            return;
        }
        ++_frames;
        const unsigned index = *std::exchange(_allowed, std::nullopt);
        std::uint32_t *const pixels = _request.memory->pixels(index);
        if (_ground) {
            std::fill_n(pixels, _request.memory->bufferBytes() / sizeof *pixels, *_ground);
        }
        pixels[0] = static_cast<std::uint32_t>(_frames);
        _listener.viewDrew(*this, index, {{0, 0, 1, 1}});
    }

    FakeViews &_owner;
    const Lumivera::ViewRequest _request;
    Listener &_listener;
    std::vector<std::string> _changes;
    std::optional<std::uint64_t> _petals;
    const std::optional<std::uint32_t> _ground;
    std::optional<std::uint64_t> _setPetals;
    std::optional<unsigned> _allowed;
    std::vector<CGPoint> _taps;
    CGFloat _scrolled = 0;
    int _scrollsFinished = 0;
    int _frames = 0;
    bool _isRunning = true;
    Lumivera::DeferredCall _draw;
    Lumivera::DeferredCall _end;
    Lumivera::DeferredCall _tellPetals;
};

inline FakeViews::View *FakeViews::view(const std::string &bundle) const {
    View *found = nullptr;
    for (View *view : _views) {
        if (view->request().bundle == bundle) {
            found = found ? nullptr : view;
        }
    }
    return found;
}

inline std::unique_ptr<Lumivera::RemoteView>
FakeViews::make(const Lumivera::ViewRequest &request, Lumivera::RemoteView::Listener &listener) {
    if (isOutOfProcesses) {
        throw Lumivera::HostError("view", "cannot be run");
    }
    _made.push_back(request.bundle);
    if (request.part != Lumivera::WallpaperPart::Background) {
        return std::make_unique<View>(*this, request, listener, behaviours[request.bundle]);
    }
    _backgroundRequests.push_back(request);
    return std::make_unique<View>(*this, request, listener, backgroundBehaviours[request.bundle]);
}
