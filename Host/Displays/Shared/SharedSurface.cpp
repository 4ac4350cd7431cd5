#include "Host/Displays/Shared/SharedSurface.h"

#include <array>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

using namespace PictureMessage;

namespace {

/// Messages that are taken at a time.
constexpr int kMaxMessages = 64;

/// A viewer that takes longer does not show its pictures to anybody.
constexpr NSTimeInterval kMaxReleaseSeconds = 0.7;

/// A viewer that has not told its output by then is left.
constexpr NSTimeInterval kMaxSilentSeconds = 5;

constexpr Clock::Nanoseconds kSecond = 1'000'000'000;

std::vector<Rect> rectsOf(const std::vector<DeviceRect> &damage) {
    std::vector<Rect> rects;
    rects.reserve(damage.size());
    for (const DeviceRect &rect : damage) {
        rects.push_back({rect.left, rect.top, rect.right, rect.bottom});
    }
    return rects;
}

SurfaceGeometry geometryOf(const Output &output) {
    return {output.width, output.height, output.density};
}

SurfaceVisibility visibilityOf(Visibility visibility) {
    switch (visibility) {
    case Visibility::Visible:
        return SurfaceVisibility::Visible;
    case Visibility::Covered:
        return SurfaceVisibility::Covered;
    case Visibility::FullScreen:
        return SurfaceVisibility::FullScreen;
    case Visibility::Off:
        return SurfaceVisibility::Off;
    }
    return SurfaceVisibility::Visible;
}

} // namespace

SharedSurface::SharedSurface(DescriptorWatch &watch, PacketSocket connection, Owner &owner)
    : _watch(watch), _connection(std::move(connection)), _owner(owner),
      _overdue([this] { setStalled(true); }), _wantBuffer([this] { wantBuffer(); }),
      _leave([this] { leave(); }) {
    _leave.callAfter(kMaxSilentSeconds);
    _watch.add(*this);
}

SharedSurface::~SharedSurface() { _watch.remove(*this); }

void SharedSurface::refuse(const std::string &words) {
    send(Refusal{words});
    leaveSoon();
}

SurfaceGeometry SharedSurface::geometry() const { return geometryOf(_output); }

SurfaceVisibility SharedSurface::visibility() const {
    const SurfaceVisibility told = visibilityOf(_output.visibility);
    return told == SurfaceVisibility::Visible && _isStalled ? SurfaceVisibility::Covered : told;
}

SurfaceLayer SharedSurface::layer() const { return {"behind", "", kWords, ""}; }

void SharedSurface::setBuffers(std::shared_ptr<SharedBuffers> memory) {
    _memory = std::move(memory);
    _held.reset();
    if (_memory) {
        send(Memory{++_memoryNumber, _memory->width(), _memory->height(), _memory->count()},
             _memory->descriptor());
        _wantBuffer.callAfter(0);
    }
}

void SharedSurface::present(unsigned index, const std::vector<DeviceRect> &damage) {
    if (!_memory || _held || _isLeaving) {
        return;
    }
    _held = index;
    send(
        Frame{_memoryNumber, index, clipped(rectsOf(damage), _memory->width(), _memory->height())});
    _overdue.callAfter(kMaxReleaseSeconds);
}

/// A viewer that was refused is only waited for until it has ended.
short SharedSurface::awaitedEvents() const { return _isLeaving ? 0 : POLLIN; }

void SharedSurface::serve() {
    for (int count = 0; count < kMaxMessages && !_isLeaving; ++count) {
        std::array<std::uint8_t, kMaxBytes + 1> bytes;
        PacketSocket::Packet packet;
        const auto outcome =
            _connection.receive(bytes.data(), bytes.size(), PacketSocket::Wait::No, packet);
        if (outcome == PacketSocket::Outcome::Nothing) {
            break;
        }
        if (outcome == PacketSocket::Outcome::Ended) {
            leave();
            return;
        }
        if (packet.attached >= 0) {
            close(packet.attached);
        }
        if (isFlooded()) {
            refuse("it sends too many messages");
        } else if (packet.attached >= 0 || !take(parseFromViewer(bytes.data(), packet.count))) {
            refuse("it sends what is no message here");
        }
    }
    if (!_isLeaving) {
        applyOutput();
    }
}

/// False when the message breaks a rule.
bool SharedSurface::take(const FromViewer &message) {
    if (const auto *output = std::get_if<Output>(&message)) {
        const bool isAllowed =
            output->version == kVersion && (_told.name.empty() || output->name == _told.name);
        _told = isAllowed ? *output : _told;
        return isAllowed;
    }
    if (const auto *release = std::get_if<Release>(&message)) {
        return take(*release);
    }
    if (const auto *tap = std::get_if<Tap>(&message)) {
        take(*tap);
        return true;
    }
    return false;
}

/// Releases of older memory come late, when it was replaced meanwhile.
bool SharedSurface::take(const Release &release) {
    if (release.memory != _memoryNumber) {
        return release.memory < _memoryNumber;
    }
    if (_held != release.buffer) {
        return false;
    }
    _held.reset();
    _overdue.cancel();
    setStalled(false);
    wantBuffer();
    return true;
}

void SharedSurface::take(const Tap &tap) {
    const bool isInside = tap.x >= 0 && tap.y >= 0 && tap.x * _output.density < _output.width &&
                          tap.y * _output.density < _output.height;
    if (_listener && isInside) {
        _listener->tapped({tap.x, tap.y});
    }
}

bool SharedSurface::isFlooded() {
    const Clock::Nanoseconds now = Clock::current().now();
    if (now - _secondBegan > kSecond) {
        _secondBegan = now;
        _messages = 0;
    }
    return ++_messages > kMaxMessagesASecond;
}

/// Tells of the last of several changes only.
void SharedSurface::applyOutput() {
    if (_told == _output) {
        return;
    }
    const SurfaceVisibility before = visibility();
    const Output old = std::exchange(_output, _told);
    if (old.name.empty()) {
        _leave.cancel();
        _owner.viewerArrived(*this);
        return;
    }
    if (_listener && geometryOf(old) != geometry()) {
        _listener->surfaceGeometryChanged();
    }
    if (_listener && before != visibility()) {
        _listener->surfaceVisibilityChanged();
    }
}

/// The viewer copies what it reads, so one buffer is enough, and only its damage is drawn again.
void SharedSurface::wantBuffer() {
    if (_listener && _memory && !_held && !_isLeaving) {
        _listener->bufferWanted(0);
    }
}

/// What cannot be sent at once was not read for long.
void SharedSurface::send(const FromHost &message, int attached) {
    const auto bytes = bytesOf(message);
    if (!_connection.send(bytes.data(), bytes.size(), PacketSocket::Wait::No, attached)) {
        leaveSoon();
    }
}

void SharedSurface::setStalled(bool isStalled) {
    const SurfaceVisibility before = visibility();
    _isStalled = isStalled;
    if (_listener && before != visibility()) {
        _listener->surfaceVisibilityChanged();
    }
}

/// Leaves in a call-out of its own.
void SharedSurface::leaveSoon() {
    _isLeaving = true;
    _leave.callAfter(0);
}

/// The last call: the owner destroys the surface.
void SharedSurface::leave() { _owner.viewerLeft(*this); }

} // namespace Lumivera
