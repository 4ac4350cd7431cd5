#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace Lumivera {

/// How far a long job is and how long it will still take, on one line of stderr. Shows nothing
/// when stderr is no terminal, and nothing for jobs that end within a second.
class ProgressBar {
  public:
    ProgressBar(std::string_view label, std::size_t total);

    /// Clears the line.
    ~ProgressBar();

    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    void update(std::size_t done);

    /// The line for `done` of `total` steps that took `elapsed` seconds so far.
    static std::string line(std::string_view label, std::size_t done, std::size_t total,
                            double elapsed);

  private:
    using WallClock = std::chrono::steady_clock;

    const std::string _label;
    const std::size_t _total;
    const bool _isTerminal;
    const WallClock::time_point _start;
    WallClock::time_point _lastShown;
    bool _isShown = false;
};

} // namespace Lumivera
