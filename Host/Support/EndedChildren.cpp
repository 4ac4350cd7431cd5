#include "Host/Support/EndedChildren.h"

#include "Host/Support/DeferredCall.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace Lumivera {

namespace {

constexpr int kPatience = 500; // milliseconds

/// The children that end late.
class LateChildren {
  public:
    static LateChildren &shared() {
        static LateChildren &children = *new LateChildren;
        return children;
    }

    void add(pid_t child) {
        _children.push_back(child);
        _delay = kFirstDelay;
        _lookAgain.callAfter(_delay);
    }

  private:
    static constexpr NSTimeInterval kFirstDelay = 0.1;
    static constexpr NSTimeInterval kLongestDelay = 60;

    LateChildren() : _lookAgain([this] { look(); }) {}

    /// A negative number stands for all children of a group.
    static bool hasGone(pid_t child) {
        pid_t taken = 0;
        do {
            taken = waitpid(child, nullptr, WNOHANG);
        } while (taken > 0 && child < 0);
        return taken != 0;
    }

    void look() {
        std::erase_if(_children, hasGone);
        if (!_children.empty()) {
            _delay = std::min(2 * _delay, kLongestDelay);
            _lookAgain.callAfter(_delay);
        }
    }

    std::vector<pid_t> _children;
    NSTimeInterval _delay = kFirstDelay;
    DeferredCall _lookAgain;
};

} // namespace

std::optional<int> EndedChildren::take(int process) {
    if (process <= 0) {
        return std::nullopt;
    }
    const int watched = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    pollfd end{watched, POLLIN, 0};
    if (watched >= 0) {
        while (poll(&end, 1, kPatience) < 0 && errno == EINTR) {
        }
        close(watched);
    }
    int status = 0;
    if (waitpid(process, &status, WNOHANG) == process) {
        return status;
    }
    takeLater(process);
    return std::nullopt;
}

void EndedChildren::takeLater(int process) { LateChildren::shared().add(process); }

} // namespace Lumivera
