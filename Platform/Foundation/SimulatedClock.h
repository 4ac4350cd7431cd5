#pragma once

#include "Platform/Foundation/Clock.h"

#include <atomic>
#include <memory>
#include <vector>

/// A clock that stands still while any thread of the platform runs and jumps to the next deadline
/// when all of them wait.
///
/// The platform's threads take turns, in the order in which they became runnable, and each runs
/// until it waits. So the same code with the same threads behaves the same on every run. A thread
/// that the platform did not start may use the clock at any time; it takes no turns.
class PLATFORM_EXPORT SimulatedClock : public Clock {
  public:
    static constexpr Nanoseconds kStart = 1'000'000'000'000;

    /// Main thread, which has the first turn.
    SimulatedClock();
    ~SimulatedClock() override;

    Nanoseconds now() override;
    void wait(ClockCondition &condition, std::unique_lock<std::mutex> &lock,
              Nanoseconds deadline) override;
    void notifyAll(ClockCondition &condition) override;
    std::unique_ptr<ThreadRecord> threadAnnounced() override;
    void threadBegan(std::unique_ptr<ThreadRecord> record) override;
    void threadEnded() override;

  private:
    struct Participant;
    class Announcement;

    void enter(Participant &participant, std::unique_lock<std::mutex> &turnLock);
    void withdraw(Participant &participant);
    void passTurn();
    void makeRunnable(Participant &participant);
    bool advanceToNextDeadline();

    std::mutex _turnMutex;
    std::atomic<Nanoseconds> _now{kStart};
    Participant *_running = nullptr;
    std::vector<Participant *> _runnable;
    std::vector<Participant *> _waiting;
    std::unique_ptr<Participant> _mainThread;
};
