#include "Host/Desktop/Isolation/ViewProcess.h"

#include "Host/Support/HostError.h"
#include "Host/Support/Processes.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
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

constexpr NSTimeInterval kBetweenChecks = 1;
constexpr Clock::Nanoseconds kSilence = 2'000'000'000;
constexpr auto kPatienceTime = static_cast<Clock::Nanoseconds>(ViewProcess::kPatience * 1e9);
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

ViewProcess::ViewProcess(DescriptorWatch &watch, const Start &start, Listener &listener)
    : ViewProcess(watch, start, listener, PacketSocket::makePair()) {}

ViewProcess::ViewProcess(DescriptorWatch &watch, const Start &start, Listener &listener,
                         std::pair<PacketSocket, PacketSocket> ends)
    : _watch(watch), _listener(listener), _memory(start.memory),
      _protectionRefused(start.protectionRefused), _says(start.says), _confined(start.confined),
      _timeFactor(start.timeFactor), _check([this] { check(); }),
      _connection(std::move(ends.first)), _lastSign(Clock::current().now()),
      _pictureDeadline(_lastSign + kPatienceTime), _isWanted(_memory->count()) {
    begin(start, ends.second);
    ViewOrder first;
    first.kind = ViewOrder::Kind::Begin;
    first.width = _memory->width();
    first.height = _memory->height();
    first.count = _memory->count();
    first.density = start.density;
    first.part = start.part;
    first.values = bytesOf(start.values);
    order(first, _memory->descriptor());
    _watch.add(*this);
    checkLater();
}

/// Runs the program. The caller closes the program's end of the connection afterwards.
void ViewProcess::begin(const Start &start, const PacketSocket &theirs) {
    const std::string program = programPath();
    std::vector<std::string> arguments = {program, std::to_string(kTheirSocket), start.bundle};
    if (start.isTrusted) {
        arguments.emplace_back("--trust");
    }
    if (start.walls != Sandbox::kAllWalls) {
        arguments.push_back("--walls=" + std::to_string(start.walls));
    }
    _complaints = makeComplaints();
    _process = spawnProgram(arguments, {-1, _complaints, _complaints, theirs.descriptor()},
                            environmentForViews());
    if (_process < 0) {
        close(_complaints);
        throw HostError(program, std::string("cannot be run: ") + std::strerror(-_process),
                        "reinstall the program");
    }
}

ViewProcess::~ViewProcess() {
    _watch.remove(*this);
    endProcess();
    close(_complaints);
}

void ViewProcess::allowDrawing(unsigned index) {
    ViewOrder draw;
    draw.kind = ViewOrder::Kind::Draw;
    draw.index = index;
    order(draw);
}

/// A view that is told to rest must answer: one that hangs would use processor time unseen.
void ViewProcess::setRunning(bool isRunning) {
    if (isRunning == _isRunning) {
        return;
    }
    _isRunning = isRunning;
    _lastSign = Clock::current().now();
    ViewOrder run;
    run.kind = isRunning ? ViewOrder::Kind::Run : ViewOrder::Kind::Rest;
    order(run);
    if (!isRunning) {
        expectAnswerBy(_lastSign + kPatienceTime);
    }
    checkLater();
}

void ViewProcess::set(const WallpaperValues &change) {
    ViewOrder set;
    set.kind = ViewOrder::Kind::Set;
    set.values = bytesOf(change);
    order(set);
}

void ViewProcess::tap(CGPoint point) {
    ViewOrder tap;
    tap.kind = ViewOrder::Kind::Tap;
    tap.x = point.x;
    tap.y = point.y;
    order(tap);
}

void ViewProcess::scrollBy(CGFloat distance) {
    ViewOrder scroll;
    scroll.kind = ViewOrder::Kind::Scroll;
    scroll.x = distance;
    order(scroll);
}

void ViewProcess::finishScrolling() {
    ViewOrder finish;
    finish.kind = ViewOrder::Kind::FinishScroll;
    order(finish);
}

