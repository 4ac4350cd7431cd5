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

timespec timeFrom(Clock::Nanoseconds nanoseconds) {
    constexpr Clock::Nanoseconds kSecond = 1'000'000'000;
    const Clock::Nanoseconds time = std::max<Clock::Nanoseconds>(nanoseconds, 0);
    return {static_cast<std::time_t>(time / kSecond), static_cast<long>(time % kSecond)};
}

} // namespace

short DescriptorSource::awaitedEvents() const { return POLLIN; }

DescriptorWaiter::DescriptorWaiter()
    : _serve([this] { serveReadySources(); }),
      _wakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (_wakeDescriptor < 0) {
        throw HostError("events", "cannot be waited for: " + systemErrorText());
    }
    NSRunLoop::mainRunLoop().setWaiter(this);
}

DescriptorWaiter::~DescriptorWaiter() {
    NSRunLoop::mainRunLoop().setWaiter(nullptr);
    close(_wakeDescriptor);
}

void DescriptorWaiter::add(DescriptorSource &source) { _entries.push_back({&source, false}); }

/// serveReadySources() may be walking the list, so the entry is emptied; the next wait erases it.
void DescriptorWaiter::remove(DescriptorSource &source) {
    for (Entry &entry : _entries) {
        if (entry.source == &source) {
            entry = {nullptr, false};
        }
    }
}

/// Other threads may change the view tree during the wait, so sources are served later, in a
/// call-out. After poll() no wake-up is needed: the run loop looks for calls as soon as it returns.
void DescriptorWaiter::wait(Clock::Nanoseconds nanoseconds) {
    const bool hasArrived = prepareSources();
    State before = State::Running;
    const bool mayWait = _state.compare_exchange_strong(before, State::Waiting) && !hasArrived;
    const bool isAnyReady = poll(mayWait ? nanoseconds : 0) || hasArrived;
    _state = State::Woken;
    if (isAnyReady && !_serve.isPending()) {
        _serve.callAfter(0);
    }
    _state = State::Running;
}

void DescriptorWaiter::wake() {
    if (_state.exchange(State::Woken) == State::Waiting) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto size = write(_wakeDescriptor, &one, sizeof one);
    }
}

/// True when a source has events already.
bool DescriptorWaiter::prepareSources() {
    std::erase_if(_entries, [](const Entry &entry) { return !entry.source; });
    _polled.assign(1, {_wakeDescriptor, POLLIN, 0});
    bool isAnyReady = false;
    for (Entry &entry : _entries) {
        entry.isReady = entry.source->prepareToWait();
        isAnyReady = isAnyReady || entry.isReady;
        _polled.push_back({entry.source->descriptor(), entry.source->awaitedEvents(), 0});
    }
    return isAnyReady;
}

/// True when a source became ready.
bool DescriptorWaiter::poll(Clock::Nanoseconds nanoseconds) {
    const timespec limit = timeFrom(nanoseconds);
    const bool hasLimit = nanoseconds != Clock::kNever;
    if (ppoll(_polled.data(), _polled.size(), hasLimit ? &limit : nullptr, nullptr) <= 0) {
        return false;
    }
    if (_polled[0].revents != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto size = read(_wakeDescriptor, &count, sizeof count);
    }
    bool isAnyReady = false;
    for (std::size_t i = 0; i < _entries.size(); ++i) {
        const bool hasEvent = _polled[i + 1].revents != 0;
        _entries[i].isReady = _entries[i].isReady || hasEvent;
        isAnyReady = isAnyReady || hasEvent;
    }
    return isAnyReady;
}

/// Walks by index because sources may be added and removed meanwhile.
void DescriptorWaiter::serveReadySources() {
    for (std::size_t i = 0; i < _entries.size(); ++i) {
        if (_entries[i].isReady) {
            _entries[i].isReady = false;
            _entries[i].source->serve();
        }
    }
}

} // namespace Lumivera
