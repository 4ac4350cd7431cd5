#include "Host/Support/ChildProgram.h"

#include "Host/Support/Spawning.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Lumivera {

namespace {

constexpr int kPipeBytes = 1 << 20;

} // namespace

std::optional<ChildProgram> ChildProgram::start(const std::vector<std::string> &arguments) {
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    // Where the system allows it, so that the two programs take turns less often.
    fcntl(pipeEnds[1], F_SETPIPE_SZ, kPipeBytes);
    // In memory and not a pipe, which would have to be emptied while the child runs.
    ChildProgram program(-1, pipeEnds[1], memfd_create("complaints", MFD_CLOEXEC));
    program._process =
        spawnProgram(arguments, {pipeEnds[0], -1, program._errors}, ownEnvironment());
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
    if (_process > 0) {
        kill(_process, SIGKILL);
        finish();
    }
    closeInput();
    if (_errors >= 0) {
        close(_errors);
    }
}

bool ChildProgram::write(const void *bytes, std::size_t count) {
    const char *at = static_cast<const char *>(bytes);
    while (count > 0) {
        const ssize_t written = ::write(_input, at, count);
        if (written < 0 && errno != EINTR) {
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
    int status = 0;
    while (waitpid(_process, &status, 0) < 0 && errno == EINTR) {
    }
    _process = -1;
    _succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
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

} // namespace Lumivera
