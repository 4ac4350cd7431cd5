#include "Tests/Host/Desktops/DesktopKind.h"

#include <stdexcept>

namespace {

/// The settings of GNOME and of the desktops that descend from it: where each keeps its wallpaper.
std::string setByGSettings(const std::string &schema, const std::string &key,
                           const std::string &value) {
    return "gsettings set " + schema + " " + key + " " + value + "\n";
}

DesktopKind xfce() {
    return {
        .name = "Xfce",
        .programs = {"xfce4-session", "xfwm4", "xfdesktop", "xfce4-panel", "xfconf-query",
                     "thunar"},
        .environment = {"XDG_CURRENT_DESKTOP=XFCE", "DESKTOP_SESSION=xfce"},
        .preparation = R"(
folder=$HOME/.config/xfce4/xfconf/xfce-perchannel-xml
mkdir -p "$folder"
cat >"$folder/xfce4-desktop.xml" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-desktop" version="1.0">
  <property name="backdrop" type="empty">
    <property name="screen0" type="empty">
      <property name="monitorDUMMY0" type="empty">
$(for workspace in 0 1 2 3; do cat <<WORKSPACE
        <property name="workspace$workspace" type="empty">
          <property name="image-style" type="int" value="5"/>
          <property name="last-image" type="string" value="$PICTURE"/>
        </property>
WORKSPACE
done)
      </property>
    </property>
  </property>
</channel>
XML
)",
        .session = "exec xfce4-session",
        .setting = "xfconf-query -c xfce4-desktop -lv | grep -v /last/ | sort",
        .fileManager = "xfdesktop",
        .helpers = "xfsettingsd",
    };
}

DesktopKind mate() {
    return {
        .name = "MATE",
        .programs = {"mate-session", "marco", "caja", "mate-panel", "gsettings"},
        .environment = {"XDG_CURRENT_DESKTOP=MATE", "DESKTOP_SESSION=mate",
                        "XDG_MENU_PREFIX=mate-"},
        .preparation = setByGSettings("org.mate.background", "picture-filename", "\"$PICTURE\"") +
                       setByGSettings("org.mate.background", "picture-options", "stretched"),
        .session = "exec mate-session --disable-acceleration-check",
        .setting = "gsettings list-recursively org.mate.background | sort",
        .fileManager = "caja",
        .helpers = "mate-settings-daemon",
    };
}

DesktopKind cinnamon() {
    const std::string schema = "org.cinnamon.desktop.background";
    return {
        .name = "Cinnamon",
        .programs = {"cinnamon-session", "cinnamon", "nemo-desktop", "gsettings"},
        .environment = {"XDG_CURRENT_DESKTOP=X-Cinnamon", "DESKTOP_SESSION=cinnamon"},
        .preparation =
            setByGSettings(schema, "picture-uri", "\"file://$PICTURE\"") +
            setByGSettings(schema, "picture-options", "stretched") +
            setByGSettings("org.cinnamon.desktop.notifications", "display-notifications", "false"),
        .session = "exec cinnamon-session --session cinnamon",
        .setting = "gsettings list-recursively " + schema + " | sort",
        .fileManager = "nemo-desktop",
        .helpers = "cinnamon-settings-daemon",
        .isSlow = true,
    };
}

DesktopKind lxde() {
    return {
        .name = "LXDE",
        .programs = {"openbox", "pcmanfm", "lxpanel"},
        .environment = {"XDG_CURRENT_DESKTOP=LXDE", "DESKTOP_SESSION=LXDE",
                        "XDG_MENU_PREFIX=lxde-"},
        .preparation = R"(
mkdir -p "$HOME/.config/pcmanfm/default"
printf '[*]\nwallpaper_mode=stretch\nwallpaper=%s\n' "$PICTURE" \
    >"$HOME/.config/pcmanfm/default/desktop-items-0.conf"
)",
        .session = R"(
openbox &
wait_for_manager
pcmanfm --desktop --profile default &
lxpanel --profile default &
wait
)",
        .setting = "grep -h ^wallpaper $HOME/.config/pcmanfm/default/desktop-items-*.conf",
        .fileManager = "pcmanfm",
        .restart = "exec pcmanfm --desktop --profile default",
    };
}

