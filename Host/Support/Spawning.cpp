#include "Host/Support/Spawning.h"

#include <csignal>
#include <fcntl.h>
#include <spawn.h>

extern char **environ;

namespace Lumivera {

namespace {

class Attributes {
  public:
    Attributes() {
        sigset_t none;
        sigemptyset(&none);
        sigset_t standard;
        sigemptyset(&standard);
        sigaddset(&standard, SIGPIPE);
        sigaddset(&standard, SIGXFSZ);
        posix_spawnattr_init(&_attributes);
        posix_spawnattr_setsigmask(&_attributes, &none);
        posix_spawnattr_setsigdefault(&_attributes, &standard);
        posix_spawnattr_setpgroup(&_attributes, 0);
        posix_spawnattr_setflags(&_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                   POSIX_SPAWN_SETPGROUP);
    }
    ~Attributes() { posix_spawnattr_destroy(&_attributes); }
    Attributes(const Attributes &) = delete;
    Attributes &operator=(const Attributes &) = delete;

    const posix_spawnattr_t *get() const { return &_attributes; }

  private:
    posix_spawnattr_t _attributes;
};

class FileActions {
  public:
    explicit FileActions(const std::vector<int> &files) {
        posix_spawn_file_actions_init(&_actions);
        for (int i = 0; i < static_cast<int>(files.size()); ++i) {
            const int file = files[static_cast<std::size_t>(i)];
            if (file < 0) {
                posix_spawn_file_actions_addopen(&_actions, i, "/dev/null", O_RDWR, 0);
            } else {
                posix_spawn_file_actions_adddup2(&_actions, file, i);
            }
        }
    }
    ~FileActions() { posix_spawn_file_actions_destroy(&_actions); }
    FileActions(const FileActions &) = delete;
    FileActions &operator=(const FileActions &) = delete;

    const posix_spawn_file_actions_t *get() const { return &_actions; }

  private:
    posix_spawn_file_actions_t _actions;
};

/// As C takes them: pointers, and a null behind them.
std::vector<char *> pointersTo(const std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (const std::string &text : texts) {
        pointers.push_back(const_cast<char *>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

int spawnProgram(const std::vector<std::string> &arguments, const std::vector<int> &files,
                 const std::vector<std::string> &environment) {
    const FileActions actions(files);
    const Attributes attributes;
    pid_t process = -1;
    const int error =
        posix_spawnp(&process, arguments.front().c_str(), actions.get(), attributes.get(),
                     pointersTo(arguments).data(), pointersTo(environment).data());
    return error == 0 ? process : -error;
}

std::vector<std::string> ownEnvironment() {
    std::vector<std::string> variables;
    for (char **variable = environ; *variable; ++variable) {
        variables.emplace_back(*variable);
    }
    return variables;
}

} // namespace Lumivera
