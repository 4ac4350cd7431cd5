#include "Tests/Host/Displays/Wayland/TestCompositor.h"

#include "Tests/Host/Displays/Wayland/ServerThread.h"
#include "Tests/Host/Displays/Wayland/TestSurface.h"

#include <fractional-scale-v1-server-protocol.h>
#include <plasma-window-management-server-protocol.h>
#include <viewporter-server-protocol.h>
#include <wayland-server.h>
#include <wlr-foreign-toplevel-management-unstable-v1-server-protocol.h>
#include <wlr-layer-shell-unstable-v1-server-protocol.h>
#include <xdg-output-unstable-v1-server-protocol.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// The state, which only the compositor's thread touches.
struct TestCompositor::State {
    /// The live resources of one kind; their user data is this group.
    struct Group {
        State *state;
        std::vector<wl_resource *> members;

        wl_resource *make(wl_client *client, const wl_interface &interface, std::uint32_t version,
                          std::uint32_t id, const void *requests);
        bool has(wl_resource *resource) const;
    };

    struct Output {
        std::string name;
        Mode mode;
        State *state;
        wl_global *global;
        Group resources;
        Group descriptions;
    };

    struct Window {
        KWinWindow told;
        bool isClosed;
        Group handles;
    };

    /// A global whose resources' user data is the state.
    struct Offer {
        State *state;
        const wl_interface *interface;
        const void *requests;
    };

    struct Requests;

    /// Hears of clients that connect.
    struct Arrival {
        wl_listener listener;
        State *state;
    };

    explicit State(const Options &options);
    ~State();

    wl_global *offer(const wl_interface &interface, unsigned version, const void *requests);
    void offerUnused(const wl_interface &interface);
    void addOutput(const std::string &name, const Mode &mode);
    void tell(const Output &output) const;
    Output &output(const std::string &name);
    TestSurface *surface(const std::string &output);
    wl_resource *surfaceResource(const std::string &output);
    void withToplevel(std::size_t number, const std::function<void(wl_resource *)> &action);

    void tell(const Window &window, wl_resource *handle) const;

    const Options options;
    wl_display *const display;
    wl_client *client = nullptr;
    int logicalWidth = 0;
    int logicalHeight = 0;
    TestSurface::Rules rules;
    std::vector<std::unique_ptr<Offer>> offers;
    std::vector<std::unique_ptr<Output>> outputs;
    std::vector<std::unique_ptr<Output>> goneOutputs;
    std::vector<std::unique_ptr<TestSurface>> surfaces;
    wl_global *seat = nullptr;
    unsigned capabilities = 5;
    Group seats{this, {}};
    Group pointers{this, {}};
    Group touches{this, {}};
    Group managers{this, {}};
    std::vector<std::unique_ptr<Group>> toplevels;
    Group windowManagers{this, {}};
    std::vector<std::unique_ptr<Window>> windows;
    int cursors = 0;
    Arrival arrival{{}, this};
    std::unique_ptr<ServerThread> thread;
};

wl_resource *TestCompositor::State::Group::make(wl_client *client, const wl_interface &interface,
                                                std::uint32_t version, std::uint32_t id,
                                                const void *requests) {
    wl_resource *resource = wl_resource_create(client, &interface, static_cast<int>(version), id);
    wl_resource_set_implementation(resource, requests, this, [](wl_resource *gone) {
        std::erase(static_cast<Group *>(wl_resource_get_user_data(gone))->members, gone);
    });
    members.push_back(resource);
    return resource;
}

bool TestCompositor::State::Group::has(wl_resource *resource) const {
    return std::find(members.begin(), members.end(), resource) != members.end();
}

/// Answers what the client asks of the compositor's globals, whose user data is the state.
struct TestCompositor::State::Requests {
    using Client = wl_client;
    using Resource = wl_resource;
    using Id = std::uint32_t;

    static void destroy(Client *, Resource *resource) { wl_resource_destroy(resource); }

    static State &state(Resource *global) {
        return *static_cast<State *>(wl_resource_get_user_data(global));
    }

