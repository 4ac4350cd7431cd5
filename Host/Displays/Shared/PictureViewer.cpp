#include "Host/Displays/Shared/PictureViewer.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

using namespace PictureMessage;

namespace {

/// Messages that are taken at a time, so that a host that floods does not keep the viewer from its
/// other work.
constexpr int kMaxMessages = 64;

bool isSealed(int descriptor, std::size_t bytes) {
    struct stat status {};
    const int seals = fcntl(descriptor, F_GET_SEALS);
    return seals >= 0 && (seals & F_SEAL_SHRINK) != 0 && fstat(descriptor, &status) == 0 &&
           status.st_size >= 0 && static_cast<std::size_t>(status.st_size) == bytes;
}

bool isWithin(const std::vector<Rect> &rects, const PictureMemory &memory) {
    for (const Rect &rect : rects) {
        if (rect.right > static_cast<std::int32_t>(memory.width()) ||
            rect.bottom > static_cast<std::int32_t>(memory.height())) {
            return false;
        }
    }
    return true;
}

std::vector<Rect> everythingOf(const PictureMemory &memory) {
    return {{0, 0, static_cast<std::int32_t>(memory.width()),
             static_cast<std::int32_t>(memory.height())}};
}

} // namespace

std::shared_ptr<const PictureMemory> PictureMemory::map(int descriptor, const Memory &message) {
    void *mapped = MAP_FAILED;
    if (isSealed(descriptor, message.bytes())) {
        mapped = mmap(nullptr, message.bytes(), PROT_READ, MAP_SHARED, descriptor, 0);
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
    if (mapped == MAP_FAILED) {
        return nullptr;
    }
    const auto *pixels = static_cast<const std::uint32_t *>(mapped);
    return std::shared_ptr<const PictureMemory>(new PictureMemory(message, pixels));
}

PictureMemory::~PictureMemory() { munmap(const_cast<std::uint32_t *>(_pixels), _message.bytes()); }

std::unique_ptr<PictureViewer> PictureViewer::connectTo(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return nullptr;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    PacketSocket connection(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!connection.isOpen() ||
        connect(connection.descriptor(), reinterpret_cast<const sockaddr *>(&address),
                sizeof address) != 0 ||
        !isPeerOfUser(connection.descriptor())) {
        return nullptr;
    }
    return std::make_unique<PictureViewer>(std::move(connection));
}

void PictureViewer::describe(const Output &output) { send(output); }

/// A tap that the host has no room for is lost.
void PictureViewer::tap(double x, double y) {
    const auto bytes = bytesOf(FromViewer(Tap{x, y}));
    _connection.send(bytes.data(), bytes.size(), PacketSocket::Wait::No);
}

bool PictureViewer::receive() {
    for (int count = 0; count < kMaxMessages && !_hasEnded; ++count) {
        std::array<std::uint8_t, kMaxBytes + 1> bytes;
        PacketSocket::Packet packet;
        const auto outcome =
            _connection.receive(bytes.data(), bytes.size(), PacketSocket::Wait::No, packet);
        if (outcome == PacketSocket::Outcome::Nothing) {
            break;
        }
        if (outcome == PacketSocket::Outcome::Ended) {
            end("the host has ended");
        } else {
            takeMessage(bytes.data(), packet.count, packet.attached);
        }
    }
    return !_hasEnded;
}

PictureViewer::Picture PictureViewer::takePicture() {
    _isNew = false;
    Picture taken = _picture;
    _picture.damage.clear();
    return taken;
}

void PictureViewer::release() {
    if (std::exchange(_isHeld, false)) {
        send(Release{_picture.memory->number(), _picture.buffer});
    }
}

/// A message that the host has no room for would be missed, so the connection ends.
void PictureViewer::send(const FromViewer &message) {
    const auto bytes = bytesOf(message);
    if (!_connection.send(bytes.data(), bytes.size(), PacketSocket::Wait::No)) {
        end("the host does not listen");
    }
}

void PictureViewer::takeMessage(const std::uint8_t *bytes, std::size_t count, int attached) {
    const FromHost message = parseFromHost(bytes, count);
    if (const auto *memory = std::get_if<Memory>(&message)) {
        take(*memory, attached);
        return;
    }
    if (attached >= 0) {
        close(attached);
        end("the host sent a descriptor that belongs to nothing");
    } else if (const auto *frame = std::get_if<Frame>(&message)) {
        take(*frame);
    } else if (std::holds_alternative<Forgotten>(message)) {
        _hasForgotten = true;
    } else if (const auto *refusal = std::get_if<Refusal>(&message)) {
        end(refusal->words);
    } else {
        end("the host sent something that is no message");
    }
}

void PictureViewer::take(const Memory &message, int attached) {
    _memory = PictureMemory::map(attached, message);
    if (!_memory) {
        end("the host sent memory that cannot be used");
    }
}

/// Damage adds up until the picture is taken.
void PictureViewer::take(const Frame &frame) {
    const bool isSame = _picture.memory == _memory;
    if (!_memory || frame.memory != _memory->number() || frame.buffer >= _memory->buffers() ||
        (_isHeld && isSame) || !isWithin(frame.damage, *_memory)) {
        end("the host sent a frame that cannot be shown");
        return;
    }
    if (!isSame) {
        _picture.damage = everythingOf(*_memory);
    } else {
        _picture.damage.insert(_picture.damage.end(), frame.damage.begin(), frame.damage.end());
    }
    _picture.memory = _memory;
    _picture.buffer = frame.buffer;
    _isNew = true;
    _isHeld = true;
}

void PictureViewer::end(const std::string &problem) {
    if (!_hasEnded) {
        _hasEnded = true;
        _problem = problem;
        shutdown(_connection.descriptor(), SHUT_RDWR); // so that it is readable
    }
}

} // namespace Lumivera
