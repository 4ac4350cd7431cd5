#include "Host/Support/SignalWatch.h"

#include "Host/Support/HostError.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace Lumivera {

namespace {

sigset_t watchedSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

} // namespace

SignalWatch::SignalWatch(std::function<void()> action) {
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    _signals = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    _end = eventfd(0, EFD_CLOEXEC);
    if (_signals < 0 || _end < 0) {
        throw HostError("signals", "cannot be watched: " + systemErrorText());
    }
    _thread = std::thread([this, action = std::move(action)] { watch(action); });
}

SignalWatch::~SignalWatch() {
    const std::uint64_t one = 1;
    while (write(_end, &one, sizeof one) < 0 && errno == EINTR) {
    }
    _thread.join();
    close(_signals);
    close(_end);
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void SignalWatch::watch(const std::function<void()> &action) const {
    pollfd sources[] = {{_signals, POLLIN, 0}, {_end, POLLIN, 0}};
    while (poll(sources, 2, -1) < 0 && errno == EINTR) {
    }
    signalfd_siginfo signal;
    if (sources[1].revents != 0 || read(_signals, &signal, sizeof signal) < 0) {
        return;
    }
    action();
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    pollfd end{_end, POLLIN, 0};
    while (poll(&end, 1, -1) < 0 && errno == EINTR) {
    }
}

} // namespace Lumivera
