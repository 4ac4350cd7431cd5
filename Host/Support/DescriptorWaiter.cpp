#include "Host/Support/DescriptorWaiter.h"

#include "Host/Support/HostError.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kServeSources = "lumiveraServeSources";

timespec timeFrom(Clock::Nanoseconds nanoseconds) {
    constexpr Clock::Nanoseconds second = 1'000'000'000;
    const Clock::Nanoseconds time = std::max<Clock::Nanoseconds>(nanoseconds, 0);
    return {static_cast<std::time_t>(time / second), static_cast<long>(time % second)};
}

} // namespace

DescriptorWaiter::DescriptorWaiter() : _wakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (_wakeDescriptor < 0) {
        throw HostError("events", "cannot be waited for: " + systemErrorText());
    }
    NSRunLoop::mainRunLoop().setWaiter(this);
}

DescriptorWaiter::~DescriptorWaiter() {
    NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
    runLoop.setWaiter(nullptr);
    runLoop.cancelPreviousPerformRequestsWithTarget(nullptr, kServeSources);
    close(_wakeDescriptor);
}

void DescriptorWaiter::add(DescriptorSource &source) { _entries.push_back({&source, false}); }

/// Entries stay where they are while they are served; the next wait drops the empty ones.
void DescriptorWaiter::remove(DescriptorSource &source) {
    for (Entry &entry : _entries) {
        if (entry.source == &source) {
            entry = {nullptr, false};
        }
    }
}

/// Other threads may change the view tree meanwhile, so what has arrived is only noted here.
void DescriptorWaiter::wait(Clock::Nanoseconds nanoseconds) {
    std::erase_if(_entries, [](const Entry &entry) { return !entry.source; });
    _polled.assign(1, {_wakeDescriptor, POLLIN, 0});
    bool isAnyReady = false;
    for (Entry &entry : _entries) {
        entry.isReady = entry.source->prepareToWait();
        isAnyReady = isAnyReady || entry.isReady;
        _polled.push_back({entry.source->descriptor(), entry.source->awaitedEvents(), 0});
    }
    const timespec limit = timeFrom(isAnyReady ? 0 : nanoseconds);
    const bool hasLimit = isAnyReady || nanoseconds != Clock::kNever;
    if (ppoll(_polled.data(), _polled.size(), hasLimit ? &limit : nullptr, nullptr) > 0) {
        std::uint64_t count = 0;
        if (_polled[0].revents != 0 && read(_wakeDescriptor, &count, sizeof count) > 0) {
            _isWakePending = false;
        }
        for (std::size_t i = 0; i < _entries.size(); ++i) {
            const bool hasEvent = _polled[i + 1].revents != 0;
            _entries[i].isReady = _entries[i].isReady || hasEvent;
            isAnyReady = isAnyReady || hasEvent;
        }
    }
    if (isAnyReady && !_isServePending) {
        _isServePending = true;
        NSRunLoop::mainRunLoop().performSelector_afterDelay(
            nullptr, kServeSources, [this] { serveReadySources(); }, 0);
    }
}

void DescriptorWaiter::wake() {
    const std::uint64_t one = 1;
    if (!_isWakePending.exchange(true) && write(_wakeDescriptor, &one, sizeof one) < 0) {
        _isWakePending = false;
    }
}

/// Sources may come and go while others are served.
void DescriptorWaiter::serveReadySources() {
    _isServePending = false;
    for (std::size_t i = 0; i < _entries.size(); ++i) {
        if (_entries[i].isReady) {
            _entries[i].isReady = false;
            _entries[i].source->serve();
        }
    }
}

} // namespace Lumivera
