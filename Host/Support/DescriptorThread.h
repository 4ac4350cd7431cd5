#pragma once

#include "Host/Support/DescriptorWatch.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <cstdint>
#include <map>
#include <thread>

namespace Lumivera {

/// Waits for descriptors on a thread of its own, where somebody else is the main run loop's way to
/// wait. For sources that prepare nothing before they are waited for. Main thread.
class DescriptorThread final : public DescriptorWatch {
  public:
    /// A HostError when the system has no descriptors left.
    DescriptorThread();
    ~DescriptorThread();

    DescriptorThread(const DescriptorThread &) = delete;
    DescriptorThread &operator=(const DescriptorThread &) = delete;

    void add(DescriptorSource &source) override;
    void remove(DescriptorSource &source) override;

  private:
    struct Entry {
        DescriptorSource *source;
        int descriptor;
    };

    void waitForAll();
    void await(int operation, std::uint64_t number, const Entry &entry) const;
    void serve(std::uint64_t number);

    /// Numbers are never used again, so that what arrived for a removed source reaches no other.
    std::map<std::uint64_t, Entry> _entries;
    std::uint64_t _latestNumber = 0;
    const Retained<NSObject> _target;
    int _events = -1;
    int _end = -1;
    std::thread _thread;
};

} // namespace Lumivera
