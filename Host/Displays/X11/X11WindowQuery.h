#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Lumivera {

class X11Connection;

/// What matters of a window that somebody might see.
struct X11WindowFacts {
    std::uint32_t window = 0;

    /// In pixels of the root, without the frame.
    DeviceRect area;

    /// Parts of the root, the frame's included, that nothing shines through.
    std::vector<DeviceRect> opaque;

    bool isFullScreen = false;

    /// The workspace that it is on; nothing for all of them.
    std::optional<std::uint32_t> workspace;
};

/// Questions about another program's window. They are on their way when the object is made, so that
/// many windows take no longer than one. Main thread.
class X11WindowQuery {
  public:
    /// The connection is not owned.
    X11WindowQuery(X11Connection &connection, std::uint32_t window);

    /// Waits for the answers. Nothing for a window that has gone, is not shown, or is a desktop
    /// itself. Once.
    std::optional<X11WindowFacts> answer() const;

  private:
    enum Property { States, Workspace, Types, Opacity, Frame, OpaqueRegion, PropertyCount };

    std::optional<DeviceRect> areaWhereShown(std::uint8_t &depth) const;
    bool isShaped() const;

    X11Connection &_connection;
    std::uint32_t _window;
    unsigned _attributes = 0;
    unsigned _geometry = 0;
    unsigned _place = 0;
    unsigned _shape = 0;
    std::array<unsigned, PropertyCount> _properties{};
};

} // namespace Lumivera
