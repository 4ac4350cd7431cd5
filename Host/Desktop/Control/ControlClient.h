#pragma once

#include "Host/Support/HostError.h"

#include <string>
#include <string_view>

namespace Lumivera {

/// The socket on which a host listens for requests, in a folder that only the user may enter.
class ControlPlace {
  public:
    /// $XDG_RUNTIME_DIR/lumivera; without that variable, lumivera in /run/user/UID if the user owns
    /// that folder, else lumivera-UID in the folder for temporary files; if that belongs to another
    /// user, who could keep every host from starting so, the program's folder for the user's state.
    static std::string standardFolder(const std::string &temporaryFolder = "/tmp");

    /// The path of the socket in a folder.
    static std::string socketIn(const std::string &folder) { return folder + "/control"; }

    /// The path of the socket for programs that show the pictures themselves.
    static std::string pictureSocketIn(const std::string &folder) { return folder + "/pictures"; }

    /// Makes the folder where it is missing and takes others' permissions away. Throws a HostError
    /// when it is a link or belongs to another user, who could then listen there.
    static void makeFolder(const std::string &folder);

    /// True when the folder exists and only the user may enter it.
    static bool isOurFolder(const std::string &folder);
};

/// There is no host to ask.
class NoHostError final : public HostError {
  public:
    using HostError::HostError;
};

/// Asks a running host one question. Blocks for at most ten seconds.
class ControlClient {
  public:
    /// Sends a request, one line without its line break, to the host that listens in the folder,
    /// and returns its answer. Throws a NoHostError when no host runs there, and another HostError
    /// when it does not answer.
    static std::string ask(const std::string &folder, std::string_view request);
};

} // namespace Lumivera
