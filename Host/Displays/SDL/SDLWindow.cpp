#include <SDL2/SDL.h>
#include <SDL2/SDL_syswm.h>

#include "Host/Displays/SDL/SDLWindow.h"

#include "Host/Displays/X11/X11WindowWatch.h"
#include "Host/Support/HostError.h"
#include "Platform/CoreGraphics/CGImage.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace Lumivera {

namespace {

constexpr CGFloat kPointsPerWheelStep = 20;
constexpr CGFloat kPointsPerTurn = 60;
constexpr int kEndingTurns = 3;
constexpr std::uint32_t kEndingTurnMilliseconds = 4;

/// The window systems of the user's session, as a list of SDL's drivers. Without it SDL would fall
/// back on drivers that show nothing; a driver whose system is missing prints errors.
std::string windowSystems() {
    std::string systems;
    for (const auto &[variable, driver] :
         {std::pair("DISPLAY", "x11"), std::pair("WAYLAND_DISPLAY", "wayland")}) {
        const char *value = std::getenv(variable);
        if (value && *value) {
            systems += (systems.empty() ? "" : ",") + std::string(driver);
        }
    }
    return systems;
}

[[noreturn]] void fail(const std::string &what, const std::string &wayOut) {
    const std::string error = SDL_GetError();
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    throw HostError("display", error.empty() ? what : what + ": " + error, wayOut);
}

int millisecondsFrom(Clock::Nanoseconds nanoseconds) {
    if (nanoseconds == Clock::kNever) {
        return -1;
    }
    const Clock::Nanoseconds rounded = nanoseconds / 1'000'000 + (nanoseconds % 1'000'000 > 0);
    return static_cast<int>(std::min<Clock::Nanoseconds>(rounded, INT_MAX));
}

bool isOurFormat(const SDL_Surface &surface) {
    const std::uint32_t format = surface.format->format;
    return (format == SDL_PIXELFORMAT_RGB888 || format == SDL_PIXELFORMAT_ARGB8888) &&
           surface.pitch % 4 == 0;
}

bool isOnX11() { return std::string_view(SDL_GetCurrentVideoDriver()) == "x11"; }

void prepareSDL(const std::string &wayOut) {
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
    SDL_SetHint(SDL_HINT_APP_NAME, "lumivera");
    // Otherwise SDL asks for the desktop's compositing to be turned off, and minimises a
    // full-screen window that loses the focus.
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    SDL_SetHint(SDL_HINT_VIDEO_MINIMIZE_ON_FOCUS_LOSS, "0");
    // Otherwise SDL drops the click that gives the window the focus.
    SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");
    // SDL_VIDEODRIVER in the environment has precedence over the hint.
    SDL_SetHint(SDL_HINT_VIDEODRIVER, windowSystems().c_str());
    const char *hint = SDL_GetHint(SDL_HINT_VIDEODRIVER);
    if (!hint || !*hint || SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
        fail("there is no display to open a window on", wayOut);
    }
    // On X11, SDL then shows our pixels from shared memory without converting them.
    if (isOnX11()) {
        SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
    }
}

std::uint32_t x11WindowOf(SDL_Window *window) {
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    return SDL_GetWindowWMInfo(window, &info) && info.subsystem == SDL_SYSWM_X11
               ? static_cast<std::uint32_t>(info.info.x11.window)
               : 0;
}

/// The Latin letter that a US keyboard has on a key which types another script.
std::int32_t latinLetterOf(const SDL_Keysym &key) {
    const bool isLetter = key.scancode >= SDL_SCANCODE_A && key.scancode <= SDL_SCANCODE_Z;
    const bool isOtherScript = key.sym > SDLK_DELETE && (key.sym & SDLK_SCANCODE_MASK) == 0;
    return isLetter && isOtherScript ? SDLK_a + (key.scancode - SDL_SCANCODE_A) : SDLK_UNKNOWN;
}

} // namespace