double ViewProcess::cpuTime() const {
    clockid_t clock;
    timespec time{};
    if (clock_getcpuclockid(_process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        return 0;
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Wakes a resting view to read the order. The answer to a ping then tells that its process can be
/// stopped again.
void ViewProcess::order(const ViewOrder &order, int attached) {
    send(order, attached);
    if (!_isRunning && order.kind != ViewOrder::Kind::Rest) {
        ping(Clock::current().now() + kPatienceTime);
        checkLater();
    }
    stopOrContinue();
}

void ViewProcess::ping(Clock::Nanoseconds deadline) {
    expectAnswerBy(deadline);
    send({}, -1);
}

/// When the socket is full the process has stopped reading; the next check ends it.
void ViewProcess::send(const ViewOrder &order, int attached) {
    expectReportTo(order);
    if (!_connection.send(&order, sizeof order, PacketSocket::Wait::No, attached)) {
        _isDeaf = true;
        checkLater();
    }
}

void ViewProcess::expectReportTo(const ViewOrder &order) {
    switch (order.kind) {
    case ViewOrder::Kind::Draw:
        _isWanted.at(order.index) = true;
        break;
    case ViewOrder::Kind::Rest:
    case ViewOrder::Kind::Ping:
        ++_answersDue;
        break;
    case ViewOrder::Kind::Set:
        _petalsDue += valuesFrom(order.values).petals ? 1 : 0;
        break;
    default:
        break;
    }
}

/// Stops the process of a resting view, with all threads that the wallpaper has started.
void ViewProcess::stopOrContinue() {
    const bool shallStop = !_isRunning && _answersDue == 0 && _pictureDeadline == Clock::kNever;
    if (shallStop != _isStopped && _process > 0) {
        _isStopped = shallStop;
        kill(_process, shallStop ? SIGSTOP : SIGCONT);
    }
}

void ViewProcess::serve() { readReports(); }

/// False when the view has ended; the listener may have deleted this object then.
bool ViewProcess::readReports() {
    for (;;) {
        ViewReport report;
        PacketSocket::Packet packet;
        switch (_connection.receive(&report, sizeof report, PacketSocket::Wait::No, packet)) {
        case PacketSocket::Outcome::Nothing:
            stopOrContinue();
            return true;
        case PacketSocket::Outcome::Ended:
            endWith(endProcess(), false);
            return false;
        case PacketSocket::Outcome::Received: {
            const bool isTaken = take(report, packet.count, packet.attached);
            close(packet.attached);
            if (!isTaken) {
                return false;
            }
            break;
        }
        }
    }
}

/// Keeps the attached descriptor by changing it to -1.
bool ViewProcess::take(const ViewReport &report, std::size_t bytes, int &attached) {
    if (bytes < offsetof(ViewReport, rects)) {
        return refuse();
    }
    _lastSign = Clock::current().now();
    switch (report.kind) {
    case ViewReport::Kind::Picture:
        return takePicture(report, bytes);
    case ViewReport::Kind::Petals:
        if (_petalsDue == 0) {
            return refuse();
        }
        --_petalsDue;
        _petals = report.petals;
        return true;
    case ViewReport::Kind::Answer:
        return takeAnswer();
    case ViewReport::Kind::Confined:
        return takeConfinement(report, std::exchange(attached, -1));
    case ViewReport::Kind::Moved:
        return takeMove(report);
    case ViewReport::Kind::Failure: {
        const std::size_t room = bytes - offsetof(ViewReport, text);
        endWith(inOneLine({report.text, strnlen(report.text, room)}),
                _pictureDeadline != Clock::kNever);
        return false;
    }
    }
    return refuse();
}

bool ViewProcess::refuse() {
    endWith("says what makes no sense", false);
    return false;
}

bool ViewProcess::takeAnswer() {
    if (_answersDue == 0) {
        return refuse();
    }
    --_answersDue;
    _answerDeadline = _answersDue == 0 ? Clock::kNever : _lastSign + kPatienceTime;
    return true;
}

/// Nothing of the bundle runs before Confined, so the process is who it says. That it is our child
/// is made sure of all the same, because we shall send it signals.
bool ViewProcess::takeMove(const ViewReport &report) {
    const auto process = static_cast<pid_t>(report.petals);
    if (!std::exchange(_isMoveDue, false) || !_isConfinementDue || !isChild(process)) {
        return refuse();
    }
    _starter = std::exchange(_process, process);
    return true;
}

bool ViewProcess::takeConfinement(const ViewReport &report, int listener) {
    if (!std::exchange(_isConfinementDue, false)) {
        close(listener);
        return refuse();
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

void ViewProcess::tellRefusals(int listener) {
    if (listener >= 0) {
        _refusedCalls.emplace(_watch, listener, [this](const std::string &name) {
            say("makes the system call " + name + ", which is refused");
        });
    }
}

void ViewProcess::say(const std::string &line) const {
    if (_says) {
        _says(line);
    }
}

bool ViewProcess::takePicture(const ViewReport &report, std::size_t bytes) {
    const std::size_t room = (bytes - offsetof(ViewReport, rects)) / sizeof(DeviceRect);
    if (report.index >= _memory->count() || !_isWanted[report.index] ||
        report.count > std::min<std::size_t>(room, report.kMaxRects)) {
        return refuse();
    }
    _isWanted[report.index] = false;
    const DeviceRect whole{0, 0, static_cast<int>(_memory->width()),
                           static_cast<int>(_memory->height())};
    _rects.clear();
    for (std::uint32_t i = 0; i < report.count; ++i) {
        const DeviceRect rect = report.rects[i].intersection(whole);
        if (!rect.isEmpty()) {
            _rects.push_back(rect);
        }
    }
    _pictureDeadline = Clock::kNever;
    ++_pictures;
    _listener.viewDrew(*this, report.index, _rects);
    return true;
}

void ViewProcess::expectAnswerBy(Clock::Nanoseconds deadline) {
    _answerDeadline = std::min(_answerDeadline, deadline);
}

void ViewProcess::checkLater() {
    if (!_check.isPending() && !_hasEnded) {
        _check.callAfter(kBetweenChecks);
    }
}

/// Reads first: if the host itself was stopped for a while, reports that have arrived still count.
void ViewProcess::check() {
    if (!readReports()) {
        return;
    }
    const Clock::Nanoseconds now = Clock::current().now();
    const std::string complaint = complaintAt(now);
    if (!complaint.empty()) {
        endWith(complaint, false);
        return;
    }
    const bool isAnswerDue = _answerDeadline != Clock::kNever;
    if (_isRunning && !isAnswerDue && now - _lastSign >= kSilence) {
        ping(_lastSign + kPatienceTime);
    }
    if (_isRunning || isAnswerDue || _pictureDeadline != Clock::kNever) {
        checkLater();
    }
}

/// The reason to end the process; empty when there is none.
std::string ViewProcess::complaintAt(Clock::Nanoseconds now) {
    if (now >= std::min(_pictureDeadline, _answerDeadline)) {
        return "has drawn nothing for 5 s";
    }
    if (_isDeaf) {
        return "does not listen";
    }
    if (takesTooMuchTime(now)) {
        return "takes a processor core without drawing";
    }
    return complaintAboutKernel();
}

/// Also lets a busy view give way. Time in which the process is stopped does not count.
bool ViewProcess::takesTooMuchTime(Clock::Nanoseconds now) {
    if (_isStopped) {
        _processorUse.rest();
        return false;
    }
    const ProcessorUse::Verdict verdict =
        _processorUse.judge(now, cpuTime() * _timeFactor, _pictures);
    if (verdict != ProcessorUse::Verdict::Fine) {
        giveWay();
    }
    return verdict == ProcessorUse::Verdict::Excessive;
}

/// From now on the view runs only when no other program wants the processor. That is for good,
/// because users may not raise what they have lowered.
void ViewProcess::giveWay() {
    makeIdle(_process);
    if (!std::exchange(_givesWay, true)) {
        say("takes much processor time, so it gives way to all other programs");
    }
}

/// What the process takes of the kernel; empty when that is not too much. The limit of its address
/// space does not count the tables that map its pages.
std::string ViewProcess::complaintAboutKernel() const {
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

/// The listener may delete this object.
void ViewProcess::endWith(const std::string &reason, bool isHopeless) {
    endProcess();
    _watch.remove(*this);
    _check.cancel();
    _hasEnded = true;
    _listener.viewEnded(*this, reason, isHopeless);
}

/// Kills the processes if they still run. Returns how the view's ended, in words.
std::string ViewProcess::endProcess() {
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
void ViewProcess::endUnheardMove() {
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
std::string ViewProcess::lastWords() const {
    char text[kComplaintBytes];
    const ssize_t count = pread(_complaints, text, sizeof text, 0);
    std::string_view words(text,
                           strnlen(text, static_cast<std::size_t>(std::max<ssize_t>(count, 0))));
    words = words.substr(0, words.find_last_not_of('\n') + 1);
    words = words.substr(words.find_last_of('\n') + 1);
    return words.empty() ? "" : ": " + inOneLine(words);
}

} // namespace Lumivera
