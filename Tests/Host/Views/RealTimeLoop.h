#pragma once

#include "Host/Support/DescriptorWaiter.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <functional>

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
