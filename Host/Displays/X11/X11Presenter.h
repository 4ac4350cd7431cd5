#pragma once

#include "Host/Displays/SharedPicture.h"
#include "Host/Displays/X11/X11Connection.h"

#include <memory>

namespace Lumivera {

/// Shows the first picture of shared memory in a window. The server reads the memory itself where
/// it can; elsewhere the pixels are sent to it. Main thread.
class X11Presenter {
  public:
    /// Neither the connection nor the window is owned.
    X11Presenter(X11Connection &connection, std::uint32_t window);
    ~X11Presenter();

    X11Presenter(const X11Presenter &) = delete;
    X11Presenter &operator=(const X11Presenter &) = delete;

    /// Shows pictures of that memory from now on; it is our turn at once. What is shown stays.
    void setMemory(std::shared_ptr<SharedPicture> memory);
    SharedPicture *memory() const { return _memory.get(); }

    /// Shows what the rectangles hold; of new memory the first time all. It is the server's turn
    /// until it has read the pixels.
    void present(const std::vector<DeviceRect> &rects);

    /// Shows once more what was lost from the window, in pixels of the window. Nothing happens
    /// before the memory's first present().
    void repaint(const DeviceRect &rect);

    /// Gives the turn to the server; it comes back when the server has had time for what it was
    /// asked before.
    void passTurn();

    /// Whether the event gives the turn back: nobody but us touches the memory now. Once after
    /// every present() and passTurn().
    bool takesTurn(const X11Event &event);
    bool isOurTurn() const { return !_isServersTurn; }

  private:
    void attach();
    void detach();
    bool isTurn(const X11Event &event) const;
    void show(const DeviceRect &rect, bool isLast);
    void sendRows(const DeviceRect &rect);
    void fillBand(const DeviceRect &rect);

    X11Connection &_connection;
    const std::uint32_t _window;
    const std::uint32_t _context;
    std::shared_ptr<SharedPicture> _memory;
    std::vector<std::uint32_t> _band;

    /// The server's name of the memory; 0 where the pixels are sent.
    std::uint32_t _segment = 0;

    std::uint32_t _turn = 0;
    bool _isServersTurn = false;
    bool _awaitsSegment = false;
    bool _isShown = false;
};

} // namespace Lumivera
