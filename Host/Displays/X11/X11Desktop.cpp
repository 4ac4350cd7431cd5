#include "Host/Displays/X11/X11Desktop.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <array>
#include <utility>
#include <xcb/randr.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

using Level = Finding::Level;

/// Minimum seconds between two readings of the window stack, which changes all the time while a
/// window is dragged.
constexpr NSTimeInterval kRest = 0.05;

/// Seconds until a surface goes elsewhere.
constexpr NSTimeInterval kSettlingTime = 2;
constexpr NSTimeInterval kUntilLookAgain = 3;

/// How long to wait for a surface to go back to its place, at first and at most.
constexpr NSTimeInterval kMinUntilInPlace = 0.25;
constexpr NSTimeInterval kMaxUntilInPlace = 600;

/// Seconds for which the pixel that orders pictures is there, then away, and so on. A window
/// manager that draws slowly takes one for none that comes and goes between two of its frames.
constexpr std::array<NSTimeInterval, 5> kPixelSteps{0.2, 1, 1, 4, 1};

/// Ignores the events of a connection that only sends requests.
class Silence final : public X11Listener {
  private:
    void eventArrived(const X11Event &) override {}
    void eventsEnded() override {}
    void connectionLost(const std::string &) override {}
};

/// For a connection that is only asked: the run loop keeps waiting as it does.
class Unwatched final : public DescriptorWatch {
  private:
    void add(DescriptorSource &) override {}
    void remove(DescriptorSource &) override {}
};

Finding either(bool isThere, const std::string &subject, const std::string &good,
               const std::string &lacking, const std::string &remedy) {
    return isThere ? Finding{subject, Level::Good, good, ""}
                   : Finding{subject, Level::Lacking, lacking, remedy};
}

/// Where the wallpaper would be on the output.
Finding layerFinding(const X11Scene &scene, const X11Output &output, LayerChoice choice) {
    const SurfaceLayer layer = X11Layer::choose(scene, output.area, choice).layer;
    return {"layer on " + output.name, layer.remedy.empty() ? Level::Good : Level::Lacking,
            layer.words, layer.remedy};
}

} // namespace

std::string nameOfX11Manager() {
    Unwatched unwatched;
    Silence silence;
    X11Connection connection(unwatched, silence);
    X11WindowStack stack(connection);
    stack.read();
    return stack.scene().manager;
}

DesktopSurvey surveyX11(LayerChoice choice) {
    Unwatched unwatched;
    Silence silence;
    X11Connection connection(unwatched, silence);
    X11WindowStack stack(connection);
    stack.read();
    const X11Scene &scene = stack.scene();
    DesktopSurvey survey;
    survey.system = "X11";
    survey.findings = {
        {"X server", Level::Good, "can show the wallpaper behind the windows", ""},
        either(connection.takesSharedMemory(), "shared memory",
               "pictures reach the server without being copied",
               "pictures are copied to the server, which costs more of the processor",
               "use a server on this machine with MIT-SHM 1.2 or newer"),
        either(connection.hasMonitors(), "RandR", "every monitor has its own wallpaper",
               "all monitors are one", "use a server with RandR 1.5 or newer"),
        either(connection.hasShapes() && connection.hasRawInput(), "taps",
               "clicks on the empty desktop also reach the wallpaper, and nothing is taken from "
               "others",
               "clicks do not reach the wallpaper",
               "use a server with the SHAPE extension and XInput 2.2"),
        either(connection.hasScreenSaver(), "screen saver",
               "the wallpaper rests while the screen is blank or switched off",
               "the wallpaper goes on while the screen is blank or switched off",
               "use a server with the MIT-SCREEN-SAVER extension"),
        either(!scene.manager.empty(), "window manager",
               scene.manager + " tells which windows cover the wallpaper",
               "there is none that tells which windows cover the wallpaper; they are looked for",
               "use one that keeps to the common hints, as most do"),
    };
    const CGFloat density = readX11Density(connection).density.value_or(1);
    for (const X11Output &output : withoutMirrors(readX11Outputs(connection))) {
        survey.findings.push_back(layerFinding(scene, output, choice));
        survey.outputs.push_back({output.name, static_cast<unsigned>(output.area.width()),
                                  static_cast<unsigned>(output.area.height()), density});
    }
    return survey;
}

X11Desktop::X11Desktop(DescriptorWaiter &waiter, const Options &options)
    : _options(options), _connection(waiter, *this), _stack(_connection), _screenSaver(_connection),
      _pointer(_connection), _rest([this] {
          if (_hasStackChanged) {
              updateStack();
          }
      }),
      _nextPixelStep([this] { takePixelStep(); }), _settle([this] { updateLayers(); }),
      _lookAgain([this] { updateStack(); }), _lookDelay(kMinUntilInPlace) {
    awaitEvents();
    updateDensity();
    readStack();
    updateOutputs();
    updateStack();
    _lookAgain.callAfter(kUntilLookAgain);
}

