#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// A fake Wayland compositor on its own thread, which shows nothing and does what the test says.
/// Its only client is the next connection that this process makes, or another program's. A call
/// returns when the compositor has done it; the client sees the events when it reads them.
class TestCompositor {
  public:
    struct Options {
        bool hasLayerShell = true;
        bool hasViewporter = true;
        bool hasFractionalScale = true;
        bool hasOutputManager = false;
        bool hasToplevels = true;
        bool hasSeat = true;
        bool isKWins = false;   ///< tells of its windows as KWin does
        bool isPlasmas = false; ///< has the global of Plasma's shell
        bool isPhoshs = false;  ///< has the global that Phosh's compositor has
        unsigned outputVersion = 4;
        unsigned surfaceVersion = 4;
        unsigned seatVersion = 7;
    };

    struct Mode {
        int width = 640;
        int height = 480;
        int scale = 1;
        int transform = 0; ///< as wl_output counts
        int x = 0;         ///< its place among the outputs, in points
        int y = 0;
    };

    /// The state of a layer surface after its last commit.
    struct Surface {
        std::string layerNamespace;
        std::string output;
        unsigned layer = 0;
        unsigned anchor = 0;
        int exclusiveZone = 0;
        bool takesKeys = false;
        bool takesInput = true;
        bool isOpaque = false;
        bool isAcknowledged = false; ///< the last configure event was
        int width = 0;               ///< of the picture, 0 without one
        int height = 0;
        int destinationWidth = 0;
        int destinationHeight = 0;
        int scale = 1;
        std::uint32_t corner = 0; ///< the first pixel
        std::vector<DeviceRect> damage;
        int pictures = 0; ///< commits with one
    };

    struct Toplevel {
        std::vector<std::uint32_t> states; ///< as the protocol counts
        std::string output;
    };

    /// A window as KWin tells it; on all desktops and activities where there are none.
    struct KWinWindow {
        std::uint32_t states = 0; ///< as the protocol counts
        DeviceRect area;
        std::vector<std::string> desktops;
        std::vector<std::string> activities;
    };

    TestCompositor() : TestCompositor(Options()) {}
    explicit TestCompositor(const Options &options);
    ~TestCompositor();

    TestCompositor(const TestCompositor &) = delete;
    TestCompositor &operator=(const TestCompositor &) = delete;

    /// Lets a program connect at this path, which becomes the only client.
    void listenAt(const std::string &path);

    void addOutput(const std::string &name, const Mode &mode);
    void changeOutput(const std::string &name, const Mode &mode);
    void removeOutput(const std::string &name);

    /// Sends the outputs' sizes in points, also of outputs that are added later.
    void setLogicalSize(int width, int height);

    /// The live layer surfaces in the order of their creation.
    std::vector<Surface> surfaces();

    /// The newest layer surface of an output; a default one when there is none.
    Surface surfaceOn(const std::string &output);

    void configure(const std::string &output, unsigned width, unsigned height);
    void close(const std::string &output);
    void preferScale(const std::string &output, unsigned parts);

    /// While frames are withheld, no frame callback is sent; the pending ones follow right
    /// afterwards. While releases are withheld, no buffer is released.
    void withholdFrames(bool isWithheld);
    void withholdReleases(bool isWithheld);

    /// Sends the pending frame callbacks and withholds later ones.
    void sendFrames();

    /// Sends the client a protocol error about the output's layer surface, which ends the
    /// connection.
    void refuse(const std::string &output, unsigned error);

    /// Closes the connection.
    void hangUp();

    /// The capabilities of wl_seat: 1 pointer, 4 touch.
    void setCapabilities(unsigned capabilities);
    void removeSeat();

    void touchDown(const std::string &output, int finger, double x, double y);
    void touchMove(int finger, double x, double y);
    void touchUp(int finger);
    void touchCancel();

    void pointerEnter(const std::string &output, double x, double y);
    void pointerLeave(const std::string &output);
    void pointerMove(double x, double y);
    void pointerButton(unsigned button, bool isPressed);
    void pointerScroll(unsigned source, double distance);
    void pointerStop();

    /// How often the client has set a cursor surface.
    int cursors();

    /// Touch points are numbered from 0.
    void addToplevel();
    void changeToplevel(std::size_t number, const Toplevel &toplevel);
    void closeToplevel(std::size_t number);

    /// KWin's windows are numbered from 0.
    void addKWinWindow(const KWinWindow &window);
    void changeKWinWindow(std::size_t number, const KWinWindow &window);
    void moveKWinWindow(std::size_t number, int x, int y, unsigned width, unsigned height);
    void closeKWinWindow(std::size_t number);
    void showDesktop(bool isShown);

    /// How many of KWin's windows the client watches.
    std::size_t watchedKWinWindows();

    /// Runs several of these calls; all their events arrive together.
    void atOnce(const std::function<void()> &actions);

  private:
    struct State;

    std::unique_ptr<State> _state;
};
