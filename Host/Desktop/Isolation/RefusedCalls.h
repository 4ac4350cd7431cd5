#pragma once

#include "Host/Support/DescriptorWaiter.h"

#include <functional>
#include <set>
#include <string>

namespace Lumivera {

/// Tells the names of system calls that a confined process was refused, each once, so that an
/// honest author learns why something fails. It never waits for the process, and after kMaxCalls
/// calls it listens no more: the kernel refuses them alone then. Main thread.
class RefusedCalls final : private DescriptorSource {
  public:
    static constexpr unsigned kMaxCalls = 1000;

    /// Owns the listener of CallFilter::Entry; `tell` is called in call-outs of the main run loop.
    RefusedCalls(DescriptorWatch &watch, int listener,
                 std::function<void(const std::string &name)> tell);
    ~RefusedCalls();

    RefusedCalls(const RefusedCalls &) = delete;
    RefusedCalls &operator=(const RefusedCalls &) = delete;

  private:
    int descriptor() const override { return _listener; }
    void serve() override;
    bool hasCall() const;
    bool refuseOne();
    void close();

    DescriptorWatch &_watch;
    int _listener;
    const std::function<void(const std::string &name)> _tell;
    std::set<int> _told;
    unsigned _calls = 0;
};

} // namespace Lumivera
