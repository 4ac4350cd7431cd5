#include "Tests/Host/Displays/Wayland/TestSurface.h"

#include <fractional-scale-v1-server-protocol.h>
#include <viewporter-server-protocol.h>
#include <wayland-server.h>
#include <wlr-layer-shell-unstable-v1-server-protocol.h>

#include <utility>

namespace {

void destroyResource(wl_client *, wl_resource *resource) { wl_resource_destroy(resource); }

} // namespace

void TestSurface::Rules::sendFrames() {
    for (wl_resource *frame : std::exchange(heldFrames, {})) {
        wl_callback_send_done(frame, 0);
        wl_resource_destroy(frame);
    }
}

void TestSurface::Rules::sendReleases() {
    for (const std::uint32_t id : std::exchange(heldBuffers, {})) {
        wl_resource *buffer = wl_client_get_object(client, id);
        if (buffer && wl_shm_buffer_get(buffer)) {
            wl_buffer_send_release(buffer);
        }
    }
}

/// Handles the client's requests to a surface and its roles.
struct TestSurface::Requests {
    using Client = wl_client;
    using Resource = wl_resource;

    static TestSurface &self(Resource *resource) {
        return *static_cast<TestSurface *>(wl_resource_get_user_data(resource));
    }

    static void attach(Client *, Resource *resource, Resource *buffer, std::int32_t, std::int32_t) {
        self(resource)._attached = buffer;
    }

    static void damage(Client *, Resource *resource, std::int32_t x, std::int32_t y,
                       std::int32_t width, std::int32_t height) {
        self(resource)._pending.damage.push_back({x, y, x + width, y + height});
    }

    /// Damage in points; it is told apart because it lies outside of every buffer.
    static void oldDamage(Client *, Resource *resource, std::int32_t, std::int32_t, std::int32_t,
                          std::int32_t) {
        self(resource)._pending.damage.push_back({-1, -1, -1, -1});
    }

    static void frame(Client *client, Resource *resource, std::uint32_t id) {
        wl_resource *callback = wl_resource_create(client, &wl_callback_interface, 1, id);
        wl_resource_set_implementation(callback, nullptr, &self(resource), [](Resource *gone) {
            auto &surface = self(gone);
            std::erase(surface._frames, gone);
            std::erase(surface._rules.heldFrames, gone);
        });
        self(resource)._frames.push_back(callback);
    }

    static void setOpaque(Client *, Resource *resource, Resource *region) {
        self(resource)._pending.isOpaque = region && wl_resource_get_user_data(region);
    }

    static void setInput(Client *, Resource *resource, Resource *region) {
        self(resource)._pending.takesInput = !region || wl_resource_get_user_data(region);
    }

    static void commit(Client *, Resource *resource) { self(resource).commit(); }
    static void setTransform(Client *, Resource *, std::int32_t) {}

    static void setScale(Client *, Resource *resource, std::int32_t scale) {
        self(resource)._pending.scale = scale;
    }

    static void offset(Client *, Resource *, std::int32_t, std::int32_t) {}

    static void addToRegion(Client *, Resource *region, std::int32_t, std::int32_t,
                            std::int32_t width, std::int32_t height) {
        if (width > 0 && height > 0) {
            wl_resource_set_user_data(region, region);
        }
    }

    static void subtract(Client *, Resource *, std::int32_t, std::int32_t, std::int32_t,
                         std::int32_t) {}

    static void setSize(Client *, Resource *, std::uint32_t, std::uint32_t) {}

    static void setAnchor(Client *, Resource *layer, std::uint32_t anchor) {
        self(layer)._pending.anchor = anchor;
    }

    static void setZone(Client *, Resource *layer, std::int32_t zone) {
        self(layer)._pending.exclusiveZone = zone;
    }

    static void setMargin(Client *, Resource *, std::int32_t, std::int32_t, std::int32_t,
                          std::int32_t) {}

    static void setKeys(Client *, Resource *layer, std::uint32_t interactivity) {
        self(layer)._pending.takesKeys = interactivity != 0;
    }

    static void getPopup(Client *, Resource *, Resource *) {}

    static void acknowledge(Client *, Resource *layer, std::uint32_t serial) {
        TestSurface &surface = self(layer);
        surface._pending.isAcknowledged = serial == surface._serial;
    }

    static void setLayer(Client *, Resource *, std::uint32_t) {}

    static void setSource(Client *, Resource *, wl_fixed_t, wl_fixed_t, wl_fixed_t, wl_fixed_t) {}

    static void setDestination(Client *, Resource *viewport, std::int32_t width,
                               std::int32_t height) {
        self(viewport)._pending.destinationWidth = width;
        self(viewport)._pending.destinationHeight = height;
    }