    static State &groupState(Resource *member) {
        return *static_cast<Group *>(wl_resource_get_user_data(member))->state;
    }

    static std::uint32_t version(Resource *resource) {
        return static_cast<std::uint32_t>(wl_resource_get_version(resource));
    }

    static void createSurface(Client *client, Resource *compositor, Id id) {
        State &self = state(compositor);
        self.surfaces.push_back(
            std::make_unique<TestSurface>(client, version(compositor), id, self.rules));
    }

    static void createRegion(Client *client, Resource *compositor, Id id) {
        TestSurface::makeRegion(client, version(compositor), id);
    }

    static void getLayer(Client *, Resource *shell, Id id, Resource *surface, Resource *output,
                         std::uint32_t layer, const char *purpose) {
        for (const auto &known : state(shell).outputs) {
            if (known->resources.has(output)) {
                TestSurface::of(surface).makeLayer(id, version(shell), known->name, layer, purpose);
                return;
            }
        }
        TestSurface::of(surface).makeLayer(id, version(shell), "", layer, purpose);
    }

    static void getViewport(Client *, Resource *, Id id, Resource *surface) {
        TestSurface::of(surface).makeViewport(id);
    }

    static void getFractionalScale(Client *, Resource *, Id id, Resource *surface) {
        TestSurface::of(surface).makeFractionalScale(id);
    }

    static void getDescription(Client *client, Resource *manager, Id id, Resource *output) {
        for (const auto &known : state(manager).outputs) {
            if (known->resources.has(output)) {
                known->descriptions.make(client, zxdg_output_v1_interface, version(manager), id,
                                         &kDescription);
                state(manager).tell(*known);
            }
        }
    }

    static void getPointer(Client *client, Resource *seat, Id id) {
        groupState(seat).pointers.make(client, wl_pointer_interface, version(seat), id, &kPointer);
    }

    static void getKeyboard(Client *, Resource *, Id) {}

    static void getTouch(Client *client, Resource *seat, Id id) {
        groupState(seat).touches.make(client, wl_touch_interface, version(seat), id, &kTouch);
    }

    static void setCursor(Client *, Resource *pointer, std::uint32_t, Resource *surface,
                          std::int32_t, std::int32_t) {
        groupState(pointer).cursors += surface ? 1 : 0;
    }

    static void stop(Client *, Resource *) {}

    /// Windows take no request but destroy.
    template <typename... Arguments> static void ignore(Client *, Resource *, Arguments...) {}

    static void bindOutput(Client *client, void *data, std::uint32_t version, Id id) {
        auto &output = *static_cast<Output *>(data);
        output.resources.make(client, wl_output_interface, version, id, &kOutput);
        output.state->tell(output);
    }

    static void bindSeat(Client *client, void *data, std::uint32_t version, Id id) {
        auto &self = *static_cast<State *>(data);
        wl_seat_send_capabilities(self.seats.make(client, wl_seat_interface, version, id, &kSeat),
                                  self.capabilities);
    }

    static void bindManager(Client *client, void *data, std::uint32_t version, Id id) {
        auto &self = *static_cast<State *>(data);
        self.managers.make(client, zwlr_foreign_toplevel_manager_v1_interface, version, id,
                           &kManager);
    }

    static void bindWindowManager(Client *client, void *data, std::uint32_t version, Id id) {
        auto &self = *static_cast<State *>(data);
        Resource *const manager = self.windowManagers.make(
            client, org_kde_plasma_window_management_interface, version, id, &kWindowManager);
        for (std::size_t number = 0; number < self.windows.size(); ++number) {
            announce(manager, number);
        }
    }

    static void announce(Resource *manager, std::size_t number) {
        org_kde_plasma_window_management_send_window_with_uuid(
            manager, static_cast<std::uint32_t>(number), std::to_string(number).c_str());
    }