DesktopKind lxqt() {
    return {
        .name = "LXQt",
        .programs = {"openbox", "pcmanfm-qt", "lxqt-panel"},
        .environment = {"XDG_CURRENT_DESKTOP=LXQt", "DESKTOP_SESSION=lxqt", "XDG_MENU_PREFIX=lxqt-",
                        "QT_QPA_PLATFORMTHEME=lxqt"},
        .preparation = R"(
mkdir -p "$HOME/.config/pcmanfm-qt/lxqt" "$HOME/.config/lxqt"
printf '[General]\nicon_theme=Adwaita\n' >"$HOME/.config/lxqt/lxqt.conf"
printf '[Desktop]\nWallpaper=%s\nWallpaperMode=stretch\n' "$PICTURE" \
    >"$HOME/.config/pcmanfm-qt/lxqt/settings.conf"
)",
        .session = R"(
openbox &
wait_for_manager
pcmanfm-qt --desktop --profile=lxqt &
lxqt-panel &
wait
)",
        .setting = "grep -i ^wallpaper $HOME/.config/pcmanfm-qt/lxqt/settings.conf | sort",
        .fileManager = "pcmanfm-qt",
        .restart = "exec pcmanfm-qt --desktop --profile=lxqt",
    };
}

std::string gnomeWallpaper() {
    const std::string schema = "org.gnome.desktop.background";
    return setByGSettings(schema, "picture-uri", "\"file://$PICTURE\"") +
           setByGSettings(schema, "picture-uri-dark", "\"file://$PICTURE\"") +
           setByGSettings(schema, "picture-options", "stretched");
}

DesktopKind flashback() {
    return {
        .name = "Flashback",
        .programs = {"gnome-flashback", "metacity", "gsettings"},
        .environment = {"XDG_CURRENT_DESKTOP=GNOME-Flashback:GNOME",
                        "DESKTOP_SESSION=gnome-flashback-metacity"},
        .preparation = gnomeWallpaper(),
        .session = R"(
metacity &
wait_for_manager
gnome-flashback &
wait
)",
        .setting = "gsettings list-recursively org.gnome.desktop.background | sort",
        .fileManager = "gnome-flashback",
        .restart = "exec gnome-flashback",
        .hasPanel = false,
        .needsLoginManager = true,
    };
}

DesktopKind gnome() {
    return {
        .name = "GNOME",
        .programs = {"gnome-shell", "gsettings", "gjs"},
        .environment = {"XDG_CURRENT_DESKTOP=GNOME", "DESKTOP_SESSION=gnome-xorg"},
        .preparation = gnomeWallpaper() +
                       "gsettings set org.gnome.shell enabled-extensions "
                       "\"['ding@rastersoft.com']\"\n" +
                       "gsettings set org.gnome.shell welcome-dialog-last-shown-version 99\n" +
                       setByGSettings("org.gnome.desktop.notifications", "show-banners", "false"),
        .session = "exec gnome-shell --x11",
        // The session begins with the overview.
        .afterwards = R"(
until gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
    --method org.freedesktop.DBus.Properties.Set org.gnome.Shell OverviewActive '<false>'; do
    sleep 0.2
done
)",
        .setting = "gsettings list-recursively org.gnome.desktop.background | sort",
        .fileManager = "ding.js",
        .isSlow = true,
        .needsLoginManager = true,
    };
}

/// With Lumivera's extension, and a shell that evaluates what tests ask.
DesktopKind gnomeOnX11() {
    DesktopKind kind = gnome();
    kind.name = "GNOMEOnX11";
    kind.preparation += R"sh(
mkdir -p "$HOME/.local/share/gnome-shell"
cp -r "$(dirname "$(command -v lumivera)")/../share/gnome-shell/extensions" \
    "$HOME/.local/share/gnome-shell/"
gsettings set org.gnome.shell enabled-extensions "['ding@rastersoft.com', 'lumivera@lumivera.app']"
)sh";
    kind.session = "exec gnome-shell --x11 --unsafe-mode";
    return kind;
}

/// In a window that fills the X server's screen. The server has no window manager, so the session
/// says in its place where the panel ends.
DesktopKind gnomeOnWayland() {
    DesktopKind kind = gnomeOnX11();
    kind.name = "GNOMEOnWayland";
    kind.programs.insert(kind.programs.end(), {"Xwayland", "xprop"});
    kind.environment = {"XDG_CURRENT_DESKTOP=GNOME", "DESKTOP_SESSION=gnome",
                        "XDG_SESSION_TYPE=wayland", "MUTTER_DEBUG_DUMMY_MODE_SPECS=1280x800"};
    kind.session = R"sh(
gnome-shell --nested --unsafe-mode --wayland-display=wayland-test &
until gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
    --method org.gnome.Shell.Eval Main.layoutManager.panelBox.height; do
    sleep 0.2
done
xprop -root -f _NET_WORKAREA 32c -set _NET_WORKAREA "0, 32, 1280, 768"
xprop -root -f _NET_SUPPORTING_WM_CHECK 32x -set _NET_SUPPORTING_WM_CHECK 0x1
wait
)sh";
    kind.laterEnvironment = R"sh(
