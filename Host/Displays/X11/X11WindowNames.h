#pragma once

#include <cstdint>
#include <string>

namespace Lumivera {

class X11Connection;

/// Tells people and window managers whose window it is.
void describeX11Window(X11Connection &connection, std::uint32_t window, const std::string &title);

/// Only the title, in UTF-8.
void setX11WindowTitle(X11Connection &connection, std::uint32_t window, const std::string &title);

} // namespace Lumivera
