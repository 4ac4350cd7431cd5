#pragma once

#include "Tests/Host/Desktops/ScreenPicture.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

struct xcb_connection_t;
struct xcb_screen_t;

/// A client of an X server that sees and does what a person at the screen would: pictures, the
/// mouse, keys, windows, and requests to the window manager.
class DesktopScreen {
  public:
    using Window = std::uint32_t;

    /// A window that can be seen.
    struct Shown {
        Window window;
        ScreenRect rect;
    };

    explicit DesktopScreen(const std::string &display);
    ~DesktopScreen();
    DesktopScreen(const DesktopScreen &) = delete;
    DesktopScreen &operator=(const DesktopScreen &) = delete;

    bool isConnected() const;

    ScreenRect bounds() const;

    /// Where the window manager puts maximized windows; all of the screen without its word.
    ScreenRect workArea();

    ScreenPicture picture();

    void moveTo(const ScreenPoint &point);
    void click(const ScreenPoint &point, int button = 1);
    void doubleClick(const ScreenPoint &point);
    void pressEscape();

    /// The children of the root window that can be seen and are larger than a few pixels, from the
    /// bottom to the top.
    std::vector<Shown> shownWindows();
    bool isShown(Window window);

    /// The windows that the window manager manages, in the order in which it took them over.
    std::vector<Window> managedWindows() { return values(root(), "_NET_CLIENT_LIST"); }

    Window root() const;

    /// A property of 32-bit values; empty without that property.
    std::vector<std::uint32_t> values(Window window, const std::string &property);

    /// The atom of that name.
    std::uint32_t atom(const std::string &name);

    /// Whether the window manager lists this among what it supports.
    bool supports(const std::string &name);

    /// Sends a request to the window manager, as pagers and windows do.
    void request(Window window, const std::string &name, const std::vector<std::uint32_t> &data);

    /// Opens a window of one colour, as a person's program would.
    Window openWindow(const std::string &title, std::uint32_t colour, const ScreenRect &rect);
    void closeWindow(Window window);

    /// Asks the window manager to close another program's window.
    void closeForeignWindow(Window window) { request(window, "_NET_CLOSE_WINDOW", {0, 2}); }

    /// Where a window is on the screen.
    ScreenRect rectOf(Window window);

  private:
    void fakeInput(std::uint8_t type, std::uint8_t detail, std::uint32_t delay,
                   const ScreenPoint &point = {});
    void flush();
    void setText(Window window, const std::string &property, const std::string &text);

    xcb_connection_t *const _connection;
    xcb_screen_t *_screen = nullptr;
};
