#pragma once

#include "Host/Displays/X11/X11Connection.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Another program of the screen, such as a file manager, a panel or a menu, with a connection of
/// its own.
class X11Client {
  public:
    struct Options {
        DeviceRect area{0, 0, 800, 600};
        std::uint8_t depth = 24;

        /// What fills the window; premultiplied in one of depth 32.
        std::uint32_t color = 0xff204060;

        /// The end of its type's name, such as "DESKTOP"; empty for none.
        std::string type = "";
        bool isUnmanaged = false;
        bool isInputOnly = false;
    };

    /// The class of its windows.
    static constexpr std::string_view kClass = "Files";

    X11Client();
    ~X11Client();

    X11Client(const X11Client &) = delete;
    X11Client &operator=(const X11Client &) = delete;

    /// Opens a window and waits until it is shown. It hears presses of buttons.
    std::uint32_t open(const Options &options);
    std::uint32_t create(const Options &options);
    void show(std::uint32_t window);
    void close(std::uint32_t window);
    void raise(std::uint32_t window);
    void lower(std::uint32_t window);

    std::uint32_t atom(std::string_view name);
    std::uint32_t root() const;

    /// Gives a window, or the root, a property of numbers; without any it is taken away.
    void set(std::uint32_t window, std::string_view property,
             const std::vector<std::uint32_t> &numbers);
    void setAtoms(std::uint32_t window, std::string_view property,
                  const std::vector<std::string_view> &names);
    void setText(std::uint32_t window, std::string_view property, std::string_view text);

    /// Says on the root that a window manager of that name runs, which manages these windows.
    void pretendToManage(std::string_view name, const std::vector<std::uint32_t> &windows);

    /// Hears what other programs want of the root's children, and does nothing of it but map them,
    /// at the next count().
    void refuseWishes();

    /// Becomes the owner of a selection of the screen, and says so to everybody.
    void takeSelection(std::string_view name, std::uint32_t window);

    /// Asks the window manager to show the desktop, or the windows again.
    void showDesktop(bool isShown);

    bool hasOwner(std::string_view selection);

    /// Hears of new places of the root's children.
    void watchRoot();

    /// How many events of that type have arrived for the window by now, all in all.
    int count(std::uint8_t type, std::uint32_t window);

    /// The children of the root that are shown and not for input alone, from bottom to top.
    std::vector<std::uint32_t> shownChildren();

    /// The child of the root that the window is, or lies in.
    std::uint32_t frameOf(std::uint32_t window);

    /// The shown windows of Lumivera that are children of the root.
    std::vector<std::uint32_t> lumiverasWindows();

    /// Whether Lumivera has one window, and that lies directly above the other's frame.
    bool isLumiveraDirectlyAbove(std::uint32_t window);

    /// Whether Lumivera has one window, and that lies beneath all others.
    bool isLumiveraLowest();

    /// What the screen shows.
    std::uint32_t pixel(int x, int y);

  private:
    void tellRoot(std::string_view type, const std::array<std::uint32_t, 3> &numbers,
                  std::uint32_t eventMask);
    void hear();
    bool isShown(std::uint32_t window, bool isVisible = false);
    std::string classOf(std::uint32_t window);
    void configure(std::uint32_t window, std::uint32_t mode);

    struct Heard {
        std::uint8_t type;
        std::uint32_t window;
    };

    xcb_connection_t *_connection;
    std::vector<Heard> _heard;
};
