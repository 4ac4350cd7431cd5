#pragma once

#include "Host/Displays/X11/X11Connection.h"
#include "Platform/Compositor/DeviceRect.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace Lumivera {

/// A length of another program, at most one that no screen reaches, so that sums do not overflow.
int x11Length(std::uint32_t word);

/// A window of another program that is shown.
struct X11Window {
    enum class Kind { Normal, Panel, Icons };

    std::uint32_t number = 0;
    Kind kind = Kind::Normal;

    /// In pixels of the root, without the frame.
    DeviceRect area;

    /// The parts of the root that it hides, with its frame.
    std::vector<DeviceRect> opaque;

    std::uint8_t depth = 0;
    bool isFullScreen = false;
    bool isMaximized = false;

    /// Nothing for a window that is on all workspaces.
    std::optional<std::uint32_t> workspace;

    bool hasAlpha() const { return depth == 32; }
};

/// Questions about a window. The constructor sends them and answer() waits, so that questions about
/// many windows take one round trip.
class X11WindowQuery {
  public:
    /// `root` is the area of the root.
    X11WindowQuery(X11Connection &connection, std::uint32_t window, const DeviceRect &root);

    /// Waits for the answers. Nothing for a window that has gone or is not shown. Call it once.
    std::optional<X11Window> answer() const;

    /// Whether an answer depends on the property of that name.
    static bool asksFor(X11Connection &connection, std::uint32_t property);

  private:
    enum Property {
        States,
        Workspace,
        Types,
        Opacity,
        Frame,
        OpaqueRegion,
        StrutPartial,
        Strut,
        PropertyCount
    };
    using Words = std::vector<std::uint32_t>;
    using Properties = std::array<Words, PropertyCount>;

    bool readPlace(X11Window &window) const;
    bool isShaped() const;
    X11Window::Kind kindOf(const Properties &words) const;
    std::vector<DeviceRect> opaqueParts(const X11Window &window, const Properties &words,
                                        bool hasShape) const;
    std::vector<DeviceRect> panelParts(const X11Window &window, const Properties &words) const;

    X11Connection &_connection;
    std::uint32_t _window;
    DeviceRect _root;
    unsigned _attributes = 0;
    unsigned _geometry = 0;
    unsigned _place = 0;
    unsigned _shape = 0;
    std::array<unsigned, PropertyCount> _properties{};
};

} // namespace Lumivera