    static void getWindow(Client *client, Resource *manager, Id id, const char *name) {
        Window &window = *groupState(manager).windows[std::stoul(name)];
        Resource *const handle =
            window.handles.make(client, org_kde_plasma_window_interface,
                                static_cast<std::uint32_t>(version(manager)), id, &kWindow);
        if (window.isClosed) {
            org_kde_plasma_window_send_unmapped(handle);
        } else {
            groupState(manager).tell(window, handle);
        }
        org_kde_plasma_window_send_initial_state(handle);
    }

    static constexpr struct org_kde_plasma_window_management_interface kWindowManager = [] {
        struct org_kde_plasma_window_management_interface requests {};
        requests.get_window_by_uuid = getWindow;
        return requests;
    }();
    static constexpr struct org_kde_plasma_window_interface kWindow = [] {
        struct org_kde_plasma_window_interface requests {};
        requests.destroy = destroy;
        return requests;
    }();
    static constexpr struct wl_compositor_interface kCompositor { createSurface, createRegion };
    static constexpr struct zwlr_layer_shell_v1_interface kShell { getLayer, destroy };
    static constexpr struct wp_viewporter_interface kViewporter { destroy, getViewport };
    static constexpr struct wp_fractional_scale_manager_v1_interface kScales {
        destroy, getFractionalScale
    };
    static constexpr struct zxdg_output_manager_v1_interface kDescriber { destroy, getDescription };
    static constexpr struct zxdg_output_v1_interface kDescription { destroy };
    static constexpr struct wl_output_interface kOutput { destroy };
    static constexpr struct wl_seat_interface kSeat { getPointer, getKeyboard, getTouch, destroy };
    static constexpr struct wl_pointer_interface kPointer { setCursor, destroy };
    static constexpr struct wl_touch_interface kTouch { destroy };
    static constexpr struct zwlr_foreign_toplevel_manager_v1_interface kManager { stop };
    static constexpr struct zwlr_foreign_toplevel_handle_v1_interface kToplevel {
        ignore, ignore, ignore, ignore, ignore, ignore, ignore, destroy, ignore, ignore
    };
};

TestCompositor::State::State(const Options &wanted)
    : options(wanted), display(wl_display_create()) {
    wl_log_set_handler_server([](const char *, va_list) {});
    wl_display_init_shm(display);
    offer(wl_compositor_interface, options.surfaceVersion, &Requests::kCompositor);
    if (options.hasLayerShell) {
        offer(zwlr_layer_shell_v1_interface, 4, &Requests::kShell);
    }
    if (options.hasViewporter) {
        offer(wp_viewporter_interface, 1, &Requests::kViewporter);
    }
    if (options.hasFractionalScale) {
        offer(wp_fractional_scale_manager_v1_interface, 1, &Requests::kScales);
    }
    if (options.hasOutputManager) {
        offer(zxdg_output_manager_v1_interface, 3, &Requests::kDescriber);
    }
    if (options.hasToplevels) {
        wl_global_create(display, &zwlr_foreign_toplevel_manager_v1_interface, 3, this,
                         Requests::bindManager);
    }
    if (options.isKWins) {
        wl_global_create(display, &org_kde_plasma_window_management_interface, 16, this,
                         Requests::bindWindowManager);
    }
    if (options.isPhoshs) {
        static const wl_interface kPhosh{"phosh_private", 6, 0, nullptr, 0, nullptr};
        offerUnused(kPhosh);
    }
    if (options.isPlasmas) {
        static const wl_interface kPlasma{"org_kde_plasma_shell", 8, 0, nullptr, 0, nullptr};
        offerUnused(kPlasma);
    }
    if (options.hasSeat) {
        seat = wl_global_create(display, &wl_seat_interface, static_cast<int>(options.seatVersion),
                                this, Requests::bindSeat);
    }
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) {
        client = wl_client_create(display, ends[0]);
        setenv("WAYLAND_SOCKET", std::to_string(ends[1]).c_str(), 1);
    }
    thread = std::make_unique<ServerThread>(display);
}

TestCompositor::State::~State() {
    thread.reset();
    wl_display_destroy_clients(display);
    wl_display_destroy(display);
    if (const char *const unused = std::getenv("WAYLAND_SOCKET")) {
        ::close(std::atoi(unused));
        unsetenv("WAYLAND_SOCKET");
    }
}

