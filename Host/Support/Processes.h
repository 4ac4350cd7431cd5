#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace Lumivera {

/// Starts another program. A first argument without a slash is looked up in PATH. `files` lists the
/// descriptors that become the child's 0, 1, 2 and so on; -1 stands for /dev/null. The child starts
/// with no signal blocked and with the default action for those that we ignore. It gets a process
/// group of its own, so that Ctrl-C in a terminal reaches only us; we then end the child.
///
/// Returns the process id, or minus the errno value when the program cannot be started.
int spawnProgram(const std::vector<std::string> &arguments, const std::vector<int> &files,
                 const std::vector<std::string> &environment);

/// The environment of this process, as NAME=VALUE.
std::vector<std::string> ownEnvironment();

/// Another program that reads from us through a pipe. The destructor kills it unless finish() was
/// called. The caller must ignore SIGPIPE.
class ChildProgram {
  public:
    /// Starts the program that the first argument names. Nothing when it is not installed or cannot
    /// be started. The program finds `files` as its descriptors from kFirstFile on.
    static std::optional<ChildProgram> start(const std::vector<std::string> &arguments,
                                             const std::vector<int> &files = {});
    static constexpr int kFirstFile = 3;

    ChildProgram(ChildProgram &&other) noexcept;
    ChildProgram &operator=(ChildProgram &&other) noexcept;
    ~ChildProgram();

    /// False when the program does not take the bytes any more, or has taken none for a minute.
    bool write(const void *bytes, std::size_t count);

    /// Closes the pipe and waits for the program to exit; one that does not within ten minutes is
    /// killed. True for exit status 0. Later calls return the same.
    bool finish();

    /// The last line that it wrote to its stderr; empty before finish().
    const std::string &complaint() const { return _complaint; }

  private:
    ChildProgram(int process, int input, int errors);
    void closeInput();
    void readComplaint();

    int _process = -1;
    int _input = -1;
    int _errors = -1;
    bool _succeeded = false;
    std::string _complaint;
};

/// Decides what signals do to this program. Those that tell of something, such as SIGPIPE and
/// SIGUSR1, are ignored. Those that end it first remove unfinished files. What the parent process
/// has ignored, as `nohup` does, stays ignored. Called once, before any thread starts.
void prepareSignals();

/// Turns the signals that end a program, such as SIGTERM and SIGHUP, into a call. Made on the main
/// thread before any other thread starts, so that every thread inherits the blocked signals. A
/// second signal ends the process as usual.
class SignalWatch {
  public:
    /// `action` runs once, on a thread of the watch's own.
    explicit SignalWatch(std::function<void()> action);
    ~SignalWatch();

    SignalWatch(const SignalWatch &) = delete;
    SignalWatch &operator=(const SignalWatch &) = delete;

  private:
    void watch(const std::function<void()> &action) const;

    int _signals = -1;
    int _end = -1;
    std::thread _thread;
};

} // namespace Lumivera
