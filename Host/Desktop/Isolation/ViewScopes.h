#pragma once

#include "Host/Desktop/Policy/SystemBus.h"

#include <cstdint>

namespace Lumivera {

/// Puts processes into control groups of their own, whose limits hold for all that the kernel does
/// for them, where systemd manages the user's programs. Elsewhere, and until systemd has done it,
/// the limits of the processes themselves must do. Main thread.
class ViewScopes {
  public:
    /// What a process may take. Others get five times its share of the processor.
    struct Limits {
        std::uint64_t bytes = 0;
        unsigned threads = 0;
    };

    explicit ViewScopes(DescriptorWaiter &waiter) : _bus(waiter, SystemBus::Kind::User) {}

    /// Asks systemd, without waiting for it. The group goes with the process.
    void add(int process, const Limits &limits);

  private:
    SystemBus _bus;
};

} // namespace Lumivera
