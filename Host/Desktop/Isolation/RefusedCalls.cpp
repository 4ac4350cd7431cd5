#include "Host/Desktop/Isolation/RefusedCalls.h"

#include "Host/Desktop/Isolation/CallFilter.h"

#include <cerrno>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Lumivera {

namespace {

/// Newer kernels may give more than this program was compiled for.
constexpr std::size_t kRoom = 1024;
static_assert(sizeof(seccomp_notif) < kRoom && sizeof(seccomp_notif_resp) < kRoom);

} // namespace

RefusedCalls::RefusedCalls(DescriptorWatch &watch, int listener,
                           std::function<void(const std::string &name)> tell)
    : _watch(watch), _listener(listener), _tell(std::move(tell)) {
    _watch.add(*this);
}

RefusedCalls::~RefusedCalls() { close(); }

void RefusedCalls::close() {
    if (_listener >= 0) {
        _watch.remove(*this);
        ::close(std::exchange(_listener, -1));
    }
}

/// Serves at most one call each time, so that other events get their turn.
void RefusedCalls::serve() {
    if (!hasCall() || !refuseOne() || ++_calls >= kMaxCalls) {
        close();
    }
}

/// Without a call, receiving one would wait, on some kernels for ever.
bool RefusedCalls::hasCall() const {
    pollfd state{_listener, POLLIN, 0};
    return poll(&state, 1, 0) == 1 && (state.revents & POLLIN) != 0;
}

/// True as well when the caller has ended meanwhile.
bool RefusedCalls::refuseOne() {
    alignas(seccomp_notif) char room[kRoom] = {};
    auto *const call = reinterpret_cast<seccomp_notif *>(room);
    if (ioctl(_listener, SECCOMP_IOCTL_NOTIF_RECV, call) != 0) {
        return errno == ENOENT || errno == EINTR;
    }
    const int number = call->data.nr;
    alignas(seccomp_notif_resp) char answerRoom[kRoom] = {};
    auto *const answer = reinterpret_cast<seccomp_notif_resp *>(answerRoom);
    answer->id = call->id;
    answer->error = -EPERM;
    ioctl(_listener, SECCOMP_IOCTL_NOTIF_SEND, answer);
    if (_told.insert(number).second) {
        _tell(CallFilter::nameOf(number));
    }
    return true;
}

} // namespace Lumivera
