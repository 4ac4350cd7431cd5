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
    void serveReadySources();

    struct Entry {
        DescriptorSource *source;
        bool isReady;
    };

    std::vector<Entry> _entries;
    std::vector<pollfd> _polled;
    int _wakeDescriptor = -1;
    std::atomic<bool> _isWakePending{false};
    bool _isServePending = false;
};

} // namespace Lumivera
