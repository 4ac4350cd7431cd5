#include "Tests/Host/Hostile/Deeds.h"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/keyctl.h>
#include <mqueue.h>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

pid_t beginVictim() {
    int ready[2];
    if (pipe(ready) != 0) {
        return -1;
    }
    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        close(ready[0]);
        close(ready[1]);
        for (;;) {
            pause();
        }
    }
    close(ready[1]);
    char none = 0;
    while (read(ready[0], &none, 1) < 0 && errno == EINTR) {
    }
    close(ready[0]);
    return process;
}

} // namespace

Victims::Victims() {
    _bundle = _folder.makeFolder("A.bundle");
    _folder.write("A.bundle/picture", "picture");
    _folder.write("secret", "secret");
    _folder.write("mine", "mine");
    _folder.makeFolder("empty");
    setxattr(mine().c_str(), "user.note", "x", 1, 0);
    std::filesystem::create_symlink("../secret", _bundle + "/link");
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, _connection) != 0) {
        throw std::runtime_error("no connection");
    }
    listen();
    makeSharedThings();
    makeKey();
    _process = beginVictim();
}

Victims::~Victims() {
    kill(_process, SIGKILL);
    waitpid(_process, nullptr, 0);
    for (const int descriptor : _sockets) {
        close(descriptor);
    }
    close(_connection[0]);
    close(_connection[1]);
    shmctl(_memory, IPC_RMID, nullptr);
    semctl(_semaphore, 0, IPC_RMID);
    msgctl(_messages, IPC_RMID, nullptr);
    mq_unlink(_queue.c_str());
    syscall(SYS_keyctl, KEYCTL_UNLINK, _key, KEY_SPEC_USER_KEYRING);
}

void Victims::listen() {
    sockaddr_in internet{};
    internet.sin_family = AF_INET;
    internet.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_un path{};
    path.sun_family = AF_UNIX;
    std::strncpy(path.sun_path, socketPath().c_str(), sizeof path.sun_path - 1);
    _socketName = "hostile" + folder().substr(folder().rfind('-'));
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path + 1, _socketName.c_str(), sizeof name.sun_path - 2);
    const auto open = [this](int family, const void *address, socklen_t bytes) {
        _sockets.push_back(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        bind(_sockets.back(), static_cast<const sockaddr *>(address), bytes);
        ::listen(_sockets.back(), 4);
    };
    open(AF_INET, &internet, sizeof internet);
    socklen_t bytes = sizeof internet;
    getsockname(_sockets.back(), reinterpret_cast<sockaddr *>(&internet), &bytes);
    _port = ntohs(internet.sin_port);
    open(AF_UNIX, &path, sizeof path);
    open(AF_UNIX, &name,
         static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + _socketName.size()));
}

void Victims::makeSharedThings() {
    _memory = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600);
    _semaphore = semget(IPC_PRIVATE, 1, IPC_CREAT | 0600);
    _messages = msgget(IPC_PRIVATE, IPC_CREAT | 0600);
    _queue = "/" + _socketName;
    const mqd_t queue = mq_open(_queue.c_str(), O_CREAT | O_RDWR, 0600, nullptr);
    if (queue >= 0) {
        mq_close(queue);
    }
}

void Victims::makeKey() {
    constexpr std::string_view kSecret = "secret";
    syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr);
    syscall(SYS_keyctl, KEYCTL_LINK, KEY_SPEC_USER_KEYRING, KEY_SPEC_SESSION_KEYRING);
    _key = static_cast<int>(syscall(SYS_add_key, "user", keyName().c_str(), kSecret.data(),
                                    kSecret.size(), KEY_SPEC_USER_KEYRING));
}

bool Victims::wasSent(int signal) const {
    std::ifstream status("/proc/" + std::to_string(_process) + "/status");
    unsigned long long pending = 0;
    for (std::string word; status >> word;) {
        if (word == "SigPnd:" || word == "ShdPnd:") {
            unsigned long long bits = 0;
            status >> std::hex >> bits;
            pending |= bits;
        }
    }
    return (pending >> (signal - 1) & 1) != 0;
}
