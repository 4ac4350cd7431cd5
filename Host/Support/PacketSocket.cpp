#include "Host/Support/PacketSocket.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace Lumivera {

namespace {

/// The control data of a packet with one descriptor.
union Attachment {
    cmsghdr header;
    char bytes[CMSG_SPACE(sizeof(int))];
};

int flagsFor(PacketSocket::Wait wait) { return wait == PacketSocket::Wait::No ? MSG_DONTWAIT : 0; }

/// Excludes the padding, in which a second descriptor could arrive and leak.
constexpr std::size_t kAttachmentBytes = CMSG_LEN(sizeof(int));

int attachedTo(msghdr &message) {
    const cmsghdr *header = CMSG_FIRSTHDR(&message);
    int descriptor = -1;
    if (header && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS &&
        header->cmsg_len == CMSG_LEN(sizeof descriptor)) {
        std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    }
    return descriptor;
}

ssize_t sendWith(int attached, int descriptor, const void *bytes, std::size_t count, int flags) {
    iovec part{const_cast<void *>(bytes), count};
    Attachment attachment{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = attachment.bytes;
    message.msg_controllen = sizeof attachment.bytes;
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof attached);
    std::memcpy(CMSG_DATA(header), &attached, sizeof attached);
    return sendmsg(descriptor, &message, flags);
}

} // namespace

std::pair<PacketSocket, PacketSocket> PacketSocket::makePair() {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        return {PacketSocket(-1), PacketSocket(-1)};
    }
    return {PacketSocket(ends[0]), PacketSocket(ends[1])};
}

PacketSocket::PacketSocket(PacketSocket &&other) noexcept
    : _descriptor(std::exchange(other._descriptor, -1)) {}

PacketSocket::~PacketSocket() {
    if (_descriptor >= 0) {
        close(_descriptor);
    }
}

bool PacketSocket::send(const void *bytes, std::size_t count, Wait wait, int attached) const {
    const int flags = MSG_NOSIGNAL | flagsFor(wait);
    ssize_t sent = 0;
    do {
        sent = attached < 0 ? ::send(_descriptor, bytes, count, flags)
                            : sendWith(attached, _descriptor, bytes, count, flags);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(count);
}

PacketSocket::Outcome PacketSocket::receive(void *bytes, std::size_t capacity, Wait wait,
                                            Packet &packet) const {
    iovec part{bytes, capacity};
    Attachment attachment{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = attachment.bytes;
    message.msg_controllen = kAttachmentBytes;
    ssize_t received = 0;
    do {
        received = recvmsg(_descriptor, &message, MSG_CMSG_CLOEXEC | flagsFor(wait));
        // ECONNRESET means that the other end closed with unread packets; what it sent before can
        // still be received.
    } while (received < 0 && (errno == EINTR || errno == ECONNRESET));
    if (received < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        return Outcome::Nothing;
    }
    if (received < 0) {
        return Outcome::Ended;
    }
    packet = {static_cast<std::size_t>(received), attachedTo(message)};
    if (received == 0) { // the end, or an empty packet, which nobody who keeps the rules sends
        close(std::exchange(packet.attached, -1));
        return Outcome::Ended;
    }
    return Outcome::Received;
}

bool isPeerOfUser(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == geteuid() || peer.uid == 0);
}

} // namespace Lumivera
