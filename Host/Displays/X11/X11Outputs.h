#pragma once

#include "Platform/Compositor/DeviceRect.h"

#include <string>
#include <vector>

namespace Lumivera {

class X11Connection;

/// A part of the screen that a monitor shows.
struct X11Output {
    std::string name;

    /// In pixels of the screen.
    DeviceRect area;

    bool operator==(const X11Output &) const = default;
};

/// What the monitors show, after one or two turns of the server. One for the whole screen, called
/// "default", where the server does not tell its monitors.
std::vector<X11Output> readX11Outputs(X11Connection &connection);

/// Without those that show nothing but a part of what another one shows. Of two that show the same
/// the one that comes first stays.
std::vector<X11Output> withoutMirrors(const std::vector<X11Output> &outputs);

} // namespace Lumivera
