#pragma once

#include "Tests/Platform/Foundation/TemporaryFolder.h"

#include <string>
#include <sys/types.h>
#include <vector>

/// What a hostile wallpaper could do harm to. A new one for every deed.
class Victims {
  public:
    Victims();
    ~Victims();
    Victims(const Victims &) = delete;
    Victims &operator=(const Victims &) = delete;

    /// The bundle, with a file `picture` and a link `link` to the secret.
    const std::string &bundle() const { return _bundle; }
    std::string picture() const { return _bundle + "/picture"; }

    /// A folder of the user's, with the files `secret` and `mine` and an empty folder `empty`.
    const std::string &folder() const { return _folder.path(); }
    std::string secret() const { return _folder.pathOf("secret"); }
    std::string mine() const { return _folder.pathOf("mine"); }

    /// A process of the user's, in which every signal is blocked and stays pending.
    pid_t process() const { return _process; }

    /// Whether that process has been sent the signal.
    bool wasSent(int signal) const;

    /// Both ends of a connection that the wallpaper inherits.
    int connection() const { return _connection[0]; }
    int otherEnd() const { return _connection[1]; }

    /// Sockets that listen: a port of 127.0.0.1, a path, and a name without a path.
    int port() const { return _port; }
    std::string socketPath() const { return _folder.pathOf("socket"); }
    const std::string &socketName() const { return _socketName; }

    /// System V shared memory, semaphores and messages; a POSIX message queue.
    int memory() const { return _memory; }
    int semaphore() const { return _semaphore; }
    int messages() const { return _messages; }
    const std::string &queue() const { return _queue; }

    /// A key in the user's ring of keys; the session has a link to that ring, as after a login.
    int key() const { return _key; }
    const std::string &keyName() const { return _socketName; }

  private:
    void listen();
    void makeSharedThings();
    void makeKey();

    TemporaryFolder _folder;
    std::string _bundle;
    pid_t _process = -1;
    int _connection[2] = {-1, -1};
    std::vector<int> _sockets;
    int _port = 0;
    std::string _socketName;
    int _memory = -1;
    int _semaphore = -1;
    int _messages = -1;
    std::string _queue;
    int _key = -1;
};

/// A deed of hostile code.
struct Deed {
    const char *name;

    /// The walls, as bits of Sandbox::Wall, each of which stops the deed alone.
    unsigned stoppers;

    /// Does it within the sandbox; true when it has succeeded.
    bool (*succeeds)(const Victims &victims);

    /// From this version on, Landlock stops it, when it is one of the stoppers.
    int landlock = 1;

    /// For deeds whose success is seen from outside only; asked when the sandbox has ended.
    bool (*hasHappened)(const Victims &victims) = nullptr;
};

/// Every deed, by family.
const std::vector<Deed> &fileDeeds();
const std::vector<Deed> &processDeeds();
const std::vector<Deed> &connectionDeeds();
const std::vector<Deed> &systemDeeds();
