#include "Host/Support/Processes.h"

#include "Host/Support/EndedChildren.h"
#include "Host/Support/HostError.h"
#include "Host/Support/OutputFile.h"
#include "Host/Support/OutputFolder.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char **environ;

namespace Lumivera {

namespace {

constexpr int kPipeBytes = 1 << 20;

/// How long a child may take no bytes, and how long its end may take.
constexpr int kWritingPatience = 60'000; // milliseconds
constexpr int kEndingPatience = 600'000; // milliseconds

/// Signals that end a program, besides those of its own faults and SIGKILL.
constexpr int kEnding[] = {SIGHUP,    SIGINT,  SIGQUIT, SIGTERM, SIGALRM,
                           SIGVTALRM, SIGPROF, SIGXCPU, SIGPWR,  SIGSTKFLT};

/// Signals that tell of something that this program has not asked about, or that come with an error
/// which the failed call reports as well.
std::vector<int> ignoredSignals() {
    std::vector<int> signals{SIGPIPE, SIGXFSZ, SIGUSR1, SIGUSR2, SIGIO};
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
        signals.push_back(signal);
    }
    return signals;
}

extern "C" void endBySignal(int signal) {
    OutputFile::removeUnfinished();
    OutputFolder::removeUnfinished();
    std::signal(signal, SIG_DFL);
    raise(signal); // is delivered when this handler returns
}

bool hasHandler(int signal, void (*handler)(int)) {
    struct sigaction action;
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == handler;
}

/// Waits for the child to exit; false when it does not in time.
bool waitForExit(int process, int milliseconds) {
    const auto descriptor = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (descriptor < 0) {
        siginfo_t state{}; // an old kernel
        return waitid(P_PID, static_cast<id_t>(process), &state, WEXITED | WNOWAIT) == 0;
    }
    pollfd state{descriptor, POLLIN, 0};
    int ready;
    while ((ready = poll(&state, 1, milliseconds)) < 0 && errno == EINTR) {
    }
    close(descriptor);
    return ready > 0;
}

class Attributes {
  public:
    Attributes() {
        sigset_t none;
        sigemptyset(&none);
        sigset_t standard;
        sigemptyset(&standard);
        for (const int signal : ignoredSignals()) {
            sigaddset(&standard, signal);
        }
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

/// The texts as a C array that ends with a null pointer.
std::vector<char *> pointersTo(const std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (const std::string &text : texts) {
        pointers.push_back(const_cast<char *>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// The signals that end this program and that nobody else handles or ignores.
sigset_t watchedSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : kEnding) {
        if (hasHandler(signal, SIG_DFL) || hasHandler(signal, endBySignal)) {
            sigaddset(&set, signal);
        }
    }
    return set;
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

std::optional<ChildProgram> ChildProgram::start(const std::vector<std::string> &arguments,
                                                const std::vector<int> &files) {
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    fcntl(pipeEnds[1], F_SETFL, O_NONBLOCK);
    // A larger pipe saves context switches; the system may refuse it.
    fcntl(pipeEnds[1], F_SETPIPE_SZ, kPipeBytes);
    // A file in memory: a pipe for stderr would have to be read while the child runs.
    ChildProgram program(-1, pipeEnds[1], memfd_create("complaints", MFD_CLOEXEC));
    std::vector<int> all{pipeEnds[0], -1, program._errors};
    all.insert(all.end(), files.begin(), files.end());
    program._process = spawnProgram(arguments, all, ownEnvironment());
    close(pipeEnds[0]);
    if (program._process < 0) {
        program._process = -1;
        return std::nullopt;
    }
    return program;
}

ChildProgram::ChildProgram(int process, int input, int errors)
    : _process(process), _input(input), _errors(errors) {}

ChildProgram::ChildProgram(ChildProgram &&other) noexcept
    : _process(std::exchange(other._process, -1)), _input(std::exchange(other._input, -1)),
      _errors(std::exchange(other._errors, -1)), _succeeded(other._succeeded),
      _complaint(std::move(other._complaint)) {}

ChildProgram &ChildProgram::operator=(ChildProgram &&other) noexcept {
    std::swap(_process, other._process);
    std::swap(_input, other._input);
    std::swap(_errors, other._errors);
    std::swap(_succeeded, other._succeeded);
    std::swap(_complaint, other._complaint);
    return *this;
}

ChildProgram::~ChildProgram() {
    closeInput();
    if (_process > 0) {
        kill(_process, SIGKILL);
        EndedChildren::take(_process);
    }
    if (_errors >= 0) {
        close(_errors);
    }
}

bool ChildProgram::write(const void *bytes, std::size_t count) {
    const char *at = static_cast<const char *>(bytes);
    while (count > 0) {
        const ssize_t written = ::write(_input, at, count);
        if (written < 0 && errno == EAGAIN) {
            pollfd state{_input, POLLOUT, 0};
            if (poll(&state, 1, kWritingPatience) == 0) {
                return false;
            }
        } else if (written < 0 && errno != EINTR) {
            return false;
        }
        const std::size_t step = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
        at += step;
        count -= step;
    }
    return true;
}

bool ChildProgram::finish() {
    if (_process <= 0) {
        return _succeeded;
    }
    closeInput();
    if (!waitForExit(_process, kEndingPatience)) {
        kill(_process, SIGKILL);
    }
    const std::optional<int> status = EndedChildren::take(std::exchange(_process, -1));
    _succeeded = status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0;
    readComplaint();
    return _succeeded;
}

void ChildProgram::closeInput() {
    if (_input >= 0) {
        close(std::exchange(_input, -1));
    }
}

void ChildProgram::readComplaint() {
    std::string text(4096, '\0');
    const off_t size = lseek(_errors, 0, SEEK_END);
    const off_t start = std::max<off_t>(size - static_cast<off_t>(text.size()), 0);
    const ssize_t count = pread(_errors, text.data(), text.size(), start);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    _complaint = text.substr(text.rfind('\n') + 1);
}

void prepareSignals() {
    for (const int signal : ignoredSignals()) {
        std::signal(signal, SIG_IGN);
    }
    for (const int signal : kEnding) {
        if (hasHandler(signal, SIG_DFL)) {
            std::signal(signal, endBySignal);
        }
    }
}

SignalWatch::SignalWatch(std::function<void()> action) {
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    _signals = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    _end = eventfd(0, EFD_CLOEXEC);
    if (_signals < 0 || _end < 0) {
        throw HostError("signals", "cannot be watched: " + systemErrorText());
    }
    _thread = std::thread([this, action = std::move(action)] { watch(action); });
}

SignalWatch::~SignalWatch() {
    const std::uint64_t one = 1;
    while (write(_end, &one, sizeof one) < 0 && errno == EINTR) {
    }
    _thread.join();
    close(_signals);
    close(_end);
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void SignalWatch::watch(const std::function<void()> &action) const {
    pollfd sources[] = {{_signals, POLLIN, 0}, {_end, POLLIN, 0}};
    while (poll(sources, 2, -1) < 0 && errno == EINTR) {
    }
    signalfd_siginfo signal;
    if (sources[1].revents != 0 || read(_signals, &signal, sizeof signal) < 0) {
        return;
    }
    action();
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    pollfd end{_end, POLLIN, 0};
    while (poll(&end, 1, -1) < 0 && errno == EINTR) {
    }
}

} // namespace Lumivera
