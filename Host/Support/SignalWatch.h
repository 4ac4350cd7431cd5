#pragma once

#include <functional>
#include <thread>

namespace Lumivera {

/// Turns SIGINT and SIGTERM into a call. Made on the main thread before any other thread starts,
/// so that no other thread gets the signals. A second signal ends the process as usual.
class SignalWatch {
  public:
    /// `action` runs once, on a thread of the watch's own.
    explicit SignalWatch(std::function<void()> action);
    ~SignalWatch();

    SignalWatch(const SignalWatch &) = delete;
    SignalWatch &operator=(const SignalWatch &) = delete;

  private:
    void watch(const std::function<void()> &action) const;

    int _signals = -1;
    int _end = -1;
    std::thread _thread;
};

} // namespace Lumivera
