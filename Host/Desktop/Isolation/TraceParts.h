#pragma once

#include "Host/Desktop/Isolation/ViewMessages.h"
#include "Host/Support/PacketSocket.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace Lumivera {

/// Sends a line of a trace in as many reports as it takes.
void sendTrace(const PacketSocket &host, std::string_view line);

/// Puts the lines of a trace together from the reports of a process that is not trusted. A line is
/// one line of printable text, however hostile the process is.
class TraceParts {
  public:
    /// More than a million petals take.
    static constexpr std::size_t kMaxBytes = std::size_t{512} << 20;

    /// False for a report that is no part of a line. `bytes` is the packet's size.
    bool take(const ViewReport &report, std::size_t bytes);

    /// The line so far, which the next part begins anew.
    std::string takeLine();

  private:
    std::string _line;
};

} // namespace Lumivera
