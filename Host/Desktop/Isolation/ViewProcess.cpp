#include "Host/Desktop/Isolation/ViewProcess.h"

#include "Host/Desktop/Isolation/Sandbox.h"
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
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Lumivera {

namespace {

constexpr NSTimeInterval kBetweenChecks = 1;
constexpr Clock::Nanoseconds kSilence = 2'000'000'000;
constexpr auto kPatienceTime = static_cast<Clock::Nanoseconds>(ViewProcess::kPatience * 1e9);
constexpr int kTheirSocket = 3;
constexpr off_t kComplaintBytes = 4096;
constexpr unsigned kMostThreads = 256;

std::string programPath() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return program.parent_path().parent_path() / "libexec/lumivera/lumivera-view";
}

/// What a view may know of our surroundings: language, time zone and how to look for mistakes.
std::vector<std::string> environmentForViews() {
    std::vector<std::string> variables = ownEnvironment();
    std::erase_if(variables, [](const std::string &variable) {
        const std::string name = variable.substr(0, variable.find('='));
        return name != "LANG" && name != "TZ" && !name.starts_with("LC_") &&
               !name.ends_with("SAN_OPTIONS");
    });
    return variables;
}

/// Whatever it prints goes into memory that does not grow: the beginning is kept, and nobody has to
/// read it.
int makeComplaints() {
    const int descriptor = memfd_create("complaints", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (descriptor >= 0 && ftruncate(descriptor, kComplaintBytes) == 0) {
        fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
    }
    return descriptor;
}

} // namespace

ViewProcess::ViewProcess(DescriptorWatch &watch, const Start &start, Listener &listener)
    : ViewProcess(watch, start, listener, PacketSocket::makePair()) {}

ViewProcess::ViewProcess(DescriptorWatch &watch, const Start &start, Listener &listener,
                         std::pair<PacketSocket, PacketSocket> ends)
    : _watch(watch), _listener(listener), _memory(start.memory),
      _protectionRefused(start.protectionRefused), _check([this] { check(); }),
      _connection(std::move(ends.first)), _lastSign(Clock::current().now()),
      _pictureDeadline(_lastSign + kPatienceTime), _isWanted(_memory->count()) {
    begin(start, ends.second);
    set(start.choice);
    if (start.choice.tint && start.choice.tint->alpha > 0) {
        orderValue(ViewOrder::Key::Tint, *start.choice.tint);
    }
    ViewOrder memory;
    memory.kind = ViewOrder::Kind::Memory;
    memory.width = _memory->width();
    memory.height = _memory->height();
    memory.count = _memory->count();
    memory.numbers[0] = start.density;
    order(memory, _memory->descriptor());
    _watch.add(*this);
    checkLater();
}

/// The end of the connection that is the process's own is closed with this call.
void ViewProcess::begin(const Start &start, const PacketSocket &theirs) {
    const std::string program = programPath();
    std::vector<std::string> arguments = {program, std::to_string(kTheirSocket), start.bundle};
    if (start.isTrusted) {
        arguments.emplace_back("--trust");
    }
    _complaints = makeComplaints();
    _process = spawnProgram(arguments, {-1, _complaints, _complaints, theirs.descriptor()},
                            environmentForViews());
    if (_process < 0) {
        close(_complaints);
        throw HostError(program, std::string("cannot be run: ") + std::strerror(-_process),
                        "install the program whole");
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

/// Even a view that is to rest must say that it heard so: one that hangs would spend the
/// processor's time while nobody looks.
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

void ViewProcess::set(const WallpaperChoice &choice) {
    if (choice.petals) {
        orderValue(ViewOrder::Key::Petals, {static_cast<double>(*choice.petals)});
    }
    if (choice.speed) {
        orderValue(ViewOrder::Key::Speed, {static_cast<double>(*choice.speed)});
    }
    if (choice.scale) {
        orderValue(ViewOrder::Key::Scale, {*choice.scale});
    }
    if (choice.offset) {
        orderValue(ViewOrder::Key::Offset, {*choice.offset});
    }
    if (choice.scaleLevel) {
        orderValue(ViewOrder::Key::ScaleLevel, {static_cast<double>(*choice.scaleLevel)});
    }
}

void ViewProcess::tap(CGPoint point) {
    ViewOrder tap;
    tap.kind = ViewOrder::Kind::Tap;
    tap.numbers[0] = point.x;
    tap.numbers[1] = point.y;
    order(tap);
}

void ViewProcess::scrollBy(CGFloat distance) {
    ViewOrder scroll;
    scroll.kind = ViewOrder::Kind::Scroll;
    scroll.numbers[0] = distance;
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

/// A view that rests is woken to hear it; its answer tells that it can be stopped again.
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

/// A process that leaves so many orders unread hangs; the next check ends it.
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
        _petalsDue += order.key == ViewOrder::Key::Petals ? 1 : 0;
        break;
    default:
        break;
    }
}

/// Whatever threads a view that rests has left behind: none of them runs on.
void ViewProcess::stopOrContinue() {
    const bool shallStop = !_isRunning && _answersDue == 0 && _pictureDeadline == Clock::kNever;
    if (shallStop != _isStopped && _process > 0) {
        _isStopped = shallStop;
        kill(_process, shallStop ? SIGSTOP : SIGCONT);
    }
}

void ViewProcess::orderValue(ViewOrder::Key key, CGColor numbers) {
    ViewOrder value;
    value.kind = ViewOrder::Kind::Set;
    value.key = key;
    value.numbers[0] = numbers.red;
    value.numbers[1] = numbers.green;
    value.numbers[2] = numbers.blue;
    value.numbers[3] = numbers.alpha;
    order(value);
}

void ViewProcess::serve() { readReports(); }

/// False when the view has ended: the object may be gone then.
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
        case PacketSocket::Outcome::Received:
            close(packet.attached);
            if (!take(report, packet.count)) {
                return false;
            }
            break;
        }
    }
}

