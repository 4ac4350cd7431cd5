#pragma once

#include "Tests/Host/Desktops/DesktopKind.h"
#include "Tests/Host/Desktops/DesktopScreen.h"
#include "Tests/Host/Desktops/Enclosure.h"
#include "Tests/Host/Programs/VirtualScreen.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <optional>
#include <string>
#include <vector>

/// A desktop of a person, started for real on a virtual screen: an own home with three things on
/// the desktop (a text file, a folder and a link), an own wallpaper of one colour, and an own
/// message bus. Lumivera is installed there. Everything ends and goes away with the object.
class RealDesktop {
  public:
    /// The only colour of the person's own wallpaper.
    static constexpr std::uint32_t kColour = 0xFF3A6EA5;

    static constexpr int kThingsOnTheDesktop = 3;

    explicit RealDesktop(const DesktopKind &kind);
    ~RealDesktop();

    /// Why the desktop did not come up; empty when it did.
    const std::string &problem() const { return _problem; }

    const DesktopKind &kind() const { return _kind; }
    DesktopScreen &screen() { return *_screen; }
    const Enclosure &session() const { return *_enclosure; }

    /// A place without windows and icons.
    ScreenPoint emptyPlace();

    /// Where the desktop shows what lies on it, found on the person's own wallpaper.
    std::vector<ScreenRect> findIcons();

    /// The same, as found when the desktop came up.
    const std::vector<ScreenRect> &icons() const { return _icons; }

    /// The icon of the text file, once a test has found it.
    const std::optional<ScreenRect> &textFile() const { return _textFile; }
    void setTextFile(const ScreenRect &icon) { _textFile = icon; }

    /// What the screen showed when the desktop came up.
    const ScreenPicture &firstPicture() const { return _firstPicture; }

    const VirtualScreen &server() const { return _server; }

    /// Where the driver of the touch screen listens.
    std::string touchSocket() const { return _folder.pathOf("touch"); }

    /// Waits until the screen no longer changes; false when it never stops.
    bool comesToRest();

    /// The desktop's own settings of its wallpaper.
    std::string setting() const { return session().shell(_kind.setting).output; }

    /// How often the person's text editor was started, and with what.
    std::string openedFiles() const;
    void forgetOpenedFiles() const;

    /// Starts a program in the session; its process.
    pid_t start(const std::vector<std::string> &arguments);

    /// Starts Lumivera in the session with an empty log; its process.
    pid_t startLumivera(const std::vector<std::string> &arguments);

    /// The end of what the session has printed.
    std::string log() const { return endOf("session.log"); }

    std::string folder() const { return _folder.path(); }

    /// Writes a picture of the screen into the build folder.
    void photograph(const std::string &step);

    /// Writes Lumivera's status and log, and the windows, into a text file beside the pictures.
    void describe(const std::string &step) const;

    /// Removes those of an earlier run whose steps begin so.
    void removePhotographs(const std::string &step) const;

  private:
    void install();
    void makeHome();
    void hideForeignPrograms() const;
    void startBuses();
    void startSession();
    bool waitUntilReady();
    bool waitUntilCompositorIsReady();
    void addLaterEnvironment();
    bool isReady();
    std::string endOf(const std::string &log) const;
    std::vector<std::string> environment() const;
    void write(const std::string &name, const std::string &text, int mode = 0644) const;

    const DesktopKind _kind;
    TemporaryFolder _folder;
    VirtualScreen _server;
    std::optional<Enclosure> _enclosure;
    std::optional<DesktopScreen> _screen;
    std::vector<ScreenRect> _icons;
    std::optional<ScreenRect> _textFile;
    ScreenPicture _firstPicture;
    std::string _problem;
};