wl_global *TestCompositor::State::offer(const wl_interface &interface, unsigned version,
                                        const void *requests) {
    offers.push_back(std::make_unique<Offer>(Offer{this, &interface, requests}));
    return wl_global_create(
        display, &interface, static_cast<int>(version), offers.back().get(),
        [](wl_client *client, void *data, std::uint32_t bound, std::uint32_t id) {
            const auto &offer = *static_cast<Offer *>(data);
            wl_resource *resource =
                wl_resource_create(client, offer.interface, static_cast<int>(bound), id);
            wl_resource_set_implementation(resource, offer.requests, offer.state, nullptr);
        });
}

/// For globals that the client does not bind.
void TestCompositor::State::offerUnused(const wl_interface &interface) {
    wl_global_create(display, &interface, interface.version, this,
                     [](wl_client *, void *, std::uint32_t, std::uint32_t) {});
}

void TestCompositor::State::addOutput(const std::string &name, const Mode &mode) {
    outputs.push_back(
        std::unique_ptr<Output>(new Output{name, mode, this, nullptr, {this, {}}, {this, {}}}));
    outputs.back()->global =
        wl_global_create(display, &wl_output_interface, static_cast<int>(options.outputVersion),
                         outputs.back().get(), Requests::bindOutput);
}

/// Sends all properties of an output that its version has.
void TestCompositor::State::tell(const Output &output) const {
    for (wl_resource *description : output.descriptions.members) {
        zxdg_output_v1_send_logical_position(description, output.mode.x, output.mode.y);
        zxdg_output_v1_send_logical_size(description, logicalWidth, logicalHeight);
        zxdg_output_v1_send_name(description, output.name.c_str());
    }
    for (wl_resource *resource : output.resources.members) {
        const Mode &mode = output.mode;
        wl_output_send_geometry(resource, 0, 0, 0, 0, 0, "maker", "model", mode.transform);
        wl_output_send_mode(resource, WL_OUTPUT_MODE_CURRENT, mode.width, mode.height, 60'000);
        if (options.outputVersion >= 2) {
            wl_output_send_scale(resource, mode.scale);
        }
        if (options.outputVersion >= 4) {
            wl_output_send_name(resource, output.name.c_str());
        }
        if (options.outputVersion >= 2) {
            wl_output_send_done(resource);
        }
    }
}

void TestCompositor::State::tell(const Window &window, wl_resource *handle) const {
    const KWinWindow &told = window.told;
    for (const std::string &desktop : told.desktops) {
        org_kde_plasma_window_send_virtual_desktop_entered(handle, desktop.c_str());
    }
    for (const std::string &activity : told.activities) {
        org_kde_plasma_window_send_activity_entered(handle, activity.c_str());
    }
    org_kde_plasma_window_send_title_changed(handle, "title");
    org_kde_plasma_window_send_state_changed(handle, told.states);
    org_kde_plasma_window_send_geometry(handle, told.area.left, told.area.top,
                                        static_cast<std::uint32_t>(told.area.width()),
                                        static_cast<std::uint32_t>(told.area.height()));
}

TestCompositor::State::Output &TestCompositor::State::output(const std::string &name) {
    return **std::find_if(outputs.begin(), outputs.end(),
                          [&](const auto &known) { return known->name == name; });
}

TestSurface *TestCompositor::State::surface(const std::string &output) {
    const auto found = std::find_if(surfaces.rbegin(), surfaces.rend(), [&](const auto &known) {
        return known->layer() && known->current().output == output;
    });
    return found == surfaces.rend() ? nullptr : found->get();
}

wl_resource *TestCompositor::State::surfaceResource(const std::string &output) {
    TestSurface *const found = surface(output);
    return found ? found->resource() : nullptr;
}

void TestCompositor::State::withToplevel(std::size_t number,
                                         const std::function<void(wl_resource *)> &action) {
    const std::vector<wl_resource *> handles = toplevels[number]->members;
    std::for_each(handles.begin(), handles.end(), action);
}

TestCompositor::TestCompositor(const Options &options) : _state(std::make_unique<State>(options)) {}

TestCompositor::~TestCompositor() = default;

void TestCompositor::listenAt(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    listen(descriptor, 1);
    _state->thread->perform([&] {
        _state->arrival.listener.notify = [](wl_listener *listener, void *client) {
            State &state = *reinterpret_cast<State::Arrival *>(listener)->state;
            state.client = static_cast<wl_client *>(client);
        };
        wl_display_add_client_created_listener(_state->display, &_state->arrival.listener);
        wl_display_add_socket_fd(_state->display, descriptor);
    });
}

void TestCompositor::addOutput(const std::string &name, const Mode &mode) {
    _state->thread->perform([&] { _state->addOutput(name, mode); });
}

void TestCompositor::changeOutput(const std::string &name, const Mode &mode) {
    _state->thread->perform([&] {
        _state->output(name).mode = mode;
        _state->tell(_state->output(name));
    });
}

/// The client destroys the resources.
void TestCompositor::removeOutput(const std::string &name) {
    _state->thread->perform([&] {
        State::Output &output = _state->output(name);
        wl_global_remove(output.global);
        for (auto &known : _state->outputs) {
            if (known.get() == &output) {
                _state->goneOutputs.push_back(std::move(known));
            }
        }
        std::erase(_state->outputs, nullptr);
    });
}

void TestCompositor::setLogicalSize(int width, int height) {
    _state->thread->perform([&] {
        _state->logicalWidth = width;
        _state->logicalHeight = height;
        for (const auto &output : _state->outputs) {
            _state->tell(*output);
        }
    });
}

std::vector<TestCompositor::Surface> TestCompositor::surfaces() {
    std::vector<Surface> found;
    _state->thread->perform([&] {
        for (const auto &surface : _state->surfaces) {
            if (surface->layer()) {
                found.push_back(surface->current());
            }
        }
    });
    return found;
}

TestCompositor::Surface TestCompositor::surfaceOn(const std::string &output) {
    Surface found;
    _state->thread->perform([&] {
        if (const TestSurface *const surface = _state->surface(output)) {
            found = surface->current();
        }
    });
    return found;
}

void TestCompositor::configure(const std::string &output, unsigned width, unsigned height) {
    _state->thread->perform([&] {
        if (TestSurface *const surface = _state->surface(output)) {
            surface->configure(width, height);
        }
    });
}

void TestCompositor::close(const std::string &output) {
    _state->thread->perform([&] {
        if (const TestSurface *const surface = _state->surface(output)) {
            zwlr_layer_surface_v1_send_closed(surface->layer());
        }
    });
}

void TestCompositor::preferScale(const std::string &output, unsigned parts) {
    _state->thread->perform([&] {
        const TestSurface *const surface = _state->surface(output);
        if (surface && surface->fractionalScale()) {
            wp_fractional_scale_v1_send_preferred_scale(surface->fractionalScale(), parts);
        }
    });
}

void TestCompositor::withholdFrames(bool isWithheld) {
    _state->thread->perform([&] {
        _state->rules.withholdsFrames = isWithheld;
        if (!isWithheld) {
            _state->rules.sendFrames();
        }
    });
}

void TestCompositor::withholdReleases(bool isWithheld) {
    _state->thread->perform([&] {
        _state->rules.withholdsReleases = isWithheld;
        if (!isWithheld) {
            _state->rules.sendReleases();
        }
    });
}

void TestCompositor::sendFrames() {
    _state->thread->perform([&] {
        _state->rules.withholdsFrames = true;
        _state->rules.sendFrames();
    });
}

void TestCompositor::refuse(const std::string &output, unsigned error) {
    _state->thread->perform([&] {
        if (const TestSurface *const surface = _state->surface(output)) {
            wl_resource_post_error(surface->layer(), error, "refused");
        }
    });
}

void TestCompositor::hangUp() {
    _state->thread->perform([&] { wl_client_destroy(_state->client); });
}

void TestCompositor::setCapabilities(unsigned capabilities) {
    _state->thread->perform([&] {
        _state->capabilities = capabilities;
        for (wl_resource *seat : _state->seats.members) {
            wl_seat_send_capabilities(seat, capabilities);
        }
    });
}

void TestCompositor::removeSeat() {
    _state->thread->perform([&] { wl_global_remove(_state->seat); });
}

void TestCompositor::touchDown(const std::string &output, int finger, double x, double y) {
    _state->thread->perform([&] {
        for (wl_resource *touch : _state->touches.members) {
            wl_touch_send_down(touch, 1, 0, _state->surfaceResource(output), finger,
                               wl_fixed_from_double(x), wl_fixed_from_double(y));
            wl_touch_send_frame(touch);
        }
    });
}

void TestCompositor::touchMove(int finger, double x, double y) {
    _state->thread->perform([&] {
        for (wl_resource *touch : _state->touches.members) {
            wl_touch_send_motion(touch, 0, finger, wl_fixed_from_double(x),
                                 wl_fixed_from_double(y));
            wl_touch_send_frame(touch);
        }
    });
}

void TestCompositor::touchUp(int finger) {
    _state->thread->perform([&] {
        for (wl_resource *touch : _state->touches.members) {
            wl_touch_send_up(touch, 1, 0, finger);
            wl_touch_send_frame(touch);
        }
    });
}

void TestCompositor::touchCancel() {
    _state->thread->perform([&] {
        for (wl_resource *touch : _state->touches.members) {
            wl_touch_send_cancel(touch);
        }
    });
}

void TestCompositor::pointerEnter(const std::string &output, double x, double y) {
    _state->thread->perform([&] {
        for (wl_resource *pointer : _state->pointers.members) {
            wl_pointer_send_enter(pointer, 1, _state->surfaceResource(output),
                                  wl_fixed_from_double(x), wl_fixed_from_double(y));
        }
    });
}

void TestCompositor::pointerLeave(const std::string &output) {
    _state->thread->perform([&] {
        for (wl_resource *pointer : _state->pointers.members) {
            wl_pointer_send_leave(pointer, 1, _state->surfaceResource(output));
        }
    });
}

void TestCompositor::pointerMove(double x, double y) {
    _state->thread->perform([&] {
        for (wl_resource *pointer : _state->pointers.members) {
            wl_pointer_send_motion(pointer, 0, wl_fixed_from_double(x), wl_fixed_from_double(y));
        }
    });
}

void TestCompositor::pointerButton(unsigned button, bool isPressed) {
    _state->thread->perform([&] {
        for (wl_resource *pointer : _state->pointers.members) {
            wl_pointer_send_button(pointer, 1, 0, button, isPressed ? 1 : 0);
        }
    });
}

void TestCompositor::pointerScroll(unsigned source, double distance) {
    _state->thread->perform([&] {
        for (wl_resource *pointer : _state->pointers.members) {
            const bool hasFrames = wl_resource_get_version(pointer) >= 5;
            if (hasFrames) {
                wl_pointer_send_axis_source(pointer, source);
            }
            wl_pointer_send_axis(pointer, 0, WL_POINTER_AXIS_HORIZONTAL_SCROLL,
                                 wl_fixed_from_double(distance));
            if (hasFrames) {
                wl_pointer_send_frame(pointer);
            }
        }
    });
}

void TestCompositor::pointerStop() {
    _state->thread->perform([&] {
        for (wl_resource *pointer : _state->pointers.members) {
            wl_pointer_send_axis_source(pointer, WL_POINTER_AXIS_SOURCE_FINGER);
            wl_pointer_send_axis_stop(pointer, 0, WL_POINTER_AXIS_HORIZONTAL_SCROLL);
            wl_pointer_send_frame(pointer);
        }
    });
}

int TestCompositor::cursors() {
    int count = 0;
    _state->thread->perform([&] { count = _state->cursors; });
    return count;
}

void TestCompositor::addToplevel() {
    _state->thread->perform([&] {
        _state->toplevels.push_back(std::make_unique<State::Group>(State::Group{_state.get(), {}}));
        for (wl_resource *manager : _state->managers.members) {
            wl_resource *handle = _state->toplevels.back()->make(
                wl_resource_get_client(manager), zwlr_foreign_toplevel_handle_v1_interface,
                static_cast<std::uint32_t>(wl_resource_get_version(manager)), 0,
                &State::Requests::kToplevel);
            zwlr_foreign_toplevel_manager_v1_send_toplevel(manager, handle);
        }
    });
}

void TestCompositor::changeToplevel(std::size_t number, const Toplevel &toplevel) {
    _state->thread->perform([&] {
        wl_array states;
        wl_array_init(&states);
        const std::size_t bytes = toplevel.states.size() * sizeof(std::uint32_t);
        if (bytes > 0) {
            std::memcpy(wl_array_add(&states, bytes), toplevel.states.data(), bytes);
        }
        _state->withToplevel(number, [&](wl_resource *handle) {
            zwlr_foreign_toplevel_handle_v1_send_state(handle, &states);
            for (const auto &output : _state->outputs) {
                for (wl_resource *resource : output->resources.members) {
                    if (output->name == toplevel.output) {
                        zwlr_foreign_toplevel_handle_v1_send_output_enter(handle, resource);
                    } else {
                        zwlr_foreign_toplevel_handle_v1_send_output_leave(handle, resource);
                    }
                }
            }
            zwlr_foreign_toplevel_handle_v1_send_done(handle);
        });
        wl_array_release(&states);
    });
}

void TestCompositor::closeToplevel(std::size_t number) {
    _state->thread->perform(
        [&] { _state->withToplevel(number, zwlr_foreign_toplevel_handle_v1_send_closed); });
}

void TestCompositor::addKWinWindow(const KWinWindow &window) {
    _state->thread->perform([&] {
        _state->windows.push_back(std::unique_ptr<State::Window>(
            new State::Window{window, false, State::Group{_state.get(), {}}}));
        for (wl_resource *manager : _state->windowManagers.members) {
            State::Requests::announce(manager, _state->windows.size() - 1);
        }
    });
}

void TestCompositor::changeKWinWindow(std::size_t number, const KWinWindow &window) {
    _state->thread->perform([&] {
        State::Window &known = *_state->windows[number];
        for (wl_resource *handle : known.handles.members) {
            for (const std::string &desktop : known.told.desktops) {
                org_kde_plasma_window_send_virtual_desktop_left(handle, desktop.c_str());
            }
            for (const std::string &activity : known.told.activities) {
                org_kde_plasma_window_send_activity_left(handle, activity.c_str());
            }
        }
        known.told = window;
        for (wl_resource *handle : known.handles.members) {
            _state->tell(known, handle);
        }
    });
}

void TestCompositor::moveKWinWindow(std::size_t number, int x, int y, unsigned width,
                                    unsigned height) {
    _state->thread->perform([&] {
        for (wl_resource *handle : _state->windows[number]->handles.members) {
            org_kde_plasma_window_send_geometry(handle, x, y, width, height);
        }
    });
}

void TestCompositor::closeKWinWindow(std::size_t number) {
    _state->thread->perform([&] {
        _state->windows[number]->isClosed = true;
        const std::vector<wl_resource *> handles = _state->windows[number]->handles.members;
        std::for_each(handles.begin(), handles.end(), org_kde_plasma_window_send_unmapped);
    });
}

void TestCompositor::showDesktop(bool isShown) {
    _state->thread->perform([&] {
        for (wl_resource *manager : _state->windowManagers.members) {
            org_kde_plasma_window_management_send_show_desktop_changed(manager, isShown ? 1 : 0);
        }
    });
}

std::size_t TestCompositor::watchedKWinWindows() {
    std::size_t count = 0;
    _state->thread->perform([&] {
        for (const auto &window : _state->windows) {
            count += window->handles.members.size();
        }
    });
    return count;
}

void TestCompositor::atOnce(const std::function<void()> &actions) {
    _state->thread->perform(actions);
}
