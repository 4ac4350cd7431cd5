#include "Host/Desktop/Control/ControlPeer.h"

#include "Host/Desktop/Control/ControlRequest.h"
#include "Host/Desktop/Control/ControlService.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr std::size_t kPart = std::size_t{16} * 1024;

bool shallTryAgain() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

} // namespace

ControlPeer::ControlPeer(DescriptorWaiter &waiter, int descriptor, std::uint64_t number,
                         Owner &owner)
    : _waiter(waiter), _descriptor(descriptor), _number(number), _owner(owner) {
    _waiter.add(*this);
}

ControlPeer::~ControlPeer() {
    _waiter.remove(*this);
    close(_descriptor);
}

void ControlPeer::answer(std::string_view text) {
    _isAsking = false;
    if (!_isDeaf) {
        _unsent.append(text).append("\n");
        send();
    }
}

bool ControlPeer::isIdle() const {
    pollfd state{_descriptor, POLLIN, 0};
    return !_isAsking && (!_unsent.empty() || (!canTakeLine() && poll(&state, 1, 0) == 0));
}

void ControlPeer::dismiss(std::string_view text) {
    _isDismissed = true;
    _received.clear();
    answer(text);
}

/// Waits for reading only while there is room: a readable socket that is not read would wake the
/// run loop without end.
short ControlPeer::awaitedEvents() const {
    const int reading = hasRoom() ? POLLIN : 0;
    const int writing = _unsent.empty() ? 0 : POLLOUT;
    return static_cast<short>(reading | writing);
}

bool ControlPeer::prepareToWait() { return canTakeLine() || isDone(); }

void ControlPeer::serve() {
    if (hasRoom()) {
        receive();
    } else if (hasHungUp()) {
        becomeDeaf();
    }
    send();
    takeLines();
    if (isDone()) {
        _owner.peerLeft(*this);
    }
}

bool ControlPeer::hasRoom() const {
    return !_hasEnded && !_isDismissed && _received.size() <= ControlRequest::kMaxBytes;
}

void ControlPeer::receive() {
    std::array<char, kPart> part;
    const ssize_t count = recv(_descriptor, part.data(), part.size(), MSG_DONTWAIT);
    if (count > 0) {
        _received.append(part.data(), static_cast<std::size_t>(count));
    } else if (count == 0) {
        end();
    } else if (!shallTryAgain()) {
        end();
        becomeDeaf();
    }
}

/// At the end of the input, a last line without a line break is complete.
void ControlPeer::end() {
    _hasEnded = true;
    if (!_received.empty() && !_received.ends_with('\n')) {
        _received += '\n';
    }
}

bool ControlPeer::hasHungUp() const {
    pollfd state{_descriptor, 0, 0};
    return poll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLERR)) != 0;
}

/// Discards answers, because nobody reads them any more. Requests that have arrived are still
/// executed.
void ControlPeer::becomeDeaf() {
    _isDeaf = true;
    _unsent.clear();
}

void ControlPeer::takeLines() {
    for (int count = 0; count < kMaxLinesInTurn && canTakeLine(); ++count) {
        const std::size_t end = _received.find('\n');
        const std::string line = _received.substr(0, end);
        _received.erase(0, end + 1);
        _isAsking = true;
        _owner.peerAsked(*this, line);
    }
    const bool isTooLong =
        _received.size() > ControlRequest::kMaxBytes && _received.find('\n') == std::string::npos;
    if (isTooLong && !_isAsking) {
        dismiss(ControlService::refusal(ControlRequest::lengthProblem()));
    }
}

bool ControlPeer::canTakeLine() const {
    return !_isAsking && !_isDismissed && _unsent.size() < kMaxBacklog &&
           _received.find('\n') != std::string::npos;
}

void ControlPeer::send() {
    while (!_unsent.empty()) {
        const ssize_t count =
            ::send(_descriptor, _unsent.data(), _unsent.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            if (!shallTryAgain()) {
                becomeDeaf();
            }
            return;
        }
        _unsent.erase(0, static_cast<std::size_t>(count));
    }
}

bool ControlPeer::isDone() const {
    const bool hasAnswered = _unsent.empty() && !_isAsking && !canTakeLine();
    return hasAnswered ? _hasEnded || _isDismissed || _isDeaf : _isDeaf && _isAsking;
}

} // namespace Lumivera
