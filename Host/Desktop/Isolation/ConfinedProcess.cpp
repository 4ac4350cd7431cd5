#include "Host/Desktop/Isolation/ConfinedProcess.h"

#include "Host/Support/DeferredCall.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Processes.h"
#include "Platform/Foundation/NSLog.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr int kTheirSocket = 3;
constexpr off_t kComplaintBytes = 4096;
constexpr int kPatienceForEnd = 500; // milliseconds
constexpr std::uint64_t kMaxTableKilobytes = 24 * 1024;
constexpr std::streamsize kLongestLine = 4096;

std::string programPath() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return program.parent_path().parent_path() / "libexec/lumivera/lumivera-view";
}

std::pair<PacketSocket, PacketSocket> makeConnection() {
    auto ends = PacketSocket::makePair();
    if (!ends.first.isOpen()) {
        throw HostError("connection", "cannot be made: " + systemErrorText());
    }
    return ends;
}

/// The variables that a view gets: language, time zone and the options of sanitizers.
std::vector<std::string> environmentForViews() {
    std::vector<std::string> variables = ownEnvironment();
    std::erase_if(variables, [](const std::string &variable) {
        const std::string name = variable.substr(0, variable.find('='));
        return name != "LANG" && name != "TZ" && !name.starts_with("LC_") &&
               !name.ends_with("SAN_OPTIONS");
    });
    return variables;
}

