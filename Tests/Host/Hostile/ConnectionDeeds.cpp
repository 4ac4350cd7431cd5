#include "Host/Desktop/Isolation/Sandbox.h"
#include "Tests/Host/Hostile/Deeds.h"

#include <arpa/inet.h>
#include <cstddef>
#include <cstring>
#include <mqueue.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr unsigned N = Lumivera::Sandbox::kNamespaces;
constexpr unsigned L = Lumivera::Sandbox::kFileRules;
constexpr unsigned S = Lumivera::Sandbox::kCallFilter;

sockaddr_in addressOf(const Victims &victims) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(victims.port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool connects(const Victims &victims) {
    const sockaddr_in address = addressOf(victims);
    return connect(socket(AF_INET, SOCK_STREAM, 0), reinterpret_cast<const sockaddr *>(&address),
                   sizeof address) == 0;
}

bool sendsDatagram(const Victims &victims) {
    const sockaddr_in address = addressOf(victims);
    const int made = socket(AF_INET, SOCK_DGRAM, 0);
    return sendto(made, "x", 1, 0, reinterpret_cast<const sockaddr *>(&address), sizeof address) ==
           1;
}

/// A name begins with a zero, a path does not.
bool connectsTo(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    const auto bytes = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    return connect(socket(AF_UNIX, SOCK_STREAM, 0), reinterpret_cast<const sockaddr *>(&address),
                   bytes) == 0;
}

bool sendsMessage(const Victims &victims) {
    const struct {
        long kind;
        char text;
    } message{1, 'x'};
    return msgsnd(victims.messages(), &message, 1, IPC_NOWAIT) == 0;
}

bool opensQueue(const Victims &victims) { return mq_open(victims.queue().c_str(), O_RDWR) >= 0; }

} // namespace

const std::vector<Deed> &connectionDeeds() {
    static const std::vector<Deed> deeds = {
        {"connects to a port", N | L | S, connects, 4},
        {"sends a datagram", N | S, sendsDatagram},
        {"opens a raw socket", N | S,
         [](const Victims &) { return socket(AF_PACKET, SOCK_RAW, 0) >= 0; }},
        {"connects to a socket by its path", N | S,
         [](const Victims &v) { return connectsTo(v.socketPath()); }},
        {"connects to a socket by its name", N | L | S,
         [](const Victims &v) { return connectsTo(std::string(1, '\0') + v.socketName()); }, 6},
        {"maps the shared memory of others", N | S,
         [](const Victims &v) {
             return shmat(v.memory(), nullptr, 0) != reinterpret_cast<void *>(-1);
         }},
        {"removes the shared memory of others", N | S,
         [](const Victims &v) { return shmctl(v.memory(), IPC_RMID, nullptr) == 0; }},
        {"changes the semaphores of others", N | S,
         [](const Victims &v) { return semctl(v.semaphore(), 0, SETVAL, 1) == 0; }},
        {"removes the semaphores of others", N | S,
         [](const Victims &v) { return semctl(v.semaphore(), 0, IPC_RMID) == 0; }},
        {"sends messages to others", N | S, sendsMessage},
        {"removes the messages of others", N | S,
         [](const Victims &v) { return msgctl(v.messages(), IPC_RMID, nullptr) == 0; }},
        {"opens the message queue of others", N | S, opensQueue},
        {"removes the message queue of others", N | S,
         [](const Victims &v) { return mq_unlink(v.queue().c_str()) == 0; }},
    };
    return deeds;
}
