#include "Host/Displays/X11/X11Desktop.h"

#include <algorithm>
#include <xcb/randr.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

using Level = Finding::Level;

/// Minimum seconds between two readings of the window stack, which changes all the time while a
/// window is dragged.
constexpr NSTimeInterval kRest = 0.05;

/// Ignores the events of a connection that only sends requests.
class Silence final : public X11Listener {
  private:
    void eventArrived(const X11Event &) override {}
    void eventsEnded() override {}
    void connectionLost(const std::string &) override {}
};

Finding either(bool isThere, const std::string &subject, const std::string &good,
               const std::string &lacking, const std::string &remedy) {
    return isThere ? Finding{subject, Level::Good, good, ""}
                   : Finding{subject, Level::Lacking, lacking, remedy};
}

bool hasWindowManager(X11Connection &connection) {
    const unsigned question = connection.askForProperty(
        connection.root(), connection.atom(X11Atom::NetSupportingWMCheck));
    return connection.propertyWords(question).has_value();
}
} // namespace

DesktopSurvey surveyX11() {
    DescriptorWaiter waiter;
    Silence silence;
    X11Connection connection(waiter, silence);
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
        either(connection.hasShapes(), "shapes", "--click-through works",
               "--click-through does nothing", "use a server with the SHAPE extension"),
        either(connection.hasScreenSaver(), "screen saver",
               "the wallpaper rests while the screen is blank or switched off",
               "the wallpaper goes on while the screen is blank or switched off",
               "use a server with the MIT-SCREEN-SAVER extension"),
        either(hasWindowManager(connection), "window manager",
               "tells which windows cover the wallpaper",
               "there is none that tells which windows cover the wallpaper; they are looked for",
               "use one that keeps to the common hints, as most do"),
    };
    const CGFloat density = readX11Density(connection).value_or(1);
    for (const X11Output &output : withoutMirrors(readX11Outputs(connection))) {
        survey.outputs.push_back({output.name, static_cast<unsigned>(output.area.width()),
                                  static_cast<unsigned>(output.area.height()), density});
    }
    return survey;
}

X11Desktop::X11Desktop(DescriptorWaiter &waiter, const Options &options)
    : _options(options), _connection(waiter, *this), _stack(_connection), _screenSaver(_connection),
      _rest([this] {
          if (_hasStackChanged) {
              updateStack();
          }
      }) {
    awaitEvents();
    updateDensity();
    updateOutputs();
    updateStack();
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
    if (event.type() == XCB_PROPERTY_NOTIFY) {
        const auto &property = event.as<xcb_property_notify_event_t>();
        _hasDensityChanged = _hasDensityChanged || (property.window == _connection.root() &&
                                                    property.atom == XCB_ATOM_RESOURCE_MANAGER);
    }
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

void X11Desktop::updateDensity() {
    _hasDensityChanged = false;
    _density = _options.density ? *_options.density : readX11Density(_connection).value_or(1);
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
    _surfaces.push_back(
        std::make_unique<X11Surface>(_connection, output, _density, _options.clickThrough));
    _surfaces.back()->setBlank(_screenSaver.isBlank());
    if (_listener) {
        _listener->outputAdded(*_surfaces.back());
    }
}

void X11Desktop::updateStack() {
    _hasStackChanged = false;
    _stack.read();
    for (const auto &surface : _surfaces) {
        surface->lowerBeneath(_stack.windowsBeneath(surface->window(), surface->area()));
        surface->setStackVisibility(_stack.visibilityOf(surface->area()));
    }
    _rest.callAfter(kRest);
}

} // namespace Lumivera