for name in DISPLAY XAUTHORITY WAYLAND_DISPLAY; do
    echo "$name=$(gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
        --method org.gnome.Shell.Eval "imports.gi.GLib.getenv('$name')" | cut -d'"' -f2)"
done
)sh";
    return kind;
}

DesktopKind plasma() {
    return {
        .name = "Plasma",
        .programs = {"kwin_x11", "plasmashell", "kded5", "gdbus"},
        .environment = {"XDG_CURRENT_DESKTOP=KDE", "DESKTOP_SESSION=plasma",
                        "KDE_FULL_SESSION=true", "KDE_SESSION_VERSION=5",
                        "QT_QUICK_BACKEND=software", "KWIN_COMPOSE=O2"},
        .preparation = R"(
mkdir -p "$HOME/.config"
printf '[Desktops]\nNumber=2\nRows=1\n' >"$HOME/.config/kwinrc"
)",
        .session = R"(
kded5 &
kwin_x11 &
wait_for_manager
plasmashell --no-respawn &
wait
)",
        .afterwards = R"(
until gdbus call --session --dest org.kde.plasmashell --object-path /PlasmaShell \
    --method org.kde.PlasmaShell.evaluateScript "
        for (const desktop of desktops()) {
            desktop.wallpaperPlugin = 'org.kde.image'
            desktop.currentConfigGroup = ['Wallpaper', 'org.kde.image', 'General']
            desktop.writeConfig('Image', 'file://$PICTURE')
        }"; do
    sleep 0.2
done
)",
        .setting = "grep -A5 'Wallpaper' $HOME/.config/plasma-org.kde.plasma.desktop-appletsrc",
        .fileManager = "plasmashell",
        .restart = "exec plasmashell --no-respawn",
        .isSlow = true,
    };
}

/// Where Plasma finds Lumivera's plug-in.
constexpr const char *kWithPlugin = R"sh(
prefix=$(dirname "$(dirname "$(command -v lumivera)")")
export QML2_IMPORT_PATH=$(echo "$prefix"/lib/*/qt5/qml) XDG_DATA_DIRS=$prefix/share:$XDG_DATA_DIRS
)sh";

DesktopKind plasmaOnX11() {
    DesktopKind kind = plasma();
    kind.name = "PlasmaOnX11";
    kind.session = kWithPlugin + kind.session;
    kind.restart = kWithPlugin + kind.restart;
    return kind;
}

/// In a window that fills the X server's screen. The server has no window manager, so the session
/// says in its place where the panel begins. A copy of the compositor has no privileges, which an
/// enclosure refuses.
DesktopKind plasmaOnWayland() {
    DesktopKind kind = plasma();
    kind.name = "PlasmaOnWayland";
    kind.programs.insert(kind.programs.end(), {"kwin_wayland", "gjs", "xprop"});
    kind.environment.insert(kind.environment.end(),
                            {"XDG_SESSION_TYPE=wayland", "WAYLAND_DISPLAY=wayland-test"});
    kind.session = kWithPlugin + std::string(R"sh(
cp "$(command -v kwin_wayland)" "$HOME/bin/kwin_wayland"
env -u WAYLAND_DISPLAY "$HOME/bin/kwin_wayland" --socket wayland-test --x11-display "$DISPLAY" \
    --width 1280 --height 800 &
until [ -S "$XDG_RUNTIME_DIR/wayland-test" ]; do
    sleep 0.2
done
xprop -root -f _NET_WORKAREA 32c -set _NET_WORKAREA "0, 0, 1280, 756"
xprop -root -f _NET_SUPPORTING_WM_CHECK 32x -set _NET_SUPPORTING_WM_CHECK 0x1
export QT_QPA_PLATFORM=wayland
kded5 &
plasmashell --no-respawn &
wait
)sh");
    kind.restart = kWithPlugin + std::string("export QT_QPA_PLATFORM=wayland\n") + kind.restart;
    return kind;
}

/// A window manager without icons. The person's wallpaper is the root window's.
DesktopKind manager(const std::string &name, const std::string &program,
                    const std::string &preparation = "") {
    return {
        .name = name,
        .programs = {program, "xsetroot"},
        .environment = {"XDG_CURRENT_DESKTOP=" + name, "DESKTOP_SESSION=" + name},
        .preparation = preparation,
        .session = "exec " + program,
        .afterwards = "xsetroot -solid \"$COLOUR\"",
        .setting = "xprop -root _XROOTPMAP_ID",
        .hasPanel = false,
    };
}

DesktopKind i3() {
    DesktopKind kind = manager("i3", "i3", R"(
mkdir -p "$HOME/.config/i3"
sed 's/^exec.*//' /etc/i3/config >"$HOME/.config/i3/config"
)");
    kind.switchWorkspace = "i3-msg workspace number $(($1 + 1))";
    kind.hasMenu = false;
    return kind;
}

