#pragma once

#include "Host/Support/SignalWatch.h"
#include "Platform/Foundation/NSTypes.h"

#include <atomic>
#include <functional>
#include <string>

namespace Lumivera {

/// A rendering under way: tells on the terminal how far it is, and ends with a signal. Made on the
/// main thread before any other thread starts.
class RenderingRun {
  public:
    /// `subject` is the file that is made, for messages.
    explicit RenderingRun(std::string subject);

    /// Renders the frames in their order, from 0. A HostError when a signal came meanwhile.
    void renderFrames(NSUInteger count, const std::function<void(NSUInteger frame)> &render) const;

  private:
    const std::string _subject;
    std::atomic<bool> _isInterrupted{false};
    const SignalWatch _signals;
};

} // namespace Lumivera
