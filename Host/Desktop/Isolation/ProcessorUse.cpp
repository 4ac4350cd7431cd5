#include "Host/Desktop/Isolation/ProcessorUse.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr double kFreeShare = 0.5;

/// Seconds above the free share: a whole core for 2 s, for 6 s before the first picture, for 20 s.
constexpr double kBusy = 1;
constexpr double kBusyWhileLoading = 3;
constexpr double kExcessive = 10;

constexpr int kLooksForThreads = 4;
constexpr int kModestPriority = 12;
constexpr int kLowestPriority = 19;

/// The letter after the name, which may have any characters.
bool isBusy(const std::filesystem::path &thread) {
    std::ifstream file(thread / "stat");
    std::string text;
    std::getline(file, text, '\0');
    const std::size_t end = text.rfind(") ");
    return end != std::string::npos && text.compare(end + 2, 1, "R") == 0;
}

/// Kernels that share the processor between sessions first would let the process keep the share of
/// its session, which is its own.
void setSessionsPriority(int process, int priority) {
    if (getsid(process) == process) {
        std::ofstream("/proc/" + std::to_string(process) + "/autogroup") << priority;
    }
}

} // namespace

ProcessorUse::Verdict ProcessorUse::judge(Clock::Nanoseconds now, double seconds,
                                          std::uint64_t pictures) {
    const double free = static_cast<double>(now - _lastTime) / 1e9 * kFreeShare;
    const double above = seconds - _lastSeconds - free;
    const double explained = static_cast<double>(pictures - _lastPictures) * kPerPicture;
    const bool hasLoaded = _lastPictures == 0 && pictures > 0;
    if (_isMeasuring) {
        _surplus = hasLoaded ? 0 : std::max(0.0, _surplus + above);
        _unexplained = std::max(0.0, _unexplained + above - explained);
    }
    _isMeasuring = true;
    _lastTime = now;
    _lastSeconds = seconds;
    _lastPictures = pictures;
    if (_unexplained >= kExcessive) {
        return Verdict::Excessive;
    }
    return _surplus >= (pictures > 0 ? kBusy : kBusyWhileLoading) ? Verdict::Busy : Verdict::Fine;
}

void makeModest(int process) {
    setpriority(PRIO_PGRP, static_cast<id_t>(process), kModestPriority);
    setSessionsPriority(process, kModestPriority);
}

/// A thread inherits that, so it holds for all as soon as a look finds no new one.
void makeIdle(int process) {
    const std::string folder = "/proc/" + std::to_string(process);
    std::error_code error;
    for (int look = 0; look < kLooksForThreads; ++look) {
        bool isDone = true;
        for (std::filesystem::directory_iterator thread(folder + "/task", error), end;
             !error && thread != end; thread.increment(error)) {
            const pid_t number = std::atoi(thread->path().filename().c_str());
            const sched_param lowest{};
            isDone = isDone && sched_getscheduler(number) == SCHED_IDLE;
            sched_setscheduler(number, SCHED_IDLE, &lowest);
        }
        if (isDone) {
            break;
        }
    }
    setSessionsPriority(process, kLowestPriority);
}

unsigned busyThreads(int process) {
    std::error_code error;
    unsigned count = 0;
    for (std::filesystem::directory_iterator
             thread("/proc/" + std::to_string(process) + "/task", error),
         end;
         !error && thread != end; thread.increment(error)) {
        count += isBusy(thread->path()) ? 1 : 0;
    }
    return count;
}

} // namespace Lumivera