DesktopKind bspwm() {
    DesktopKind kind = manager("bspwm", "bspwm", R"(
mkdir -p "$HOME/.config/bspwm"
cat >"$HOME/.config/bspwm/bspwmrc" <<'RC'
#!/bin/sh
bspc monitor -d 1 2 3 4
bspc config gapless_monocle true
bspc config borderless_monocle true
RC
chmod 755 "$HOME/.config/bspwm/bspwmrc"
)");
    kind.maximize = "bspc desktop --layout monocle";
    kind.hasMenu = false;
    return kind;
}

DesktopKind fluxbox() {
    return manager("Fluxbox", "fluxbox", R"(
mkdir -p "$HOME/.fluxbox"
echo 'background: none' >"$HOME/.fluxbox/overlay"
)");
}

/// A Wayland compositor without icons. `afterwards` gives its socket the name that the environment
/// has.
DesktopKind compositor(const std::string &name, const std::string &current,
                       const std::string &preparation, const std::string &session) {
    return {
        .name = name,
        .programs = {session.substr(0, session.find(' ')), "foot"},
        .environment = {"XDG_CURRENT_DESKTOP=" + current, "XDG_SESSION_TYPE=wayland",
                        "WLR_BACKENDS=x11", "WLR_RENDERER=pixman", "GSK_RENDERER=cairo"},
        .preparation = preparation,
        .session = "exec " + session,
        .afterwards = R"(cd "$XDG_RUNTIME_DIR" && ln -sfn wayland-? desktop)",
        .hasPanel = false,
        .isNested = true,
        .hasMenu = false,
    };
}

DesktopKind sway() {
    DesktopKind kind = compositor("Sway", "sway", R"(
printf 'include /etc/sway/config\noutput * mode 1280x800\n' >"$HOME/sway"
)",
                                  "sway -c $HOME/sway");
    kind.programs.insert(kind.programs.end(), {"swaybg", "swaybar", "swaymsg"});
    return kind;
}

constexpr const char *kPhocConfiguration = R"(
printf '[core]\nxwayland=false\n[output:X11-1]\nmode=1280x800\nscale=1\n' >"$HOME/phoc.ini"
)";

DesktopKind phosh() {
    DesktopKind kind = compositor("Phosh", "Phosh:GNOME", kPhocConfiguration,
                                  "phoc -C $HOME/phoc.ini -E '/usr/libexec/phosh --unlocked'");
    kind.programs.insert(kind.programs.end(), {"/usr/libexec/phosh", "gsettings", "gdbus"});
    kind.needsLoginManager = true;
    return kind;
}

} // namespace

DesktopKind desktopKind(const std::string &name) {
    for (const DesktopKind &kind :
         {xfce(),
          mate(),
          cinnamon(),
          lxde(),
          lxqt(),
          flashback(),
          gnome(),
          gnomeOnX11(),
          gnomeOnWayland(),
          plasma(),
          plasmaOnX11(),
          plasmaOnWayland(),
          i3(),
          bspwm(),
          manager("awesome", "awesome"),
          manager("IceWM", "icewm-session"),
          fluxbox(),
          manager("Openbox", "openbox"),
          manager("FVWM3", "fvwm3"),
          sway(),
          compositor("phoc", "phoc", kPhocConfiguration, "phoc -C $HOME/phoc.ini"),
          phosh()}) {
        if (kind.name == name) {
            return kind;
        }
    }
    throw std::invalid_argument("there is no desktop " + name);
}
