#pragma once

#include "Host/Displays/PointerGestures.h"
#include "Host/Displays/Window.h"
#include "Host/Support/DeferredCall.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

struct SDL_Surface;
struct SDL_Window;
struct SDL_Rect;
union SDL_Event;

namespace Lumivera {

class X11WindowWatch;

/// A resizable window on X11 or Wayland, through SDL.
class SDLWindow final : public Window {
  public:
    /// `size` in points; without a density the window system's is taken. A HostError when there is
    /// no display to open a window on; `wayOut` tells the user what to do then. Only one
    /// may exist at a time.
    SDLWindow(CGSize size, std::optional<CGFloat> density, const std::string &title,
              const std::string &wayOut);
    ~SDLWindow() override;

    void setListener(Listener *listener) override { _listener = listener; }
    CGSize size() const override;
    CGFloat density() const override;
    bool isVisible() const override;
    void present(const Drawing &draw) override;
    void setTitle(const std::string &title) override;
    void toggleFullScreen() override;

    void wait(Clock::Nanoseconds nanoseconds) override;
    void wake() override;

  private:
    void watchOnX11();
    void letWakeUpsArrive() const;
    void openWindow(CGSize size, const std::string &title, const std::string &wayOut);
    const std::vector<DeviceRect> &drawInto(std::uint32_t *pixels, const SDL_Surface &surface,
                                            std::size_t stride, const Drawing &draw);
    void show(const std::vector<DeviceRect> &rects);
    void note(const SDL_Event &event);
    void serveEvents();
    void serve(const SDL_Event &event);
    void serveWheel(int right, int up);
    void serveWindowEvent(std::uint8_t kind);
    void tellVisibility();
    bool serveKey(std::int32_t key);
    CGFloat pixelsPerUnit() const;
    CGPoint pointAt(int x, int y) const;

    /// Null where the window is not on an X11 screen.
    std::unique_ptr<X11WindowWatch> _x11;
    SDL_Window *_window = nullptr;
    std::optional<CGFloat> _wantedDensity;
    Listener *_listener = nullptr;
    PointerGestures _pointer;
    CompositorTarget _drawn;
    std::vector<SDL_Rect> _shown;
    std::vector<SDL_Event> _events;
    DeferredCall _serveEvents;
    std::vector<std::uint32_t> _pixels;
    std::uint32_t _wakeEvent = 0;
    bool _wasVisible = true;
    std::atomic<bool> _isWakePending{false};

    /// Whether the last key event was a repetition of a held key, and whether the key has a
    /// function.
    bool _isKeyRepeated = false;
    bool _isKeyServed = false;
};

} // namespace Lumivera