SDLWindow::SDLWindow(CGSize size, std::optional<CGFloat> density, const std::string &title,
                     const std::string &wayOut)
    : _wantedDensity(density), _serveEvents([this] { serveEvents(); }) {
    prepareSDL(wayOut);
    _wakeEvent = SDL_RegisterEvents(1);
    watchOnX11();
    openWindow(size, title, wayOut);
}

SDLWindow::~SDLWindow() {
    _serveEvents.cancel();
    letWakeUpsArrive();
    SDL_DestroyWindow(_window);
    SDL_QuitSubSystem(SDL_INIT_VIDEO); // sound ends by itself
}

/// A screen without 24-bit colours cannot be watched; SDL converts pixels for it.
void SDLWindow::watchOnX11() {
    if (!isOnX11()) {
        return;
    }
    try {
        _x11 = std::make_unique<X11WindowWatch>([this] { tellVisibility(); });
        _wantedDensity = _wantedDensity ? _wantedDensity : _x11->density();
    } catch (const HostError &) {
    }
}

/// SDL wakes itself through a second connection to the X server. Wake-ups that it has sent must be
/// handled before the window is destroyed, or the server's error ends the process. Every turn waits
/// a little and makes a round trip.
void SDLWindow::letWakeUpsArrive() const {
    SDL_HideWindow(_window);
    for (int turn = 0; turn < kEndingTurns; ++turn) {
        SDL_Delay(kEndingTurnMilliseconds);
        SDL_Rect answer;
        SDL_GetDisplayUsableBounds(0, &answer);
    }
}

/// On Wayland the density is known only once there is a window. On X11 the window is shown after
/// its class was set.
void SDLWindow::openWindow(CGSize size, const std::string &title, const std::string &wayOut) {
    const auto units = [](CGFloat length) {
        return static_cast<int>(std::clamp<CGFloat>(std::round(length), 1, CGImage::kMaxSide));
    };
    const CGFloat expected = _wantedDensity.value_or(1);
    _window = SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                               units(size.width * expected), units(size.height * expected),
                               SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI |
                                   (_x11 ? SDL_WINDOW_HIDDEN : SDL_WINDOW_SHOWN));
    if (!_window) {
        fail("a window cannot be opened", wayOut);
    }
    const CGFloat perUnit = pixelsPerUnit();
    if (_wantedDensity && perUnit != 1) {
        SDL_SetWindowSize(_window, units(size.width * expected / perUnit),
                          units(size.height * expected / perUnit));
    }
    if (_x11) {
        _x11->watch(x11WindowOf(_window));
        SDL_ShowWindow(_window);
    }
}

CGSize SDLWindow::size() const {
    int width = 0;
    int height = 0;
    SDL_GetWindowSizeInPixels(_window, &width, &height);
    return {std::max(width, 1) / density(), std::max(height, 1) / density()};
}

CGFloat SDLWindow::density() const { return _wantedDensity.value_or(pixelsPerUnit()); }

CGFloat SDLWindow::pixelsPerUnit() const {
    int pixels = 0;
    int units = 0;
    SDL_GetWindowSizeInPixels(_window, &pixels, nullptr);
    SDL_GetWindowSize(_window, &units, nullptr);
    return pixels > 0 && units > 0 ? static_cast<CGFloat>(pixels) / units : 1;
}

bool SDLWindow::isVisible() const {
    return (SDL_GetWindowFlags(_window) & (SDL_WINDOW_HIDDEN | SDL_WINDOW_MINIMIZED)) == 0 &&
           !(_x11 && _x11->isObscured());
}

void SDLWindow::present(const Drawing &draw) {
    SDL_Surface *surface = SDL_GetWindowSurface(_window);
    if (!surface || surface->w < 1 || surface->h < 1 || SDL_LockSurface(surface) != 0) {
        return;
    }
    if (isOurFormat(*surface)) {
        show(drawInto(static_cast<std::uint32_t *>(surface->pixels), *surface,
                      static_cast<std::size_t>(surface->pitch / 4), draw));
    } else {
        const auto width = static_cast<std::size_t>(surface->w);
        _pixels.resize(width * static_cast<std::size_t>(surface->h));
        show(drawInto(_pixels.data(), *surface, width, draw));
        SDL_ConvertPixels(surface->w, surface->h, SDL_PIXELFORMAT_ARGB8888, _pixels.data(),
                          surface->w * 4, surface->format->format, surface->pixels, surface->pitch);
    }
    SDL_UnlockSurface(surface);
    SDL_UpdateWindowSurfaceRects(_window, _shown.data(), static_cast<int>(_shown.size()));
}

