#include "Host/Desktop/Isolation/ConfinedProcess.h"

#include "Host/Support/DeferredCall.h"
#include "Host/Support/EndedChildren.h"
#include "Host/Support/HostError.h"
#include "Host/Support/Processes.h"
#include "Host/Wallpapers/BundleCall.h"
#include "Platform/Foundation/NSLog.h"

#include <array>
#include <cmath>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr int kTheirSocket = 3;
constexpr std::size_t kPipeBytes = 65536;
constexpr std::size_t kPartBytes = 4096;

/// More than a wallpaper prints that is not being made.
constexpr std::size_t kMuchPrinted = 4096;
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

/// A memory file that keeps its size.
int makeMemoryFile(const char *name, off_t bytes) {
    const int descriptor = memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (descriptor >= 0 && ftruncate(descriptor, bytes) == 0) {
        fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
    }
    return descriptor;
}

/// A pipe for what the view prints, the end to read from first. Nobody has to read it in time:
/// output that does not fit is lost.
std::pair<int, int> makeOutput() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw HostError("connection", "cannot be made: " + systemErrorText());
    }
    return {ends[0], ends[1]};
}

bool isChild(pid_t process) {
    siginfo_t state{};
    return process > 0 &&
           waitid(P_PID, static_cast<id_t>(process), &state, WEXITED | WNOHANG | WNOWAIT) == 0;
}

} // namespace

std::string textOf(const ViewReport &report, std::size_t bytes) {
    return inOneLine(rawTextOf(report, bytes));
}

std::string rawTextOf(const ViewReport &report, std::size_t bytes) {
    const std::size_t start = offsetof(ViewReport, text);
    return {report.text, strnlen(report.text, bytes < start ? 0 : bytes - start)};
}

HostError failureOf(const std::string &bundle, const std::string &reason,
                    const std::string &subject) {
    std::error_code error;
    const std::string whole = std::filesystem::weakly_canonical(bundle, error).string();
    for (const std::string &beginning : {bundle, whole, subject}) {
        const std::string start = inOneLine(beginning);
        const std::size_t end = reason.find(": ", start.size());
        if (!start.empty() && reason.starts_with(start) && end != std::string::npos) {
            return {reason.substr(0, end), reason.substr(end + 2)};
        }
    }
    return {bundle, reason};
}

ConfinedProcess::LineSink ConfinedProcess::printsRefusedProtections(LineSink print) {
    return [print = std::move(print)](const std::string &name) {
        print("protection from wallpapers: " + name +
              ": does not hold, although the kernel has it");
    };
}

ConfinedProcess::LineSink ConfinedProcess::printsAbout(const std::string &bundle, LineSink print) {
    return
        [print = std::move(print), bundle](const std::string &line) { print(bundle + " " + line); };
}

std::function<void(int process)> ConfinedProcess::printsProcessOf(const std::string &bundle,
                                                                  LineSink print) {
    return [say = printsAbout(bundle, std::move(print))](int process) {
        say("runs in process " + std::to_string(process) + ", without a watchdog");
    };
}

ConfinedProcess::ConfinedProcess(DescriptorWatch &watch, const std::string &bundle,
                                 const Confinement &confinement,
                                 const std::vector<std::string> &options)
    : ConfinedProcess(watch, bundle, confinement, options,
                      confinement.connection
                          ? std::pair{std::move(*confinement.connection), PacketSocket(-1)}
                          : makeConnection()) {}

/// Both ends are closed when this fails; the program's end in any case.
ConfinedProcess::ConfinedProcess(DescriptorWatch &watch, const std::string &bundle,
                                 const Confinement &confinement,
                                 const std::vector<std::string> &options,
                                 std::pair<PacketSocket, PacketSocket> ends)
    : _watch(watch), _bundle(bundle), _protectionRefused(confinement.protectionRefused),
      _says(confinement.says), _logs(confinement.logs), _prints(confinement.prints),
      _confined(confinement.confined), _connection(std::move(ends.first)) {
    if (!confinement.connection) {
        begin(confinement, options, ends.second);
    }
}

void ConfinedProcess::begin(const Confinement &confinement, const std::vector<std::string> &options,
                            const PacketSocket &theirs) {
    const std::string program = programPath();
    std::vector<std::string> arguments = {program, std::to_string(kTheirSocket), _bundle};
    arguments.insert(arguments.end(), options.begin(), options.end());
    if (confinement.isTrusted) {
        arguments.emplace_back("--trust");
    }
    if (confinement.walls != Sandbox::kAllWalls) {
        arguments.push_back("--walls=" + std::to_string(confinement.walls));
    }
    const auto [printed, output] = makeOutput();
    _printed = printed;
    const int call = makeMemoryFile("call", kCallBytes);
    void *const shared = mmap(nullptr, kCallBytes, PROT_READ, MAP_SHARED, call, 0);
    _call =
        shared == MAP_FAILED ? nullptr : static_cast<const std::atomic<std::uint32_t> *>(shared);
    _process = spawnProgram(arguments, {-1, output, output, theirs.descriptor(), call},
                            environmentForViews());
    close(output);
    close(call);
    if (_process < 0) {
        freeMemory();
        throw HostError(program, std::string("cannot be run: ") + std::strerror(-_process),
                        "reinstall the program");
    }
}

