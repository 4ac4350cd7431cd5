#pragma once

#include <string>

namespace Lumivera {

/// The extension of GNOME Shell that shows wallpapers in the overview, tells the host what covers
/// them, and hands clicks over. Everything else works without it.
class GnomeExtension {
  public:
    enum class State {
        Missing,
        Unknown, ///< it is installed, but the running shell has not heard of it
        Off,
        On,
    };

    static constexpr const char *kName = "lumivera@lumivera.app";

    /// Asks the shell of the user's session, which takes a second at most.
    static State state();

    /// How to switch it on, for people; empty when it is on.
    static std::string remedy(State state);
};

} // namespace Lumivera