bool ViewProcess::take(const ViewReport &report, std::size_t bytes) {
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
        return takeConfinement(report);
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

bool ViewProcess::takeConfinement(const ViewReport &report) {
    if (!std::exchange(_isConfinementDue, false)) {
        return refuse();
    }
    if (report.index != 0 && _protectionRefused) {
        const std::vector<Sandbox::Protection> protections = Sandbox::available();
        for (std::size_t i = 0; i < protections.size(); ++i) {
            if ((report.index >> i & 1) != 0) {
                _protectionRefused(protections[i].name);
            }
        }
    }
    return true;
}

bool ViewProcess::takePicture(const ViewReport &report, std::size_t bytes) {
    const std::size_t room = (bytes - offsetof(ViewReport, rects)) / sizeof(DeviceRect);
    if (report.index >= _memory->count() || !_isWanted[report.index] ||
        report.count > std::min<std::size_t>(room, report.kMostRects)) {
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

/// We may have been stopped ourselves meanwhile, so what has come by now counts.
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

/// In words what is wrong with the process; empty when nothing is.
std::string ViewProcess::complaintAt(Clock::Nanoseconds now) const {
    if (now >= std::min(_pictureDeadline, _answerDeadline)) {
        return "has drawn nothing for 5 s";
    }
    if (_isDeaf) {
        return "does not listen";
    }
    return hasTooManyThreads() ? "has too many threads" : "";
}

/// The kernel counts the links of the folder that has one of its own for each of them.
bool ViewProcess::hasTooManyThreads() const {
    struct stat status;
    const std::string folder = "/proc/" + std::to_string(_process) + "/task";
    return stat(folder.c_str(), &status) == 0 && status.st_nlink > kMostThreads;
}

/// The object may be gone after this.
void ViewProcess::endWith(const std::string &reason, bool isHopeless) {
    endProcess();
    _watch.remove(*this);
    _check.cancel();
    _hasEnded = true;
    _listener.viewEnded(*this, reason, isHopeless);
}

/// How the process ended, by itself or now.
std::string ViewProcess::endProcess() {
    if (_process <= 0) {
        return {};
    }
    kill(_process, SIGKILL);
    int status = 0;
    while (waitpid(_process, &status, 0) < 0 && errno == EINTR) {
    }
    _process = -1;
    if (WIFEXITED(status)) {
        return "has exited with status " + std::to_string(WEXITSTATUS(status)) + lastWords();
    }
    const int signal = WTERMSIG(status);
    if (signal == SIGKILL) {
        return "was killed or has broken off its connection" + lastWords();
    }
    return "was ended by signal " + std::to_string(signal) + ", " + strsignal(signal) + lastWords();
}

/// The last line that it printed, of those that were kept.
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