/// A memory file for what the view prints. It cannot grow, so nobody has to read it in time; output
/// that does not fit is lost.
int makeComplaints() {
    const int descriptor = memfd_create("complaints", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (descriptor >= 0 && ftruncate(descriptor, kComplaintBytes) == 0) {
        fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
    }
    return descriptor;
}

/// Children that a device or a file system keeps from ending, and groups of children, as negative
/// numbers. They are waited for from time to time, until all have ended.
class LateChildren {
  public:
    static LateChildren &shared() {
        static LateChildren &children = *new LateChildren;
        return children;
    }

    void add(pid_t child) {
        _children.push_back(child);
        _delay = kFirstDelay;
        _lookAgain.callAfter(_delay);
    }

  private:
    static constexpr NSTimeInterval kFirstDelay = 0.1;
    static constexpr NSTimeInterval kLongestDelay = 60;

    LateChildren() : _lookAgain([this] { look(); }) {}

    void look() {
        std::erase_if(_children, [](pid_t child) { return waitpid(child, nullptr, WNOHANG) != 0; });
        if (!_children.empty()) {
            _delay = std::min(2 * _delay, kLongestDelay);
            _lookAgain.callAfter(_delay);
        }
    }

    std::vector<pid_t> _children;
    NSTimeInterval _delay = kFirstDelay;
    DeferredCall _lookAgain;
};

bool isChild(pid_t process) {
    siginfo_t state{};
    return process > 0 &&
           waitid(P_PID, static_cast<id_t>(process), &state, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/// The status of a child that ends about now, as waitpid() gives it. Nothing when it does not; then
/// it is waited for later.
std::optional<int> waitFor(pid_t process) {
    if (process <= 0) {
        return std::nullopt;
    }
    const int watched = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    pollfd end{watched, POLLIN, 0};
    if (watched >= 0) {
        while (poll(&end, 1, kPatienceForEnd) < 0 && errno == EINTR) {
        }
        close(watched);
    }
    int status = 0;
    if (waitpid(process, &status, WNOHANG) == process) {
        return status;
    }
    LateChildren::shared().add(process);
    return std::nullopt;
}

} // namespace

std::string textOf(const ViewReport &report, std::size_t bytes) {
    const std::size_t start = offsetof(ViewReport, text);
    return inOneLine({report.text, strnlen(report.text, bytes < start ? 0 : bytes - start)});
}

ConfinedProcess::ConfinedProcess(DescriptorWatch &watch, const Start &start,
                                 const std::vector<std::string> &options)
    : ConfinedProcess(watch, start, options, makeConnection()) {}

/// Both ends are closed when this fails; the program's end in any case.
ConfinedProcess::ConfinedProcess(DescriptorWatch &watch, const Start &start,
                                 const std::vector<std::string> &options,
                                 std::pair<PacketSocket, PacketSocket> ends)
    : _watch(watch), _bundle(start.bundle), _protectionRefused(start.protectionRefused),
      _says(start.says), _confined(start.confined), _connection(std::move(ends.first)) {
    const std::string program = programPath();
    std::vector<std::string> arguments = {program, std::to_string(kTheirSocket), start.bundle};
    arguments.insert(arguments.end(), options.begin(), options.end());
    if (start.isTrusted) {
        arguments.emplace_back("--trust");
    }
    if (start.walls != Sandbox::kAllWalls) {
        arguments.push_back("--walls=" + std::to_string(start.walls));
    }
    _complaints = makeComplaints();
    _process = spawnProgram(arguments, {-1, _complaints, _complaints, ends.second.descriptor()},
                            environmentForViews());
    if (_process < 0) {
        close(_complaints);
        throw HostError(program, std::string("cannot be run: ") + std::strerror(-_process),
                        "reinstall the program");
    }
}

ConfinedProcess::~ConfinedProcess() {
    end();
    close(_complaints);
}

double ConfinedProcess::cpuTime() const {
    clockid_t clock;
    timespec time{};
    if (clock_getcpuclockid(_process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        return 0;
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Nothing of the bundle runs before Confined, so the process is who it says. That it is our child
/// is made sure of all the same, because we shall send it signals.
bool ConfinedProcess::takeMove(const ViewReport &report) {
    const auto process = static_cast<pid_t>(report.petals);
    if (!std::exchange(_isMoveDue, false) || !_isConfinementDue || !isChild(process)) {
        return false;
    }
    _starter = std::exchange(_process, process);
    return true;
}

bool ConfinedProcess::takeConfinement(const ViewReport &report, int listener) {
    if (!std::exchange(_isConfinementDue, false)) {
        close(listener);
        return false;
    }
    waitFor(std::exchange(_starter, -1));
    tellRefusals(listener);
    const std::vector<std::string> &names = Sandbox::protectionNames();
    for (std::size_t i = 0; i < names.size() && _protectionRefused; ++i) {
        if ((report.index >> i & 1) != 0) {
            _protectionRefused(names[i]);
        }
    }
    if (_confined) {
        _confined(_process);
    }
    return true;
}

void ConfinedProcess::tellRefusals(int listener) {
    if (listener >= 0) {
        _refusedCalls.emplace(_watch, listener, [this](const std::string &name) {
            if (_says) {
                _says("makes the system call " + name + ", which is refused");
            }
        });
    }
}

bool ConfinedProcess::takeLog(const ViewReport &report, std::size_t bytes) {
    if (_logLines == kMaxLogLines) {
        return false;
    }
    ++_logLines;
    NSLog(_bundle + ": " + textOf(report, bytes));
    return true;
}

/// What the process takes of the kernel; empty when that is not too much. The limit of its address
/// space does not count the tables that map its pages.
std::string ConfinedProcess::complaintAboutKernel() const {
    std::ifstream status("/proc/" + std::to_string(_process) + "/status");
    for (std::string key; status >> key; status.ignore(kLongestLine, '\n')) {
        std::uint64_t amount = 0;
        if (key == "VmPTE:" && status >> amount && amount > kMaxTableKilobytes) {
            return "maps memory too widely";
        }
        if (key == "Threads:") {
            return status >> amount && amount >= kMaxViewThreads ? "has too many threads" : "";
        }
    }
    return "";
}

/// Kills the processes if they still run. Returns how the view's ended, in words.
std::string ConfinedProcess::end() {
    if (_process <= 0) {
        return {};
    }
    _refusedCalls.reset();
    for (const int process : {_starter, _process}) {
        if (process > 0) {
            kill(process, SIGKILL);
        }
    }
    if (_isConfinementDue) {
        // It may just have begun another process of its group, which ends without it.
        LateChildren::shared().add(-_process);
    }
    waitFor(std::exchange(_starter, -1));
    const std::optional<int> ending = waitFor(std::exchange(_process, -1));
    endUnheardMove();
    if (!ending) {
        return "was killed, but does not end";
    }
    const int status = *ending;
    if (WIFEXITED(status)) {
        return "has exited with status " + std::to_string(WEXITSTATUS(status)) + lastWords();
    }
    const int signal = WTERMSIG(status);
    if (signal == SIGKILL) {
        return "was killed or has broken off its connection" + lastWords();
    }
    return "was ended by signal " + std::to_string(signal) + ", " + strsignal(signal) + lastWords();
}

/// The view may have gone on in a new process and told so, but nobody has read it. Nothing of the
/// bundle has run yet, so what it tells is true.
void ConfinedProcess::endUnheardMove() {
    ViewReport report;
    PacketSocket::Packet packet;
    while (_isMoveDue && _connection.receive(&report, sizeof report, PacketSocket::Wait::No,
                                             packet) == PacketSocket::Outcome::Received) {
        if (packet.attached >= 0) {
            close(packet.attached);
        }
        const auto process = static_cast<pid_t>(report.petals);
        if (report.kind == ViewReport::Kind::Moved && isChild(process)) {
            _isMoveDue = false;
            kill(process, SIGKILL);
            waitFor(process);
        }
    }
}

/// The last line of the kept output.
std::string ConfinedProcess::lastWords() const {
    char text[kComplaintBytes];
    const ssize_t count = pread(_complaints, text, sizeof text, 0);
    std::string_view words(text,
                           strnlen(text, static_cast<std::size_t>(std::max<ssize_t>(count, 0))));
    words = words.substr(0, words.find_last_not_of('\n') + 1);
    words = words.substr(words.find_last_of('\n') + 1);
    return words.empty() ? "" : ": " + inOneLine(words);
}

} // namespace Lumivera
