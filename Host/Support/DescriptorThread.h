#pragma once

#include "Host/Support/DescriptorWaiter.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Retained.h"

#include <cstdint>
#include <map>
#include <thread>

namespace Lumivera {

/// Waits for descriptors on a thread of its own, for programs whose main run loop has another
/// waiter. Never calls prepareToWait(). Main thread.
class DescriptorThread final : public DescriptorWatch {
  public:
    /// Throws a HostError when the process has no descriptors left.
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

    /// Keys are never reused, so that an event for a removed source cannot reach another one.
    std::map<std::uint64_t, Entry> _entries;
    std::uint64_t _latestNumber = 0;
    const Retained<NSObject> _target;
    int _events = -1;
    int _end = -1;
    std::thread _thread;
};

} // namespace Lumivera
