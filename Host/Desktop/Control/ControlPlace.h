#pragma once

#include <string>

namespace Lumivera {

/// Where a running host is spoken to: a socket in a folder that is the user's alone.
class ControlPlace {
  public:
    /// $XDG_RUNTIME_DIR/lumivera; without that variable, lumivera in /run/user/UID where that is
    /// ours, and else /tmp/lumivera-UID.
    static std::string standardFolder();

    /// The socket of a folder.
    static std::string socketIn(const std::string &folder) { return folder + "/control"; }

    /// Makes the folder where it is missing, and lets nobody else in. A HostError when it is a link
    /// or another user's, for then anybody might listen there.
    static void makeFolder(const std::string &folder);

    /// Gives a Unix socket the name of a path, or connects it to the one there. False, with errno,
    /// when the system does not; a HostError when the path is longer than the system takes.
    static bool bindSocket(int descriptor, const std::string &path);
    static bool connectSocket(int descriptor, const std::string &path);

    /// True when there is such a folder and it is ours alone.
    static bool isOurFolder(const std::string &folder);
};

} // namespace Lumivera
