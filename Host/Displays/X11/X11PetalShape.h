#pragma once

#include "Host/Displays/SharedBuffers.h"
#include "Host/Displays/X11/X11Connection.h"

#include <memory>
#include <vector>

namespace Lumivera {

/// Petals on a screen where nobody blends windows: opaque pixels, the petals blended with their
/// background, in a window that is cut out around them. Main thread.
class X11PetalShape {
  public:
    /// Neither the connection nor the window is owned. The window is invisible until update().
    X11PetalShape(X11Connection &connection, std::uint32_t window);

    /// The picture that the screen has beneath the petals; without one, or with one of another size
    /// than theirs, they have hard edges. Takes effect at the next update().
    void setBackground(std::shared_ptr<const SharedBuffers> background);

    /// Blends the damaged parts of buffer 0 of `petals` into picture(), and cuts the window. A
    /// HostError when there is no memory.
    void update(const SharedBuffers &petals, const std::vector<DeviceRect> &damage);

    /// What the window shows, in buffer 0; null before update(). Another one when the petals have
    /// another size.
    const std::shared_ptr<SharedBuffers> &picture() const { return _picture; }

  private:
    /// Columns from `left` to before `right`, in cells.
    struct Span {
        int left = 0;
        int right = 0;
    };

    void blend(const SharedBuffers &petals, const DeviceRect &rect);
    void findSpans(const SharedBuffers &petals, int band);
    void cut() const;

    X11Connection &_connection;
    const std::uint32_t _window;
    std::shared_ptr<const SharedBuffers> _background;
    std::shared_ptr<SharedBuffers> _picture;

    /// In pixels.
    int _cellSize = 1;

    /// Where petals are, for each band of rows, which is a cell high.
    std::vector<std::vector<Span>> _bands;
    std::vector<std::uint32_t> _cells;
    bool _isWhole = true;
};

} // namespace Lumivera
