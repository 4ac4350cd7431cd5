#pragma once

#include <ostream>
#include <string>
#include <vector>

/// One of the desktops that the tests start: how to start it, and what it can do. Commands are
/// lines for the shell that run in the session. $PICTURE is the file of the person's own wallpaper,
/// $COLOUR its only colour as #rrggbb.
struct DesktopKind {
    std::string name = {};

    /// What must be installed.
    std::vector<std::string> programs = {};

    /// Of the whole session, as NAME=VALUE.
    std::vector<std::string> environment = {};

    /// Runs before the session and gives it the person's settings.
    std::string preparation = {};

    /// The session itself. `wait_for_manager` waits for the window manager.
    std::string session = {};

    /// Runs when the window manager is there.
    std::string afterwards = {};

    /// Prints what programs of the session have besides in their environment, as NAME=VALUE, one a
    /// line.
    std::string laterEnvironment = {};

    /// Prints the desktop's own settings of its wallpaper.
    std::string setting = {};

    /// The process that draws the icons; empty for a desktop without icons.
    std::string fileManager = {};

    /// Starts that again; empty where the session does so itself.
    std::string restart = {};

    /// Shows workspace $1, counted from 0; empty where the usual request to the window manager
    /// does so.
    std::string switchWorkspace = {};

    /// Gives the only window all of the work area, where the usual request does not.
    std::string maximize = {};

    /// What the session starts beside its parts: entries of /etc/xdg/autostart that begin so.
    std::string helpers = {};

    /// Whether a panel keeps windows from a part of the screen.
    bool hasPanel = true;

    /// Whether it is a Wayland compositor in a window that fills the screen.
    bool isNested = false;

    /// Whether it takes long for everything without a GPU.
    bool isSlow = false;

    /// Whether the session needs somebody who speaks for the login manager.
    bool needsLoginManager = false;

    /// Whether a right click beside the icons opens a menu.
    bool hasMenu = true;

    bool drawsIcons() const { return !fileManager.empty(); }
};

/// The desktop of that name: Xfce, MATE, Cinnamon, LXDE, LXQt, Flashback, GNOME, Plasma, i3, bspwm,
/// awesome, IceWM, Fluxbox, Openbox, FVWM3, Sway, phoc or Phosh; GNOMEOnX11 and GNOMEOnWayland have
/// Lumivera's extension, PlasmaOnX11 and PlasmaOnWayland its plug-in.
DesktopKind desktopKind(const std::string &name);

/// For messages about failed tests.
inline void PrintTo(const DesktopKind &kind, std::ostream *out) { *out << kind.name; }
