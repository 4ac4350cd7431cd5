#pragma once

#include <csignal>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

/// Keeps a process from ending, as a device that does not answer does: it traces the process and
/// takes no notice of its end. Lets it go when it is destroyed, or after 20 seconds.
class ProcessHolder {
  public:
    explicit ProcessHolder(pid_t held) {
        int ready[2];
        if (pipe(ready) != 0) {
            return;
        }
        _tracer = fork();
        if (_tracer == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            alarm(20);
            const char holds = ptrace(PTRACE_SEIZE, held, nullptr, nullptr) == 0 ? 1 : 0;
            _exit(write(ready[1], &holds, 1) == 1 && holds != 0 ? pause() : 1);
        }
        char holds = 0;
        _holds = read(ready[0], &holds, 1) == 1 && holds != 0;
        close(ready[0]);
        close(ready[1]);
    }
    ~ProcessHolder() {
        if (_tracer > 0) {
            kill(_tracer, SIGKILL);
            waitpid(_tracer, nullptr, 0);
        }
    }
    ProcessHolder(const ProcessHolder &) = delete;
    ProcessHolder &operator=(const ProcessHolder &) = delete;

    /// False where no process may trace another.
    bool holds() const { return _holds; }

  private:
    pid_t _tracer = -1;
    bool _holds = false;
};