/// The surface holds the last picture as long as it is the same memory of the same size.
const std::vector<DeviceRect> &SDLWindow::drawInto(std::uint32_t *pixels,
                                                   const SDL_Surface &surface, std::size_t stride,
                                                   const Drawing &draw) {
    CompositorTarget target{pixels, static_cast<std::size_t>(surface.w),
                            static_cast<std::size_t>(surface.h), stride};
    const bool isKept = target.pixels == _drawn.pixels && target.width == _drawn.width &&
                        target.height == _drawn.height && target.stride == _drawn.stride;
    _drawn = target;
    target.age = isKept ? 1 : 0;
    return draw(target);
}

void SDLWindow::show(const std::vector<DeviceRect> &rects) {
    _shown.clear();
    for (const DeviceRect &rect : rects) {
        _shown.push_back({rect.left, rect.top, rect.width(), rect.height()});
    }
}

void SDLWindow::setTitle(const std::string &title) { SDL_SetWindowTitle(_window, title.c_str()); }

void SDLWindow::toggleFullScreen() {
    const bool isFull = (SDL_GetWindowFlags(_window) & SDL_WINDOW_FULLSCREEN_DESKTOP) != 0;
    SDL_SetWindowFullscreen(_window, isFull ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
    _drawn = {};
}

/// Other threads may hold the tree lock now, so events are served later, in a call-out.
void SDLWindow::wait(Clock::Nanoseconds nanoseconds) {
    SDL_Event event;
    const bool hasEvent = SDL_WaitEventTimeout(&event, millisecondsFrom(nanoseconds)) != 0;
    if (_x11) {
        _x11->look();
    }
    if (!hasEvent) {
        return;
    }
    const bool hadEvents = !_events.empty();
    do {
        note(event);
    } while (SDL_PollEvent(&event) != 0);
    if (!hadEvents && !_events.empty()) {
        _serveEvents.callAfter(0);
    }
}

void SDLWindow::wake() {
    if (_isWakePending.exchange(true)) {
        return;
    }
    SDL_Event event{};
    event.type = _wakeEvent;
    if (SDL_PushEvent(&event) != 1) {
        _isWakePending = false;
    }
}

void SDLWindow::note(const SDL_Event &event) {
    if (event.type == _wakeEvent) {
        _isWakePending = false;
        return;
    }
    if (event.type == SDL_WINDOWEVENT) {
        _drawn = {}; // SDL may have made a new surface at the same address
    }
    _events.push_back(event);
}

void SDLWindow::serveEvents() {
    std::vector<SDL_Event> events;
    events.swap(_events);
    for (const SDL_Event &event : events) {
        if (_listener) {
            serve(event);
        }
    }
}

void SDLWindow::serve(const SDL_Event &event) {
    switch (event.type) {
    case SDL_QUIT:
        _listener->windowClosed();
        break;
    case SDL_WINDOWEVENT:
        serveWindowEvent(event.window.event);
        break;
    case SDL_KEYDOWN:
        _isKeyRepeated = event.key.repeat != 0;
        _isKeyServed = serveKey(event.key.keysym.sym) || serveKey(latinLetterOf(event.key.keysym));
        break;
    case SDL_TEXTINPUT: // a character typed with Shift, such as + on some keyboards
        if (!_isKeyServed && event.text.text[0] > 0 && event.text.text[1] == '\0') {
            serveKey(event.text.text[0]);
        }
        break;
    case SDL_MOUSEBUTTONDOWN:
        if (event.button.button == SDL_BUTTON_LEFT) {
            _pointer.pressed(pointAt(event.button.x, event.button.y));
        }
        break;
    case SDL_MOUSEMOTION:
        _pointer.moved(pointAt(event.motion.x, event.motion.y), *_listener);
        break;
    case SDL_MOUSEBUTTONUP:
        if (event.button.button == SDL_BUTTON_LEFT) {
            _pointer.released(pointAt(event.button.x, event.button.y), *_listener);
        }
        break;
    case SDL_MOUSEWHEEL:
        serveWheel(event.wheel.x, event.wheel.y);
        break;
    default:
        break;
    }
}

void SDLWindow::serveWheel(int right, int up) {
    if (right != 0) {
        _listener->scrolledBy(-kPointsPerWheelStep * right);
        _listener->scrollingEnded();
    }
    if (up != 0) {
        _listener->scrolledDownBy(kPointsPerTurn * up);
    }
}

void SDLWindow::serveWindowEvent(std::uint8_t kind) {
    switch (kind) {
    case SDL_WINDOWEVENT_SIZE_CHANGED:
        _listener->windowResized();
        break;
    case SDL_WINDOWEVENT_SHOWN:
    case SDL_WINDOWEVENT_HIDDEN:
    case SDL_WINDOWEVENT_MINIMIZED:
    case SDL_WINDOWEVENT_MAXIMIZED:
    case SDL_WINDOWEVENT_RESTORED:
        tellVisibility();
        break;
    case SDL_WINDOWEVENT_EXPOSED:
        if (_x11) {
            _x11->noteExposed();
        }
        _listener->windowNeedsPicture();
        break;
    case SDL_WINDOWEVENT_CLOSE:
        _listener->windowClosed();
        break;
    default:
        break;
    }
}

/// SDL reports more than changes: a window that is shown, for example, was visible before.
void SDLWindow::tellVisibility() {
    const bool isNowVisible = isVisible();
    if (std::exchange(_wasVisible, isNowVisible) != isNowVisible && _listener) {
        _listener->windowVisibilityChanged();
    }
}

/// False for a key without a function.
bool SDLWindow::serveKey(std::int32_t key) {
    static constexpr struct {
        std::int32_t key;
        WindowKey meaning;
    } kKeys[] = {
        {SDLK_SPACE, WindowKey::Pause},
        {SDLK_PLUS, WindowKey::MorePetals},
        {SDLK_EQUALS, WindowKey::MorePetals},
        {SDLK_KP_PLUS, WindowKey::MorePetals},
        {SDLK_MINUS, WindowKey::FewerPetals},
        {SDLK_KP_MINUS, WindowKey::FewerPetals},
        {SDLK_UP, WindowKey::Up},
        {SDLK_DOWN, WindowKey::Down},
        {SDLK_LEFT, WindowKey::Left},
        {SDLK_RIGHT, WindowKey::Right},
        {SDLK_PAGEUP, WindowKey::PageUp},
        {SDLK_PAGEDOWN, WindowKey::PageDown},
        {SDLK_HOME, WindowKey::First},
        {SDLK_END, WindowKey::Last},
        {SDLK_RETURN, WindowKey::Use},
        {SDLK_KP_ENTER, WindowKey::Use},
        {SDLK_s, WindowKey::Screenshot},
        {SDLK_f, WindowKey::FullScreen},
        {SDLK_F11, WindowKey::FullScreen},
        {SDLK_q, WindowKey::Quit},
        {SDLK_ESCAPE, WindowKey::Quit},
    };
    const auto *const known = std::find_if(std::begin(kKeys), std::end(kKeys),
                                           [key](const auto &entry) { return entry.key == key; });
    if (known == std::end(kKeys)) {
        return false;
    }
    if (!_isKeyRepeated || asksWhileHeld(known->meaning)) {
        _listener->keyPressed(known->meaning);
    }
    return true;
}

CGPoint SDLWindow::pointAt(int x, int y) const {
    const CGFloat points = pixelsPerUnit() / density();
    return {x * points, y * points};
}

} // namespace Lumivera
