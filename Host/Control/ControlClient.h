#pragma once

#include <string>
#include <string_view>

namespace Lumivera {

/// The other end of a ControlServer, for one question. Blocks, at most ten seconds.
class ControlClient {
  public:
    /// Sends a request, one line without its end, to the host that listens in the folder, and gives
    /// its answer. A HostError when no host runs there or it does not answer.
    static std::string ask(const std::string &folder, std::string_view request);
};

} // namespace Lumivera
