#include "Host/Support/DescriptorThread.h"

#include "Host/Support/HostError.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr const char *kServe = "lumiveraServeDescriptor";
constexpr std::uint64_t kEndNumber = 0;

class Target final : public NSObject {};

} // namespace

DescriptorThread::DescriptorThread()
    : _target(makeRetained<Target>()), _events(epoll_create1(EPOLL_CLOEXEC)),
      _end(eventfd(0, EFD_CLOEXEC)) {
    epoll_event event{EPOLLIN, {.u64 = kEndNumber}};
    if (_events < 0 || _end < 0 || epoll_ctl(_events, EPOLL_CTL_ADD, _end, &event) != 0) {
        const std::string reason = systemErrorText();
        close(_events);
        close(_end);
        throw HostError("events", "cannot be waited for: " + reason);
    }
    _thread = std::thread([this] { waitForAll(); });
}

DescriptorThread::~DescriptorThread() {
    eventfd_write(_end, 1);
    _thread.join();
    NSRunLoop::mainRunLoop().cancelPreviousPerformRequestsWithTarget(_target.get(), kServe);
    close(_events);
    close(_end);
}

void DescriptorThread::add(DescriptorSource &source) {
    const auto number = ++_latestNumber;
    const Entry entry{&source, source.descriptor()};
    _entries[number] = entry;
    await(EPOLL_CTL_ADD, number, entry);
}

/// EPOLL_CTL_DEL takes effect at once, so the caller may close the descriptor afterwards.
void DescriptorThread::remove(DescriptorSource &source) {
    std::erase_if(_entries, [&](const auto &known) {
        const Entry &entry = known.second;
        if (entry.source == &source) {
            epoll_ctl(_events, EPOLL_CTL_DEL, entry.descriptor, nullptr);
        }
        return entry.source == &source;
    });
}

void DescriptorThread::waitForAll() {
    for (;;) {
        epoll_event event{};
        if (epoll_wait(_events, &event, 1, -1) < 1) {
            continue;
        }
        const std::uint64_t number = event.data.u64;
        if (number == kEndNumber) {
            return;
        }
        NSRunLoop::mainRunLoop().performSelector_afterDelay(
            _target.get(), kServe, [this, number] { serve(number); }, 0);
    }
}

/// Awaits one event; serve() awaits the next one after the source was served.
void DescriptorThread::await(int operation, std::uint64_t number, const Entry &entry) const {
    const auto awaited = static_cast<std::uint32_t>(entry.source->awaitedEvents());
    epoll_event event{awaited | EPOLLONESHOT, {.u64 = number}};
    epoll_ctl(_events, operation, entry.descriptor, &event);
}

void DescriptorThread::serve(std::uint64_t number) {
    const auto known = _entries.find(number);
    if (known == _entries.end()) {
        return;
    }
    known->second.source->serve();
    const auto after = _entries.find(number);
    if (after != _entries.end()) {
        await(EPOLL_CTL_MOD, number, after->second);
    }
}

} // namespace Lumivera
