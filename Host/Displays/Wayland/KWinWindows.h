#pragma once

#include "Host/Displays/Wayland/WaylandWindows.h"
#include "Platform/Compositor/DeviceRect.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct org_kde_plasma_window;
struct org_kde_plasma_window_management;

namespace Lumivera {

/// The windows of all programs with their places, as KWin tells programs whose desktop entry asks
/// for that. It does not tell which virtual desktop and which activity are shown, so only windows
/// beside the active one are known to be visible. Windows count as opaque. Main thread.
class KWinWindows final : public WaylandWindows {
  public:
    /// The oldest version that names windows as this class asks for them, and the newest that it
    /// knows.
    static constexpr std::uint32_t kOldestVersion = 13;
    static constexpr std::uint32_t kNewestVersion = 16;

    KWinWindows() = default;
    ~KWinWindows();

    KWinWindows(const KWinWindows &) = delete;
    KWinWindows &operator=(const KWinWindows &) = delete;

    /// Owns the manager, which reports the windows.
    void follow(org_kde_plasma_window_management *manager);

    std::optional<WaylandCover> coverOf(const WaylandOutput &output,
                                        std::optional<WaylandSize> free) const override;

  private:
    struct Events;

    struct Window {
        KWinWindows *owner;
        org_kde_plasma_window *handle;
        std::uint32_t states = 0; ///< as the protocol counts
        DeviceRect area;          ///< with its frame, in points

        /// None means all.
        std::vector<std::string> desktops;
        std::vector<std::string> activities;

        /// Whether everything was told that KWin knew when the window appeared.
        bool isKnown = false;
    };

    static bool is(const Window &window, std::uint32_t state);

    /// Whether the window is certainly shown when the active one is.
    static bool isShownBeside(const Window &active, const Window &window);
    static bool isDesktopOn(const DeviceRect &output, const Window &window);
    static SurfaceVisibility visibilityUnder(const std::vector<const Window *> &windows,
                                             const DeviceRect &output);

    const Window *activeWindow() const;
    SurfaceVisibility visibilityOf(const DeviceRect &output) const;
    void clear();
    void remove(const Window &window);

    org_kde_plasma_window_management *_manager = nullptr;
    std::vector<std::unique_ptr<Window>> _windows;

    /// Whether the user has put all windows aside.
    bool _isDesktopShown = false;
};

} // namespace Lumivera
