#include "Host/Displays/X11/X11Desktop.h"

#include "Host/Displays/X11/X11Density.h"

#include <algorithm>
#include <cstdint>
#include <xcb/randr.h>
#include <xcb/xcb.h>

namespace Lumivera {

namespace {

/// Windows that are dragged are looked at no more often than that, in seconds.
constexpr NSTimeInterval kRest = 0.05;

} // namespace

X11Desktop::X11Desktop(DescriptorWaiter &waiter, const Options &options)
    : _options(options),
      _restName("lumiveraX11Rest" + std::to_string(reinterpret_cast<std::uintptr_t>(this))),
      _connection(waiter, *this), _stack(_connection), _screenSaver(_connection) {
    awaitEvents();
    updateDensity();
    updateOutputs();
    updateStack();
}

X11Desktop::~X11Desktop() {
    NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(nullptr, _restName);
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
    if (_hasStackChanged && !_isResting) {
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

/// A server that knows no monitors tells a new size of its screen by the root's.
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
    rest();
}

void X11Desktop::rest() {
    _isResting = true;
    NSRunLoop::mainRunLoop().performSelector_afterDelay(
        nullptr, _restName,
        [this] {
            _isResting = false;
            if (_hasStackChanged) {
                updateStack();
            }
        },
        kRest);
}

} // namespace Lumivera
