#include "Host/Support/PacketSocket.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <sys/socket.h>
#include <unistd.h>

using namespace Lumivera;

namespace {

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// A packet of so many bytes, at most one, with that many descriptors.
template <std::size_t Count> void sendWithDescriptors(int socket, std::size_t bytes = 1) {
    std::array<int, Count> descriptors{};
    char byte = 0;
    iovec part{&byte, bytes};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof descriptors)> control{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptors);
    std::memcpy(CMSG_DATA(header), descriptors.data(), sizeof descriptors);
    ASSERT_EQ(sendmsg(socket, &message, 0), static_cast<ssize_t>(bytes));
}

TEST(PacketSocketTest, KeepsNoDescriptorOfAnEmptyPacket) {
    const auto [ours, theirs] = PacketSocket::makePair();
    const std::size_t before = openDescriptors();
    sendWithDescriptors<1>(theirs.descriptor(), 0);
    char byte = 1;
    PacketSocket::Packet packet;
    EXPECT_EQ(ours.receive(&byte, 1, PacketSocket::Wait::No, packet), PacketSocket::Outcome::Ended);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(PacketSocketTest, TakesOneDescriptorHoweverManyCome) {
    const auto [ours, theirs] = PacketSocket::makePair();
    const std::size_t before = openDescriptors();
    sendWithDescriptors<1>(theirs.descriptor());
    sendWithDescriptors<2>(theirs.descriptor());
    sendWithDescriptors<100>(theirs.descriptor());
    for (int i = 0; i < 3; ++i) {
        char byte = 1;
        PacketSocket::Packet packet;
        ASSERT_EQ(ours.receive(&byte, 1, PacketSocket::Wait::No, packet),
                  PacketSocket::Outcome::Received);
        EXPECT_EQ(packet.count, 1U);
        EXPECT_EQ(openDescriptors(), before + (packet.attached >= 0 ? 1 : 0));
        close(packet.attached);
    }
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace
