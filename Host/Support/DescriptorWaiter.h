#pragma once

#include "Host/Support/DescriptorWatch.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <atomic>
#include <vector>

struct pollfd;

namespace Lumivera {

/// The main run loop's way to wait for file descriptors, as long as the object lives. Main thread
/// but for wake().
class DescriptorWaiter final : public RunLoopWaiter, public DescriptorWatch {
  public:
    DescriptorWaiter();
    ~DescriptorWaiter();

    DescriptorWaiter(const DescriptorWaiter &) = delete;
    DescriptorWaiter &operator=(const DescriptorWaiter &) = delete;

    void add(DescriptorSource &source) override;
    void remove(DescriptorSource &source) override;

    void wait(Clock::Nanoseconds nanoseconds) override;
    void wake() override;

  private:
    struct Entry {
        DescriptorSource *source;
        bool isReady;
    };

    /// Only who waits has to be woken through the descriptor.
    enum class State { Running, Waiting, Woken };

    bool prepareSources();
    bool poll(Clock::Nanoseconds nanoseconds);
    void serveReadySources();

    std::vector<Entry> _entries;
    std::vector<pollfd> _polled;
    int _wakeDescriptor = -1;
    std::atomic<State> _state{State::Running};
    bool _isServePending = false;
};

} // namespace Lumivera