ConfinedProcess::~ConfinedProcess() {
    end();
    freeMemory();
}

void ConfinedProcess::freeMemory() const {
    close(_printed);
    if (_call) {
        munmap(const_cast<std::atomic<std::uint32_t> *>(_call), kCallBytes);
    }
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
    EndedChildren::take(std::exchange(_starter, -1));
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
    const std::string line = textOf(report, bytes);
    NSLog(_bundle + ": " + line);
    if (_logs) {
        _logs(line);
    }
    return true;
}

/// Reads no more than a pipe holds, so that a process which prints all the time keeps us from
/// nothing.
void ConfinedProcess::takePrinted() {
    std::array<char, kPartBytes> part;
    _printedLines = 0;
    for (std::size_t parts = 0; parts < kPipeBytes / kPartBytes; ++parts) {
        const ssize_t count = read(_printed, part.data(), part.size());
        if (count <= 0) {
            break;
        }
        _printedBytes += static_cast<std::size_t>(count);
        addPrinted({part.data(), static_cast<std::size_t>(count)});
    }
    if (_printedBytes > kMuchPrinted && std::exchange(_isPrintingDue, false) && _says) {
        _says("prints more than 4 KiB");
    }
    if (_printedLines > kMaxPrintedLines && _prints) {
        _prints("(" + std::to_string(_printedLines - kMaxPrintedLines) + " more lines)");
    }
}

/// What is too long of a line is left out.
void ConfinedProcess::addPrinted(std::string_view text) {
    for (const char c : text) {
        if (c == '\n') {
            endPrintedLine();
        } else if (_begunLine.size() < kMaxPrintedLine) {
            _begunLine += c;
        }
    }
}

void ConfinedProcess::endPrintedLine() {
    if (_begunLine.empty()) {
        return;
    }
    _lastLine = inOneLine(std::exchange(_begunLine, {}));
    if (++_printedLines <= kMaxPrintedLines && _prints) {
        _prints(_lastLine);
    }
}

/// What the process takes of the kernel; empty when that is not too much. The limit of its address
/// space does not count the tables that map its pages.
std::string ConfinedProcess::complaintAboutKernel(std::uint64_t tableKilobytes) const {
    std::ifstream status("/proc/" + std::to_string(_process) + "/status");
    for (std::string key; status >> key; status.ignore(kLongestLine, '\n')) {
        std::uint64_t amount = 0;
        if (key == "VmPTE:" && status >> amount && amount > tableKilobytes) {
            return "maps memory too widely";
        }
        if (key == "Threads:") {
            return status >> amount && amount >= kMaxViewThreads ? "has too many threads" : "";
        }
    }
    return "";
}

std::string ConfinedProcess::complaintAboutSilence(NSTimeInterval seconds, TimeOf time) const {
    return "has drawn nothing for " + std::to_string(std::lround(seconds)) +
           (time == TimeOf::Clock ? " s" : " s of processor time") + place();
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
        EndedChildren::takeLater(-_process);
    }
    EndedChildren::take(std::exchange(_starter, -1));
    const std::optional<int> ending = EndedChildren::take(std::exchange(_process, -1));
    endUnheardMove();
    takePrinted();
    endPrintedLine();
    if (!ending) {
        return "was killed, but does not end";
    }
    const int status = *ending;
    if (WIFEXITED(status) && WEXITSTATUS(status) == kStatusOfAbort) {
        return "has called abort" + place() + lastWords();
    }
    if (WIFEXITED(status)) {
        return "has exited with status " + std::to_string(WEXITSTATUS(status)) + place() +
               lastWords();
    }
    const int signal = WTERMSIG(status);
    if (signal == SIGKILL) {
        return "was killed or has broken off its connection" + place() + lastWords();
    }
    return "was ended by signal " + std::to_string(signal) + ", " + strsignal(signal) + place() +
           lastWords();
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
            EndedChildren::take(process);
        }
    }
}

std::string ConfinedProcess::place() const {
    const std::string words =
        _call ? BundleCall::words(_call->load(std::memory_order_relaxed)) : std::string();
    return words.empty() ? words : "," + words;
}

std::string ConfinedProcess::lastWords() const { return _lastLine.empty() ? "" : ": " + _lastLine; }

} // namespace Lumivera