void X11Desktop::setListener(Listener *listener) {
    _listener = listener;
    if (_listener) {
        for (const auto &surface : _surfaces) {
            _listener->outputAdded(*surface);
        }
    }
}

void X11Desktop::eventArrived(const X11Event &event) {
    for (const auto &surface : _surfaces) {
        surface->eventArrived(event);
    }
    _haveOutputsChanged = _haveOutputsChanged || isOutputChange(event);
    _hasStackChanged = _hasStackChanged || _stack.isChange(event);
    _screenSaver.eventArrived(event);
    if (const auto action = _pointer.actionOf(event)) {
        servePointer(*action);
    }
    _hasDensityChanged = _hasDensityChanged || isDensityChange(event);
}

void X11Desktop::eventsEnded() {
    if (_hasDensityChanged) {
        updateDensity();
    }
    if (_haveOutputsChanged) {
        updateOutputs();
    }
    if (_hasStackChanged && !_rest.isPending()) {
        updateStack();
    }
    for (const auto &surface : _surfaces) {
        surface->setBlank(_screenSaver.isBlank());
    }
}

void X11Desktop::connectionLost(const std::string &reason) {
    _hasStackChanged = false;
    if (_listener) {
        _listener->desktopLost(reason);
    }
}

void X11Desktop::awaitEvents() {
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY |
                                 XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(_connection.get(), _connection.root(), XCB_CW_EVENT_MASK, &events);
    if (_connection.hasMonitors()) {
        xcb_randr_select_input(_connection.get(), _connection.root(),
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    }
}

/// A server without RandR reports a new screen size only as a resize of the root window.
bool X11Desktop::isOutputChange(const X11Event &event) const {
    return _connection.isMonitorChange(event) ||
           (event.type() == XCB_CONFIGURE_NOTIFY &&
            event.as<xcb_configure_notify_event_t>().window == _connection.root());
}

/// A program that begins to keep the settings says so to the root.
bool X11Desktop::isDensityChange(const X11Event &event) const {
    if (event.type() == XCB_CLIENT_MESSAGE) {
        const auto &message = event.as<xcb_client_message_event_t>();
        return message.type == _connection.atom(X11Atom::Manager);
    }
    if (event.type() == XCB_DESTROY_NOTIFY) {
        return event.as<xcb_destroy_notify_event_t>().window == _settingsWindow;
    }
    if (event.type() != XCB_PROPERTY_NOTIFY) {
        return false;
    }
    const auto &property = event.as<xcb_property_notify_event_t>();
    return (property.window == _connection.root() && property.atom == XCB_ATOM_RESOURCE_MANAGER) ||
           (property.window == _settingsWindow &&
            property.atom == _connection.atom(X11Atom::XSettingsSettings));
}

void X11Desktop::updateDensity() {
    _hasDensityChanged = false;
    const X11Density read = readX11Density(_connection);
    _settingsWindow = read.settingsWindow;
    _density = _options.density.value_or(read.density.value_or(1));
    for (const auto &surface : _surfaces) {
        surface->setDensity(_density);
    }
}

void X11Desktop::updateOutputs() {
    _haveOutputsChanged = false;
    const std::vector<X11Output> outputs = readX11Outputs(_connection);
    removeSurfacesBut(outputs);
    for (const X11Output &output : outputs) {
        place(output);
    }
    _hasStackChanged = true;
}

void X11Desktop::removeSurfacesBut(const std::vector<X11Output> &outputs) {
    for (std::size_t i = _surfaces.size(); i-- > 0;) {
        const bool isThere =
            std::any_of(outputs.begin(), outputs.end(), [&](const X11Output &output) {
                return output.name == _surfaces[i]->outputName();
            });
        if (!isThere) {
            if (_listener) {
                _listener->outputRemoved(*_surfaces[i]);
            }
            _pressed = nullptr;
            _surfaces.erase(_surfaces.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}

void X11Desktop::place(const X11Output &output) {
    for (const auto &surface : _surfaces) {
        if (surface->outputName() == output.name) {
            surface->setArea(output.area);
            return;
        }
    }
    _surfaces.push_back(std::make_unique<X11Surface>(
        _connection, output, _density,
        X11Layer::choose(_stack.scene(), output.area, _options.layer)));
    _surfaces.back()->setBlank(_screenSaver.isBlank());
    if (_listener) {
        _listener->outputAdded(*_surfaces.back());
    }
}

void X11Desktop::setLayerChoice(LayerChoice choice) {
    _options.layer = choice;
    updateLayers();
}

void X11Desktop::readStack() {
    _hasStackChanged = false;
    _stack.read();
}

void X11Desktop::updateStack() {
    readStack();
    bool isSettled = true;
    for (const auto &surface : _surfaces) {
        const X11Layer layer = layerOf(*surface);
        if (layer.takesPictureOf(surface->x11Layer())) {
            surface->setLayer(layer);
        }
        isSettled = isSettled && surface->x11Layer() == layer;
    }
    if (isSettled) {
        _settle.cancel();
    } else if (!_settle.isPending()) {
        _settle.callAfter(kSettlingTime);
    }
    updatePlaces();
    _rest.callAfter(kRest);
}

void X11Desktop::updateLayers() {
    _settle.cancel();
    for (const auto &surface : _surfaces) {
        surface->setLayer(layerOf(*surface));
    }
    updatePlaces();
    _lookAgain.callAfter(kUntilLookAgain);
}

X11Layer X11Desktop::layerOf(const X11Surface &surface) const {
    return X11Layer::choose(_stack.scene(), surface.area(), _options.layer);
}

void X11Desktop::updatePlaces() {
    const bool wereAllInPlace = std::exchange(_areAllInPlace, true);
    bool isAnyVisible = false;
    for (const auto &surface : _surfaces) {
        const bool isInPlace =
            _stack.isInPlace(surface->window(), surface->x11Layer(), surface->area());
        _areAllInPlace = _areAllInPlace && isInPlace;
        // The stack is read again when it is back in its place, which a window manager may refuse.
        const bool isOnItsWay = !isInPlace && surface->restack() && wereAllInPlace;
        const auto visibility = _stack.visibilityOf(surface->area(), surface->window());
        isAnyVisible = isAnyVisible || visibility == SurfaceVisibility::Visible;
        if (!isOnItsWay) {
            surface->setStackVisibility(visibility);
        }
    }
    if (_areAllInPlace) {
        orderPictures();
    }
    if (!isAnyVisible) {
        // The windows in front have changed the order.
        destroyPixel();
        _nextPixelStep.cancel();
    }
    _lookDelay = _areAllInPlace ? kMinUntilInPlace : std::min(2 * _lookDelay, kMaxUntilInPlace);
    if (!_areAllInPlace) {
        _lookAgain.callAfter(_lookDelay);
    }
}

/// Muffin shows a new window of the type desktop in front of one that lies above it, until the
/// order of other windows changes. So a panel of one transparent pixel comes and goes.
void X11Desktop::orderPictures() {
    std::set<std::pair<std::uint32_t, std::uint32_t>> pairs;
    for (const auto &surface : _surfaces) {
        const X11Layer &layer = surface->x11Layer();
        if (surface->isMapped() && layer.icons != 0 && layer.beneath == 0 && !layer.isUnmanaged) {
            pairs.insert({surface->window(), layer.icons});
        }
    }
    if (pairs != _orderedPairs && !pairs.empty() && _connection.hasTransparentWindows()) {
        _pixelStep = 0;
        showPixel();
        _nextPixelStep.callAfter(kPixelSteps.front());
    }
    _orderedPairs = std::move(pairs);
}

void X11Desktop::showPixel() {
    destroyPixel();
    const std::uint32_t window = _connection.createWindow({0, 0, 1, 1}, {true, false}, 0);
    const auto atom = [this](X11Atom name) { return _connection.atom(name); };
    _connection.setClass(window);
    _connection.setProperty(window, atom(X11Atom::NetWMWindowType), XCB_ATOM_ATOM,
                            {atom(X11Atom::NetWMWindowTypeDock)});
    _connection.setProperty(window, atom(X11Atom::NetWMState), XCB_ATOM_ATOM,
                            {atom(X11Atom::NetWMStateBelow)});
    xcb_map_window(_connection.get(), window);
    _pixel = window;
}

void X11Desktop::destroyPixel() {
    if (_pixel) {
        xcb_destroy_window(_connection.get(), *std::exchange(_pixel, std::nullopt));
    }
}

void X11Desktop::takePixelStep() {
    destroyPixel();
    if (++_pixelStep >= kPixelSteps.size()) {
        return;
    }
    if (_pixelStep % 2 == 0) {
        showPixel();
    }
    _nextPixelStep.callAfter(kPixelSteps.at(_pixelStep));
}

/// A press on the empty desktop belongs to the surface there until its release.
void X11Desktop::servePointer(const X11Pointer::Action &action) {
    using Kind = X11Pointer::Action::Kind;
    const bool isMain = action.button == X11Pointer::Main;
    if (action.kind == Kind::Press) {
        X11Surface *const surface = surfaceAt(action.x, action.y);
        const bool isOnDesktop = surface && _stack.isDesktop(action.child);
        if (isMain) {
            _pressed = isOnDesktop ? surface : nullptr;
        }
        if (isOnDesktop) {
            surface->servePointer(action);
        }
    } else if (_pressed && isMain) {
        _pressed->servePointer(action);
        _pressed = action.kind == Kind::Release ? nullptr : _pressed;
    }
    _pointer.setWantsMoves(_pressed != nullptr);
}

/// Null where no output is.
X11Surface *X11Desktop::surfaceAt(int x, int y) const {
    const DeviceRect pixel{x, y, x + 1, y + 1};
    const auto found = std::find_if(_surfaces.begin(), _surfaces.end(), [&](const auto &surface) {
        return surface->area().contains(pixel);
    });
    return found == _surfaces.end() ? nullptr : found->get();
}

} // namespace Lumivera