    static constexpr struct wl_surface_interface kSurface {
        destroyResource, attach, oldDamage, frame, setOpaque, setInput, commit, setTransform,
            setScale, damage, offset
    };
    static constexpr struct wl_region_interface kRegion { destroyResource, addToRegion, subtract };
    static constexpr struct zwlr_layer_surface_v1_interface kLayer {
        setSize, setAnchor, setZone, setMargin, setKeys, getPopup, acknowledge, destroyResource,
            setLayer
    };
    static constexpr struct wp_viewport_interface kViewport {
        destroyResource, setSource, setDestination
    };
    static constexpr struct wp_fractional_scale_v1_interface kFractionalScale { destroyResource };
};

TestSurface::TestSurface(wl_client *client, std::uint32_t version, std::uint32_t id, Rules &rules)
    : _rules(rules) {
    _rules.client = client;
    _resource = wl_resource_create(client, &wl_surface_interface, static_cast<int>(version), id);
    wl_resource_set_implementation(_resource, &Requests::kSurface, this,
                                   [](wl_resource *resource) { of(resource)._resource = nullptr; });
}

TestSurface &TestSurface::of(wl_resource *surface) { return Requests::self(surface); }

/// The user data of a region is null while it is empty.
void TestSurface::makeRegion(wl_client *client, std::uint32_t version, std::uint32_t id) {
    wl_resource *region =
        wl_resource_create(client, &wl_region_interface, static_cast<int>(version), id);
    wl_resource_set_implementation(region, &Requests::kRegion, nullptr, nullptr);
}

void TestSurface::makeLayer(std::uint32_t id, std::uint32_t version, const std::string &output,
                            std::uint32_t layer, const std::string &purpose) {
    _pending.output = _current.output = output;
    _pending.layer = layer;
    _pending.layerNamespace = purpose;
    makePart(_layer, &zwlr_layer_surface_v1_interface, version, id, &Requests::kLayer);
}

void TestSurface::makeViewport(std::uint32_t id) {
    makePart(_viewport, &wp_viewport_interface, 1, id, &Requests::kViewport);
}

void TestSurface::makeFractionalScale(std::uint32_t id) {
    makePart(_fractionalScale, &wp_fractional_scale_v1_interface, 1, id,
             &Requests::kFractionalScale);
}

void TestSurface::configure(unsigned width, unsigned height) {
    if (_layer) {
        _current.isAcknowledged = _pending.isAcknowledged = false;
        zwlr_layer_surface_v1_send_configure(_layer, ++_serial, width, height);
    }
}

void TestSurface::makePart(wl_resource *&part, const void *interface, std::uint32_t version,
                           std::uint32_t id, const void *requests) {
    part = wl_resource_create(wl_resource_get_client(_resource),
                              static_cast<const wl_interface *>(interface),
                              static_cast<int>(version), id);
    wl_resource_set_implementation(part, requests, this, [](wl_resource *resource) {
        TestSurface &surface = of(resource);
        for (wl_resource **known :
             {&surface._layer, &surface._viewport, &surface._fractionalScale}) {
            *known = *known == resource ? nullptr : *known;
        }
    });
}

/// Refuses what a layer surface may not do, as compositors do.
void TestSurface::commit() {
    const int pictures = _current.pictures;
    _current = _pending;
    _current.pictures = pictures;
    _pending.damage.clear();
    if (_attached) {
        showAttached();
    }
    for (wl_resource *frame : std::exchange(_frames, {})) {
        _rules.heldFrames.push_back(frame);
    }
    if (!_rules.withholdsFrames) {
        _rules.sendFrames();
    }
}

void TestSurface::showAttached() {
    wl_resource *const attached = std::exchange(_attached, nullptr);
    wl_shm_buffer *const buffer = wl_shm_buffer_get(attached);
    if (_layer && _serial == 0) {
        wl_resource_post_error(_layer, ZWLR_LAYER_SURFACE_V1_ERROR_INVALID_SURFACE_STATE,
                               "a picture before the first configure event");
        return;
    }
    _pending.width = _current.width = wl_shm_buffer_get_width(buffer);
    _pending.height = _current.height = wl_shm_buffer_get_height(buffer);
    wl_shm_buffer_begin_access(buffer);
    _pending.corner = _current.corner =
        *static_cast<const std::uint32_t *>(wl_shm_buffer_get_data(buffer));
    wl_shm_buffer_end_access(buffer);
    ++_current.pictures;
    const std::uint32_t id = wl_resource_get_id(attached);
    if (_shown != 0 && _shown != id) {
        _rules.heldBuffers.push_back(_shown);
    }
    _shown = id;
    if (!_rules.withholdsReleases) {
        _rules.sendReleases();
    }
}
