#pragma once

#include "Platform/Foundation/Clock.h"

#include <atomic>
#include <memory>
#include <vector>

/// Time that only waiting makes pass. It stands still while any thread of the platform runs, and
/// jumps to the next deadline when all of them wait.
///
/// The platform's threads take turns: one runs, in the order in which they became able to, until it
/// waits. So the very same code with its very same threads behaves the same on every run. A thread
/// that the platform did not start may call in at any time; it does not take turns.
class PLATFORM_EXPORT SimulatedClock : public Clock {
  public:
    static constexpr Nanoseconds kStart = 1'000'000'000'000;

    /// The calling thread, the main thread, is the one that runs at first.
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
