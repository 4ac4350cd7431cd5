#pragma once

#include "Platform/CoreGraphics/CGGeometry.h"

#include <optional>
#include <string_view>

namespace Lumivera {

class X11Connection;

/// How many pixels a point has by the desktop's settings: a 96th of their Xft.dpi. Nothing where
/// they do not say. Takes a turn of the server.
std::optional<CGFloat> readX11Density(X11Connection &connection);

/// The same from the settings' text, whose lines are "name: value". Nothing for a value that makes
/// no sense.
std::optional<CGFloat> densityFromX11Settings(std::string_view settings);

} // namespace Lumivera
