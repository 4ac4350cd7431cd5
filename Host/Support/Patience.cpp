#include "Host/Support/Patience.h"

#include "Host/Support/HostError.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace Lumivera {

namespace {

std::atomic<int> unfinished{0};

struct State {
    std::mutex mutex;
    std::condition_variable changed;
    bool isDone = false;
    std::exception_ptr failure;
};

void work(const std::function<void()> &action, State &state) {
    std::exception_ptr failure;
    try {
        action();
    } catch (...) {
        failure = std::current_exception();
    }
    const std::lock_guard lock(state.mutex);
    state.failure = std::move(failure);
    state.isDone = true;
    --unfinished;
    state.changed.notify_one();
}

} // namespace

bool Patience::finish(std::function<void()> action, NSTimeInterval seconds) {
    if (++unfinished > kMaxUnfinished) {
        --unfinished;
        return false;
    }
    const auto state = std::make_shared<State>();
    try {
        std::thread([state, action = std::move(action)] { work(action, *state); }).detach();
    } catch (const std::system_error &error) {
        --unfinished;
        throw HostError("thread", std::string("cannot be started: ") + error.what());
    }
    std::unique_lock lock(state->mutex);
    if (!state->changed.wait_for(lock, std::chrono::duration<NSTimeInterval>(seconds),
                                 [&state] { return state->isDone; })) {
        return false;
    }
    if (state->failure) {
        // Not left to the thread, which may end while the failure is read.
        std::rethrow_exception(std::exchange(state->failure, nullptr));
    }
    return true;
}

} // namespace Lumivera
