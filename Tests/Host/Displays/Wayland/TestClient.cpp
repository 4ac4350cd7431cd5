#include "Tests/Host/Displays/Wayland/TestClient.h"

#include "Host/Displays/SharedBuffers.h"

#include <linux/input-event-codes.h>
#include <wayland-client.h>
#include <wlr-virtual-pointer-unstable-v1-client-protocol.h>
#include <xdg-shell-client-protocol.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

using namespace Lumivera;

struct TestClient::State {
    struct Events;

    void drawIfAsked();

    wl_display *display = nullptr;
    wl_registry *registry = nullptr;
    wl_compositor *compositor = nullptr;
    wl_shm *shm = nullptr;
    xdg_wm_base *shell = nullptr;
    zwlr_virtual_pointer_manager_v1 *pointers = nullptr;
    zwlr_virtual_pointer_v1 *pointer = nullptr;

    wl_surface *surface = nullptr;
    xdg_surface *shellSurface = nullptr;
    xdg_toplevel *window = nullptr;
    std::uint32_t color = 0;
    int width = 0;
    int height = 0;
    std::uint32_t serial = 0;
    std::unique_ptr<SharedBuffers> memory;

    /// Buffers that the window has shown.
    std::vector<wl_buffer *> buffers;
};

struct TestClient::State::Events {
    static State &self(void *data) { return *static_cast<State *>(data); }

    static void global(void *data, wl_registry *registry, std::uint32_t number,
                       const char *interface, std::uint32_t) {
        const auto bind = [&](auto *&object, const wl_interface &wanted, std::uint32_t version) {
            if (std::string_view(interface) == wanted.name) {
                object = static_cast<std::remove_reference_t<decltype(object)>>(
                    wl_registry_bind(registry, number, &wanted, version));
            }
        };
        bind(self(data).compositor, wl_compositor_interface, 1);
        bind(self(data).shm, wl_shm_interface, 1);
        bind(self(data).shell, xdg_wm_base_interface, 1);
        bind(self(data).pointers, zwlr_virtual_pointer_manager_v1_interface, 1);
    }

    static void globalRemove(void *, wl_registry *, std::uint32_t) {}

    static void ping(void *, xdg_wm_base *shell, std::uint32_t serial) {
        xdg_wm_base_pong(shell, serial);
    }

    static void configure(void *data, xdg_surface *, std::uint32_t serial) {
        self(data).serial = serial;
    }

    static void configureWindow(void *data, xdg_toplevel *, std::int32_t width, std::int32_t height,
                                wl_array *) {
        self(data).width = width > 0 ? width : 200;
        self(data).height = height > 0 ? height : 100;
    }

    static void close(void *, xdg_toplevel *) {}
    static void bounds(void *, xdg_toplevel *, std::int32_t, std::int32_t) {}
    static void capabilities(void *, xdg_toplevel *, wl_array *) {}

    static constexpr wl_registry_listener kRegistry{.global = global,
                                                    .global_remove = globalRemove};
    static constexpr xdg_wm_base_listener kShell{.ping = ping};
    static constexpr xdg_surface_listener kSurface{.configure = configure};
    static constexpr xdg_toplevel_listener kWindow{.configure = configureWindow,
                                                   .close = close,
                                                   .configure_bounds = bounds,
                                                   .wm_capabilities = capabilities};
};

void TestClient::State::drawIfAsked() {
    if (!surface || serial == 0) {
        return;
    }
    xdg_surface_ack_configure(shellSurface, serial);
    serial = 0;
    memory = std::make_unique<SharedBuffers>(static_cast<unsigned>(width),
                                             static_cast<unsigned>(height), 1U);
    std::fill_n(memory->pixels(0), memory->bytes() / 4, color);
    wl_shm_pool *const pool =
        wl_shm_create_pool(shm, memory->descriptor(), static_cast<std::int32_t>(memory->bytes()));
    wl_buffer *const buffer =
        wl_shm_pool_create_buffer(pool, 0, width, height, width * 4, WL_SHM_FORMAT_XRGB8888);
    wl_shm_pool_destroy(pool);
    buffers.push_back(buffer);
    wl_surface_attach(surface, buffer, 0, 0);
    wl_surface_damage(surface, 0, 0, width, height);
    wl_surface_commit(surface);
}

TestClient::TestClient(const std::string &socket) : _state(std::make_unique<State>()) {
    _state->display = wl_display_connect(socket.c_str());
    _state->registry = wl_display_get_registry(_state->display);
    wl_registry_add_listener(_state->registry, &State::Events::kRegistry, _state.get());
    wl_display_roundtrip(_state->display);
    xdg_wm_base_add_listener(_state->shell, &State::Events::kShell, _state.get());
    _state->pointer =
        zwlr_virtual_pointer_manager_v1_create_virtual_pointer(_state->pointers, nullptr);
    wl_display_roundtrip(_state->display);
}

TestClient::~TestClient() {
    closeWindow();
    zwlr_virtual_pointer_v1_destroy(_state->pointer);
    zwlr_virtual_pointer_manager_v1_destroy(_state->pointers);
    xdg_wm_base_destroy(_state->shell);
    wl_shm_destroy(_state->shm);
    wl_compositor_destroy(_state->compositor);
    wl_registry_destroy(_state->registry);
    wl_display_disconnect(_state->display);
}

void TestClient::openWindow(std::uint32_t color, WindowKind kind) {
    _state->color = color;
    _state->surface = wl_compositor_create_surface(_state->compositor);
    _state->shellSurface = xdg_wm_base_get_xdg_surface(_state->shell, _state->surface);
    xdg_surface_add_listener(_state->shellSurface, &State::Events::kSurface, _state.get());
    _state->window = xdg_surface_get_toplevel(_state->shellSurface);
    xdg_toplevel_add_listener(_state->window, &State::Events::kWindow, _state.get());
    xdg_toplevel_set_app_id(_state->window, "lumivera.test");
    if (kind == WindowKind::Maximized) {
        xdg_toplevel_set_maximized(_state->window);
    } else if (kind == WindowKind::FullScreen) {
        xdg_toplevel_set_fullscreen(_state->window, nullptr);
    }
    wl_surface_commit(_state->surface);
    serve();
}

void TestClient::closeWindow() {
    if (_state->surface) {
        xdg_toplevel_destroy(_state->window);
        xdg_surface_destroy(_state->shellSurface);
        wl_surface_destroy(_state->surface);
        _state->surface = nullptr;
        for (wl_buffer *buffer : std::exchange(_state->buffers, {})) {
            wl_buffer_destroy(buffer);
        }
        wl_display_roundtrip(_state->display);
    }
}

/// Several round trips, because the compositor sends some events only in answer to the requests of
/// the trip before.
void TestClient::serve() {
    for (int turn = 0; turn < 3; ++turn) {
        wl_display_roundtrip(_state->display);
        _state->drawIfAsked();
    }
    wl_display_roundtrip(_state->display);
}

void TestClient::click(unsigned x, unsigned y, unsigned width, unsigned height) {
    zwlr_virtual_pointer_v1 *const pointer = _state->pointer;
    zwlr_virtual_pointer_v1_motion_absolute(pointer, 0, x, y, width, height);
    zwlr_virtual_pointer_v1_frame(pointer);
    for (const auto state : {WL_POINTER_BUTTON_STATE_PRESSED, WL_POINTER_BUTTON_STATE_RELEASED}) {
        zwlr_virtual_pointer_v1_button(pointer, 0, BTN_LEFT, state);
        zwlr_virtual_pointer_v1_frame(pointer);
    }
    wl_display_roundtrip(_state->display);
}
