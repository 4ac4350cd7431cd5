#pragma once

#include "Host/Support/HostError.h"

#include <string>
#include <string_view>

namespace Lumivera {

/// There is nobody to ask.
class NoHostError final : public HostError {
  public:
    using HostError::HostError;
};

/// The other end of a ControlServer, for one question. Blocks, at most ten seconds.
class ControlClient {
  public:
    /// Sends a request, one line without its end, to the host that listens in the folder, and gives
    /// its answer. A NoHostError when no host runs there, another HostError when it
    /// does not answer.
    static std::string ask(const std::string &folder, std::string_view request);
};

} // namespace Lumivera
