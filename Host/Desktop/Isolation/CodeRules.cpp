#include "Host/Desktop/Isolation/CodeRules.h"

#include "Host/Desktop/Isolation/RenderingProcess.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>

namespace Lumivera {

namespace {

using Kind = ScriptEvent::Kind;
using Start = RenderingProcess::Start;

constexpr CGSize kSize{320, 480};

/// The processor time that loading and a frame may take, in seconds: what a desktop can bear, and
/// what lets it show 40 frames a second.
constexpr double kMaxLoading = 4;
constexpr double kGoodLoading = 1;
constexpr double kMaxFrame = 0.5;
constexpr double kGoodFrame = 0.025;
constexpr double kFewFrames = 0.05;

constexpr NSUInteger kFrames = 400;
constexpr NSUInteger kResizes = 20;
constexpr NSUInteger kTaps = 200;
constexpr NSUInteger kRandomEvents = 1000;
constexpr NSUInteger kPauses = 5;
constexpr NSUInteger kSameFrames = 120;

/// Memory is compared between the least of the frames that follow these two.
constexpr NSUInteger kEarlyFrame = 1000;
constexpr NSUInteger kLateFrame = 5000;
constexpr NSUInteger kAround = 500;
constexpr std::uint64_t kMaxGrowth = 64 << 10;

/// What came of running a bundle's code.
struct Outcome {
    /// The line that says why it ended early; empty when all frames came.
    std::string failure;

    /// The lines about what it did and may not do, each once.
    std::set<std::string> lines;

    std::vector<double> seconds;
    std::vector<std::uint64_t> bytes;

    /// A number for each picture; the same for the same pixels.
    std::vector<std::uint64_t> pictures;
};

std::uint64_t numberOf(std::span<const std::uint32_t> pixels) {
    constexpr std::uint64_t kStart = 14695981039346656037U;
    constexpr std::uint64_t kFactor = 1099511628211U;
    std::uint64_t number = kStart;
    for (const std::uint32_t pixel : pixels) {
        number = (number ^ pixel) * kFactor;
    }
    return number;
}

Start startFor(const CodeUnderCheck &code, NSUInteger frames) {
    Start start;
    start.bundle = code.bundle;
    start.isTrusted = code.isTrusted;
    start.settings.size = kSize;
    start.seed = code.seed;
    start.frameCount = frames;
    start.firstPicture = frames;
    start.isTrial = true;
    start.timeFactor = code.timeFactor;
    return start;
}

/// The line of a failure without the bundle, of which all remarks are: about a file in it, or else
/// about its library.
std::string lineWithin(const CodeUnderCheck &code, std::string_view line) {
    if (line.starts_with(code.bundle + "/")) {
        return std::string(line.substr(code.bundle.size() + 1));
    }
    const bool isOfBundle = line.starts_with(code.bundle + ": ");
    return code.library + ": " + std::string(line.substr(isOfBundle ? code.bundle.size() + 2 : 0));
}

Outcome outcomeOf(const CodeUnderCheck &code, Start start) {
    Outcome outcome;
    start.says = [&outcome](const std::string &line) { outcome.lines.insert(line); };
    try {
        RenderingProcess process(start);
        for (NSUInteger frame = 0; frame < start.frameCount; ++frame) {
            const RenderingProcess::Frame *const given = process.nextFrame();
            if (!given) {
                break;
            }
            outcome.seconds.push_back(given->seconds);
            outcome.bytes.push_back(given->bytes);
            if (!given->pixels.empty()) {
                outcome.pictures.push_back(numberOf(given->pixels));
            }
        }
    } catch (const HostError &error) {
        outcome.failure = lineWithin(code, error.what());
    }
    return outcome;
}

/// Reports a failure; true when there is none.
bool isWhole(const Outcome &outcome, const Reporter &report) {
    if (!outcome.failure.empty()) {
        report.add(Degree::Wrong, outcome.failure);
    }
    return outcome.failure.empty();
}

/// Events of a rule, made from its seed.
class EventMaker {
  public:
    explicit EventMaker(unsigned seed) : _random(seed) {}

    void add(NSUInteger frame, Kind kind, std::array<double, 4> numbers = {}) {
        _events.push_back({frame, kind, numbers, _events.size()});
    }

    /// The same numbers on every system, as the library's own distributions do not give.
    double number(double least, double most) {
        constexpr double kMost = static_cast<double>(std::mt19937::max());
        return least + (most - least) * (static_cast<double>(_random()) / kMost);
    }

    double whole(double least, double most) { return std::floor(number(least, most + 0.999)); }

