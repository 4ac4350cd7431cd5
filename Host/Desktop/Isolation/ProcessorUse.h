#pragma once

#include "Platform/Foundation/Clock.h"

#include <cstdint>

namespace Lumivera {

/// Judges the processor time that a view takes. Half a core is free. What is above it adds up, and
/// what is below it is deducted again. Until the first picture a view may load for as long as it
/// would be waited for, on one core.
class ProcessorUse {
  public:
    enum class Verdict {
        Fine,
        Busy,     ///< a whole core for two seconds: other programs shall go first
        Excessive ///< a whole core for twenty seconds, more than its pictures explain
    };

    /// What a picture explains, in seconds: a core busy with drawing alone draws 40 a second.
    static constexpr double kPerPicture = 0.025;

    /// Each call judges the time since the last one; the first one, and the first after rest(),
    /// only begins. `seconds` and `pictures` are counted since the view's start.
    Verdict judge(Clock::Nanoseconds now, double seconds, std::uint64_t pictures);

    /// Leaves out the time until the next call.
    void rest() { _isMeasuring = false; }

  private:
    bool _isMeasuring = false;
    Clock::Nanoseconds _lastTime = 0;
    double _lastSeconds = 0;
    std::uint64_t _lastPictures = 0;
    double _surplus = 0;
    double _unexplained = 0;
};

/// Lets all threads of the process, which leads a group of its own, take a fifteenth of a processor
/// that another program wants as well; more than drawing usually needs.
void makeModest(int process);

/// Lets all threads of the process run only when no other program wants the processor.
void makeIdle(int process);

/// How many threads of the process run or want to, at this moment.
unsigned busyThreads(int process);

} // namespace Lumivera
