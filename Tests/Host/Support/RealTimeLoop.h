#pragma once

#include "Host/Support/DescriptorWaiter.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <functional>
#include <sys/resource.h>

/// Serves the main run loop until the condition holds; false when it does not within that many
/// seconds, which only a failure takes. For tests with other processes, which know no simulated
/// time.
inline bool serveUntil(const std::function<bool()> &condition, double seconds = 60) {
    const Clock::Nanoseconds end = Clock::current().deadlineAfter(seconds);
    while (!condition()) {
        if (Clock::current().now() > end) {
            return false;
        }
        NSRunLoop::mainRunLoop().runForSeconds(0.01);
    }
    return true;
}

/// The processor time that this process has used.
inline double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// The processor time that half a second of serving takes while nothing happens.
inline double costOfIdling() {
    const double before = cpuSeconds();
    NSRunLoop::mainRunLoop().runForSeconds(0.5);
    return cpuSeconds() - before;
}
