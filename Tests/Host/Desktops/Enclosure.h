#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

/// Namespaces of processes, mounts and networks for a whole desktop session: whatever it starts is
/// found again, runs as a user without privileges, and ends with the enclosure or with the test.
/// The session sees only its own processes, an empty /tmp and no network.
///
/// Root makes it directly, and what runs in it is the user nobody's; another user needs the kernel
/// to allow user namespaces, and what runs in it is that user's.
class Enclosure {
  public:
    struct Result {
        int status;

        /// What it wrote to the standard output and to the standard error.
        std::string output;
    };

    /// `folder` belongs to the enclosure, and has the same path inside. Of the machine's X servers
    /// the session sees only `display`, such as ":5".
    Enclosure(const std::string &folder, const std::string &display);
    ~Enclosure();
    Enclosure(const Enclosure &) = delete;
    Enclosure &operator=(const Enclosure &) = delete;

    /// False where the kernel or a missing tool refuses it.
    bool isOpen() const { return _init > 0; }

    /// The environment of everything that is started from now on, as NAME=VALUE.
    void setEnvironment(std::vector<std::string> environment) {
        _environment = std::move(environment);
    }

    /// Gives a file or folder with all its contents to the user inside.
    void handOver(const std::string &path) const;

    /// The name of the user inside.
    std::string user() const;

    /// Runs a program inside and waits for it.
    Result run(const std::vector<std::string> &arguments) const;

    /// Runs a line of the shell inside and waits for it.
    Result shell(const std::string &line) const { return run({"sh", "-c", line}); }

    /// Starts a program inside, which writes to the end of that file. Returns its process as seen
    /// from outside; -1 when there is none.
    pid_t start(const std::vector<std::string> &arguments, const std::string &log) const;

    /// The processes inside that bear this name, or run the script or program of this name.
    std::vector<pid_t> processes(const std::string &name) const;

    /// Sends a signal to a process inside; any other process is left alone.
    void signal(pid_t process, int number) const;

  private:
    bool contains(pid_t process) const;
    std::vector<std::string> inside(const std::vector<std::string> &arguments) const;

    const std::string _folder;
    std::vector<std::string> _environment;
    std::string _namespace;
    pid_t _keeper = -1;
    pid_t _init = -1;
};
