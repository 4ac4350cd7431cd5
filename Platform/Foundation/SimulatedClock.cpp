#include "Platform/Foundation/SimulatedClock.h"

#include <algorithm>
#include <atomic>

/// A thread as the clock sees it. Guarded by the clock's turn mutex.
struct SimulatedClock::Participant {
    const ClockCondition *condition = nullptr;
    Nanoseconds deadline = kNever;
    bool takesTurns = true;
    bool awake = false;
    std::condition_variable turn;
};

class SimulatedClock::Announcement : public Clock::ThreadRecord {
  public:
    explicit Announcement(SimulatedClock &clock) : _clock(clock) {}

    // Still there only when the system could not start the thread.
    ~Announcement() override {
        if (participant) {
            _clock.withdraw(*participant);
        }
    }

    std::unique_ptr<Participant> participant = std::make_unique<Participant>();

  private:
    SimulatedClock &_clock;
};

namespace {

/// The participant of the current thread; null on threads that take no turns.
thread_local void *ownParticipant = nullptr;

} // namespace

SimulatedClock::SimulatedClock() : _mainThread(std::make_unique<Participant>()) {
    _running = _mainThread.get();
    _running->awake = true;
    ownParticipant = _running;
}

SimulatedClock::~SimulatedClock() {
    if (ownParticipant == _mainThread.get()) {
        ownParticipant = nullptr;
    }
}

Clock::Nanoseconds SimulatedClock::now() { return _now.load(std::memory_order_acquire); }

void SimulatedClock::wait(ClockCondition &condition, std::unique_lock<std::mutex> &lock,
                          Nanoseconds deadline) {
    Participant visitor;
    visitor.takesTurns = false;
    auto *own = static_cast<Participant *>(ownParticipant);
    Participant &self = own ? *own : visitor;
    {
        std::unique_lock turnLock(_turnMutex);
        self.condition = &condition;
        self.deadline = deadline;
        self.awake = false;
        _waiting.push_back(&self);
        lock.unlock();
        if (own || !_running) {
            passTurn();
        }
        enter(self, turnLock);
    }
    lock.lock();
}

void SimulatedClock::notifyAll(ClockCondition &condition) {
    const std::lock_guard turnLock(_turnMutex);
    for (std::size_t i = 0; i < _waiting.size();) {
        Participant *waiter = _waiting[i];
        if (waiter->condition == &condition) {
            _waiting.erase(_waiting.begin() + static_cast<std::ptrdiff_t>(i));
            makeRunnable(*waiter);
        } else {
            ++i;
        }
    }
    if (!_running) {
        passTurn();
    }
}

std::unique_ptr<Clock::ThreadRecord> SimulatedClock::threadAnnounced() {
    auto announcement = std::make_unique<Announcement>(*this);
    const std::lock_guard turnLock(_turnMutex);
    makeRunnable(*announcement->participant);
    if (!_running) {
        passTurn();
    }
    return announcement;
}

void SimulatedClock::threadBegan(std::unique_ptr<ThreadRecord> record) {
    auto *self = static_cast<Announcement &>(*record).participant.release();
    ownParticipant = self;
    std::unique_lock turnLock(_turnMutex);
    enter(*self, turnLock);
}

void SimulatedClock::threadEnded() {
    const std::unique_ptr<Participant> self(static_cast<Participant *>(ownParticipant));
    ownParticipant = nullptr;
    const std::lock_guard turnLock(_turnMutex);
    passTurn();
}

void SimulatedClock::withdraw(Participant &participant) {
    const std::lock_guard turnLock(_turnMutex);
    std::erase(_runnable, &participant);
    if (_running == &participant) {
        passTurn();
    }
}

void SimulatedClock::enter(Participant &participant, std::unique_lock<std::mutex> &turnLock) {
    participant.turn.wait(turnLock, [&] { return participant.awake; });
}

/// Ends the running thread's turn and lets the next one run: the first runnable one, else the one
/// with the earliest deadline. With neither, all wait for a thread that takes no turns.
void SimulatedClock::passTurn() {
    _running = nullptr;
    while (!_running) {
        if (_runnable.empty() && !advanceToNextDeadline()) {
            return;
        }
        if (_runnable.empty()) {
            continue;
        }
        _running = _runnable.front();
        _runnable.erase(_runnable.begin());
        _running->awake = true;
        _running->turn.notify_one();
    }
}

void SimulatedClock::makeRunnable(Participant &participant) {
    if (participant.takesTurns) {
        _runnable.push_back(&participant);
    } else {
        participant.awake = true;
        participant.turn.notify_one();
    }
}

/// Wakes one thread; those with equal deadlines wake in the order in which they began to wait.
bool SimulatedClock::advanceToNextDeadline() {
    const auto next = std::min_element(
        _waiting.begin(), _waiting.end(),
        [](const Participant *a, const Participant *b) { return a->deadline < b->deadline; });
    if (next == _waiting.end() || (*next)->deadline == kNever) {
        return false;
    }
    Participant *waiter = *next;
    _waiting.erase(next);
    _now.store(std::max(_now.load(), waiter->deadline), std::memory_order_release);
    makeRunnable(*waiter);
    return true;
}