    /// On the screen and beside it.
    void addTap(NSUInteger frame) {
        add(frame, Kind::Tap,
            {number(-50, kSize.width + 50), number(-50, kSize.height + 50), 0, 0});
    }

    void addResize(NSUInteger frame) {
        add(frame, Kind::SetFrame, {0, 0, whole(1, 2000), whole(1, 2000)});
    }

    Script script() { return {std::move(_events), "the checker's script"}; }

  private:
    std::mt19937 _random;
    std::vector<ScriptEvent> _events;
};

void checkTrial(BundleTrial trial, const CodeUnderCheck &code, const Reporter &report,
                Degree degree = Degree::Wrong) {
    Start start = startFor(code, 1);
    start.trial = trial;
    const Outcome outcome = outcomeOf(code, start);
    if (!outcome.failure.empty()) {
        report.add(degree, outcome.failure);
    }
}

void checkFirstFrame(const CodeUnderCheck &code, const Reporter &report) {
    const Outcome outcome = outcomeOf(code, startFor(code, 1));
    if (!isWhole(outcome, report) || outcome.seconds.empty()) {
        return;
    }
    const double seconds = outcome.seconds[0] * code.timeFactor;
    const std::string words = "takes " + std::to_string(std::lround(seconds * 1000)) +
                              " ms of the processor until its first frame";
    if (seconds > kMaxLoading) {
        report.wrong("initResource", words, "load less, or smaller pictures");
    } else if (seconds > kGoodLoading) {
        report.doubt("initResource", words, "load less, or smaller pictures");
    }
}

void checkFrames(const CodeUnderCheck &code, const Reporter &report) {
    Start start = startFor(code, kFrames);
    start.firstPicture = kFrames - 1;
    const Outcome outcome = outcomeOf(code, start);
    if (!isWhole(outcome, report) || outcome.seconds.size() < 2) {
        return;
    }
    const std::vector<double> frames(outcome.seconds.begin() + 1, outcome.seconds.end());
    const auto longest = std::max_element(frames.begin(), frames.end());
    const auto slow = std::count_if(frames.begin(), frames.end(),
                                    [](double seconds) { return seconds > kGoodFrame; });
    if (*longest * code.timeFactor > kMaxFrame) {
        report.wrong("doAnimating",
                     "takes " + std::to_string(std::lround(*longest * 1000)) +
                         " ms of the processor in frame " +
                         std::to_string(longest - frames.begin() + 1),
                     "spread the work, or do it in initResource");
    } else if (static_cast<double>(slow) > kFewFrames * static_cast<double>(frames.size())) {
        report.doubt("doAnimating",
                     "takes more than 25 ms of the processor in " + std::to_string(slow) + " of " +
                         std::to_string(frames.size()) + " frames",
                     "make frames cheaper: 40 of them are shown in a second");
    }
}

/// Whether all pictures from one to another, exclusive, are the same.
bool isStill(const Outcome &outcome, std::size_t from, std::size_t to) {
    const auto begin = outcome.pictures.begin();
    return outcome.pictures.size() >= to &&
           std::all_of(begin + static_cast<std::ptrdiff_t>(from),
                       begin + static_cast<std::ptrdiff_t>(to),
                       [&](std::uint64_t picture) { return picture == outcome.pictures[from]; });
}

void checkPause(const CodeUnderCheck &code, const Reporter &report) {
    constexpr NSUInteger kPause = 40;
    constexpr NSUInteger kResume = 80;
    constexpr NSUInteger kEnd = 120;
    EventMaker events(code.seed);
    events.add(kPause, Kind::Pause);
    events.add(kResume, Kind::Resume);
    for (NSUInteger i = 0; i < kPauses; ++i) {
        events.add(kEnd + 4 * i, Kind::Pause);
        events.add(kEnd + 4 * i + 2, Kind::Resume);
    }
    Start start = startFor(code, kEnd + 4 * kPauses);
    start.firstPicture = 0;
    start.script = events.script();
    const Outcome outcome = outcomeOf(code, start);
    if (!isWhole(outcome, report) || isStill(outcome, 0, kPause)) {
        return;
    }
    if (!isStill(outcome, kPause + 2, kResume)) {
        report.doubt("pauseAnimating", "its picture changes while it is paused",
                     "stop what moves it: a paused wallpaper is to cost nothing");
    }
    if (isStill(outcome, kResume + 2, kEnd)) {
        report.wrong("resumeAnimating", "its picture stands still after a pause",
                     "call startAnimating of the base class in it");
    }
}

void checkResizes(const CodeUnderCheck &code, const Reporter &report) {
    constexpr NSUInteger kBetween = 10;
    EventMaker events(code.seed);
    for (NSUInteger i = 0; i < kResizes; ++i) {
        events.addResize(kBetween * (i + 1));
    }
    Start start = startFor(code, kBetween * (kResizes + 1));
    start.firstPicture = 0;
    start.script = events.script();
    isWhole(outcomeOf(code, start), report);
}

void checkTaps(const CodeUnderCheck &code, const Reporter &report) {
    EventMaker events(code.seed);
    for (NSUInteger i = 0; i < kTaps; ++i) {
        events.addTap(i);
        if (i % 10 == 0) {
            events.add(i, Kind::Gesture, {events.whole(-2, 9), events.number(0, kSize.width), 0});
        }
    }
    Start start = startFor(code, kTaps);
    start.script = events.script();
    isWhole(outcomeOf(code, start), report);
}

void checkLimits(const CodeUnderCheck &code, const Reporter &report) {
    constexpr NSUInteger kBetween = 5;
    const std::pair<Kind, std::vector<double>> limits[] = {
        {Kind::SakuraCount, {0, 1, 300, 301, 5000}},
        {Kind::SakuraScaleLevel, {1, 0, -1, 10}},
        {Kind::SpeedLevel, {0, 1, 1000, -1, 1e9}},
        {Kind::Offset, {0, 1e6, -1e6, 1e9}},
        {Kind::Scale, {1, 0.01, 100, 0, -1}}};
    EventMaker events(code.seed);
    NSUInteger frame = 0;
    for (const auto &[kind, values] : limits) {
        for (const double value : values) {
            events.add(frame += kBetween, kind, {value});
        }
        events.add(frame += kBetween, kind, {1});
    }
    Start start = startFor(code, frame + kBetween);
    start.script = events.script();
    isWhole(outcomeOf(code, start), report);
}

/// One event of any kind, with values within their limits.
void addRandomEvent(EventMaker &events, NSUInteger frame) {
    const auto rectangle = [&events] {
        return std::array<double, 4>{events.number(-100, 100), events.number(-100, 100),
                                     events.whole(1, 1000), events.whole(1, 1000)};
    };
    const auto kind = static_cast<Kind>(events.whole(0, static_cast<double>(Kind::Resume)));
    switch (kind) {
    case Kind::Tap:
        events.addTap(frame);
        break;
    case Kind::Gesture:
        events.add(
            frame, kind,
            {events.whole(0, 8), events.number(0, kSize.width), events.number(0, kSize.height)});
        break;
    case Kind::SakuraCount:
        events.add(frame, kind, {events.whole(0, 300)});
        break;
    case Kind::SakuraScaleLevel:
        events.add(frame, kind, {events.whole(0, 3)});
        break;
    case Kind::SpeedLevel:
        events.add(frame, kind, {events.whole(0, 20)});
        break;
    case Kind::Offset:
        events.add(frame, kind, {events.number(-400, 400)});
        break;
    case Kind::Scale:
        events.add(frame, kind, {events.number(0.2, 4)});
        break;
    case Kind::TapClipRect:
    case Kind::SetFrame:
        events.add(frame, kind, rectangle());
        break;
    case Kind::Pause:
    case Kind::Resume:
        events.add(frame, kind);
        break;
    }
}

void checkRandomEvents(const CodeUnderCheck &code, const Reporter &report) {
    constexpr NSUInteger kAFrame = 2;
    EventMaker events(code.seed);
    for (NSUInteger i = 0; i < kRandomEvents; ++i) {
        addRandomEvent(events, i / kAFrame);
    }
    Start start = startFor(code, kRandomEvents / kAFrame + 20);
    start.script = events.script();
    isWhole(outcomeOf(code, start), report);
}

std::uint64_t leastFrom(const Outcome &outcome, NSUInteger frame) {
    const auto begin = outcome.bytes.begin() + static_cast<std::ptrdiff_t>(frame);
    return *std::min_element(begin, begin + kAround);
}

void checkMemory(const CodeUnderCheck &code, const Reporter &report) {
    const Outcome outcome = outcomeOf(code, startFor(code, kLateFrame + kAround));
    if (!isWhole(outcome, report) || outcome.bytes.size() < kLateFrame + kAround) {
        return;
    }
    const std::uint64_t early = leastFrom(outcome, kEarlyFrame);
    const std::uint64_t late = leastFrom(outcome, kLateFrame);
    if (late > early + kMaxGrowth) {
        report.wrong("doAnimating",
                     "the memory in use grows by " + std::to_string((late - early) / 1024) +
                         " KiB between frames " + std::to_string(kEarlyFrame) + " and " +
                         std::to_string(kLateFrame),
                     "release what a frame makes");
    }
}

void checkSamePixels(const CodeUnderCheck &code, const Reporter &report) {
    Outcome outcomes[2];
    for (Outcome &outcome : outcomes) {
        EventMaker events(code.seed);
        events.addTap(kSameFrames / 2);
        Start start = startFor(code, kSameFrames);
        start.firstPicture = 0;
        start.script = events.script();
        outcome = outcomeOf(code, start);
        if (!isWhole(outcome, report)) {
            return;
        }
    }
    const std::vector<std::uint64_t> &first = outcomes[0].pictures;
    const auto other = std::mismatch(first.begin(), first.end(), outcomes[1].pictures.begin(),
                                     outcomes[1].pictures.end());
    if (other.first != first.end()) {
        report.doubt(code.library,
                     "frame " + std::to_string(other.first - first.begin()) +
                         " is another picture in a second run with the same seed",
                     "take random numbers from rand() and time from the media clock");
    }
}

void checkSystemCalls(const CodeUnderCheck &code, const Reporter &report) {
    constexpr std::string_view kBeginning = "makes the system call ";
    const Outcome outcome = outcomeOf(code, startFor(code, kSameFrames));
    isWhole(outcome, report);
    std::string names;
    for (const std::string &line : outcome.lines) {
        if (line.starts_with(kBeginning)) {
            const std::size_t end = std::min(line.find(','), line.size());
            names += (names.empty() ? "" : ", ") +
                     line.substr(kBeginning.size(), end - kBeginning.size());
        }
    }
    if (!names.empty()) {
        report.doubt(code.library, "makes system calls that are refused: " + names,
                     "do without: a wallpaper may draw, and read its bundle");
    }
}

void checkPrinting(const CodeUnderCheck &code, const Reporter &report) {
    const Outcome outcome = outcomeOf(code, startFor(code, kSameFrames));
    isWhole(outcome, report);
    for (const std::string &line : outcome.lines) {
        if (line.starts_with("prints")) {
            report.doubt(code.library, line, "print for debugging alone, or use NSLog");
        }
    }
}

std::function<void(const CodeUnderCheck &, const Reporter &)> trial(BundleTrial trial,
                                                                    Degree degree) {
    return [trial, degree](const CodeUnderCheck &code, const Reporter &report) {
        checkTrial(trial, code, report, degree);
    };
}

} // namespace

const std::vector<CodeRule> &codeRules() {
    using Trial = BundleTrial;
    static const std::vector<CodeRule> rules = {
        {"load", "loads the library as hosts do, each function when it is called first", true,
         trial(Trial::LoadLazily, Degree::Wrong)},
        {"load-now", "loads it with all functions that it calls", false,
         trial(Trial::LoadNow, Degree::Wrong)},
        {"first-frame", "makes a view and loads its resources in time", true, checkFirstFrame},
        {"entry-point", "looks for getDeskTopViewInstance in the library itself", false,
         trial(Trial::EntryPoint, Degree::Doubtful)},
        {"name-and-version", "calls getDeskTopViewName and getDeskTopViewVersion", false,
         trial(Trial::Texts, Degree::Doubtful)},
        {"no-bundle", "asks for a view of no bundle", false,
         trial(Trial::NoBundle, Degree::Doubtful)},
        {"foreign-bundle", "asks for a view of a folder without its pictures", false,
         trial(Trial::ForeignBundle, Degree::Wrong)},
        {"frames", "shows 400 frames, each in time", false, checkFrames},
        {"pause", "pauses and resumes: still in between, moving after it", false, checkPause},
        {"resizes", "gives it 20 other sizes", false, checkResizes},
        {"taps", "taps 200 times, at random places", false, checkTaps},
        {"limits", "sets count, speed, offset and scale to their limits and beyond", false,
         checkLimits},
        {"random-events", "lets 1000 random events happen", false, checkRandomEvents},
        {"memory", "compares the memory in use at frames 1000 and 5000", false, checkMemory},
        {"ending", "removes several views, and looks for what they leave behind", false,
         trial(Trial::Ending, Degree::Wrong)},
        {"same-pixels", "renders twice with the same seed", false, checkSamePixels},
        {"system-calls", "looks for system calls that are refused", false, checkSystemCalls},
        {"printing", "looks for much output", false, checkPrinting}};
    return rules;
}

} // namespace Lumivera
