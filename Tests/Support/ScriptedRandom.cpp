#include "Tests/Support/ScriptedRandom.h"

#include <deque>
#include <dlfcn.h>
#include <mutex>

namespace {

struct Script {
    std::mutex mutex;
    std::deque<int> draws;
    std::size_t drawCount = 0;
    std::optional<unsigned> seed;
};

/// Never destroyed: threads may still draw while the program ends.
Script &script() {
    static Script *const instance = new Script;
    return *instance;
}

} // namespace

ScriptedRandom::ScriptedRandom(std::initializer_list<int> draws) {
    const std::lock_guard lock(script().mutex);
    script().draws = draws;
    script().drawCount = 0;
    script().seed.reset();
}

ScriptedRandom::~ScriptedRandom() {
    const std::lock_guard lock(script().mutex);
    script().draws.clear();
}

void ScriptedRandom::add(std::initializer_list<int> draws) {
    const std::lock_guard lock(script().mutex);
    script().draws.insert(script().draws.end(), draws);
}

std::size_t ScriptedRandom::drawCount() const {
    const std::lock_guard lock(script().mutex);
    return script().drawCount;
}

std::size_t ScriptedRandom::leftCount() const {
    const std::lock_guard lock(script().mutex);
    return script().draws.size();
}

std::optional<unsigned> ScriptedRandom::seed() const {
    const std::lock_guard lock(script().mutex);
    return script().seed;
}

// The program's definitions override the C library's, for the libraries that it uses too.

extern "C" __attribute__((visibility("default"))) int rand() noexcept {
    static const auto real = reinterpret_cast<int (*)()>(dlsym(RTLD_NEXT, "rand"));
    const std::lock_guard lock(script().mutex);
    ++script().drawCount;
    if (script().draws.empty()) {
        return real();
    }
    const int draw = script().draws.front();
    script().draws.pop_front();
    return draw;
}

extern "C" __attribute__((visibility("default"))) void srand(unsigned seed) noexcept {
    static const auto real = reinterpret_cast<void (*)(unsigned)>(dlsym(RTLD_NEXT, "srand"));
    const std::lock_guard lock(script().mutex);
    script().seed = seed;
    real(seed);
}
