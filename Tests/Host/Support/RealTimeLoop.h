#pragma once

#include "Host/Support/DescriptorWaiter.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <functional>
#include <sys/resource.h>

/// Serves the main run loop until the condition holds; false when it does not within a time that
/// only a failure takes. With other processes there is no simulated time.
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

/// That this process has used.
inline double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// The processor's time that serving takes while nothing happens.
inline double costOfIdling() {
    const double before = cpuSeconds();
    NSRunLoop::mainRunLoop().runForSeconds(0.5);
    return cpuSeconds() - before;
}
