#include "Host/Desktop/Isolation/ViewProcess.h"

#include "Tests/Host/Desktop/Isolation/BrokenLibraries.h"
#include "Tests/Host/Desktop/Isolation/HostileBundle.h"
#include "Tests/Host/Programs/ProcessActivity.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Host/Support/RealTimeLoop.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/WaveFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Lumivera;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

constexpr unsigned kWidth = 160;
constexpr unsigned kHeight = 120;

/// A view in a real process, whose pictures are asked for one after the other.
class ViewProcessTest : public ::testing::Test, public RemoteView::Listener {
  protected:
    void TearDown() override { _view.reset(); }

    void begin(const std::string &bundle, const WallpaperValues &values = {},
               bool isTrusted = false, WallpaperPart part = WallpaperPart::Whole) {
        _memory = std::make_shared<SharedBuffers>(kWidth, kHeight, 2);
        ViewProcess::Start start{{bundle, values, _memory, 1, part}, {isTrusted}};
        start.says = [this](const std::string &line) { _lines.push_back(line); };
        start.logs = [this](const std::string &line) { _logged.push_back(line); };
        start.prints = [this](const std::string &line) { _printed.push_back(line); };
        start.timeFactor = _timeFactor;
        start.hasWatchdog = _hasWatchdog;
        start.isInWindow = _isInWindow;
        start.isTraced = _isTraced;
        start.seed = _seed.value_or(start.seed);
        start.confined = [this](int process) { _confined.push_back(process); };
        _view = std::make_unique<ViewProcess>(_waiter, start, *this);
        _view->allowDrawing(0);
    }

    void beginHostile(const std::string &deed) { begin(hostileBundle(_folder.path(), deed)); }

    void viewDrew(RemoteView &view, unsigned index, const std::vector<DeviceRect> &rects) override {
        ++_pictures;
        _rects = rects;
        if (_asksAgain) {
            view.allowDrawing(index);
        }
    }

    void viewEndedFrame(RemoteView &, std::string_view entry) override {
        _entries.emplace_back(entry);
    }

    void viewSounded(RemoteView &, const std::string &name) override { _sounds.push_back(name); }

    void viewEnded(RemoteView &, const std::string &reason, bool isHopeless) override {
        _reason = reason;
        _isHopeless = isHopeless;
        _view.reset();
    }

    void beginPart(WallpaperPart part, NSUInteger petals) {
        WallpaperValues values;
        values.petals = petals;
        begin(shippedBundle("Lumivera.bundle"), values, false, part);
    }

    std::vector<std::uint32_t> picture() const {
        const std::uint32_t *pixels = _memory->pixels(0);
        return {pixels, pixels + kWidth * kHeight};
    }

    bool hasDrawn(int pictures) {
        return serveUntil([&] { return _pictures >= pictures || _reason; }) && !_reason;
    }

    /// True once the whole process is stopped.
    bool rests() {
        return serveUntil([&] { return _reason || isStopped(_view->process()); }) && !_reason;
    }

    bool hasEnded() {
        return serveUntil([&] { return _reason.has_value(); });
    }

    TemporaryFolder _folder;
    DescriptorWaiter _waiter;
    std::shared_ptr<SharedBuffers> _memory;
    std::unique_ptr<ViewProcess> _view;
    std::vector<DeviceRect> _rects;
    std::vector<std::string> _lines;
    std::vector<std::string> _logged;
    std::vector<std::string> _printed;
    std::vector<int> _confined;
    std::vector<std::string> _entries;
    std::vector<std::string> _sounds;
    double _timeFactor = 1;
    bool _hasWatchdog = true;
    bool _isInWindow = false;
    bool _isTraced = false;
    std::optional<unsigned> _seed;
    std::optional<std::string> _reason;
    int _pictures = 0;
    bool _isHopeless = false;
    bool _asksAgain = true;
};

TEST_F(ViewProcessTest, DrawsTheWallpaperIntoTheMemory) {
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasDrawn(1)) << *_reason;
    const std::uint32_t *pixels = _memory->pixels(0);
    EXPECT_TRUE(std::all_of(pixels, pixels + kWidth * kHeight,
                            [](std::uint32_t pixel) { return pixel >> 24 == 0xFF; }));
    EXPECT_GT(std::count_if(pixels, pixels + kWidth * kHeight,
                            [](std::uint32_t pixel) { return (pixel & 0xFFFFFF) != 0; }),
              kWidth * kHeight / 2);
    EXPECT_EQ(_rects, (std::vector<DeviceRect>{{0, 0, kWidth, kHeight}}));
}

TEST_F(ViewProcessTest, DrawsPetalsAloneOntoTransparency) {
    _asksAgain = false; // so that nobody draws into the picture that is looked at
    beginPart(WallpaperPart::Petals, 12);
    ASSERT_TRUE(hasDrawn(1)) << *_reason;
    const auto isClear = [](std::uint32_t pixel) { return pixel == 0; };
    const auto isPremultiplied = [](std::uint32_t pixel) {
        return std::max({pixel & 255, pixel >> 8 & 255, pixel >> 16 & 255}) <= pixel >> 24;
    };
    auto pixels = picture();
    // Petals may begin outside of the picture. They fall into it.
    for (int count = 2; std::all_of(pixels.begin(), pixels.end(), isClear); ++count) {
        ASSERT_LT(count, 1000);
        _view->allowDrawing(0);
        ASSERT_TRUE(hasDrawn(count)) << *_reason;
        pixels = picture();
    }
    EXPECT_GT(std::count_if(pixels.begin(), pixels.end(), isClear), kWidth * kHeight / 4);
    EXPECT_TRUE(std::all_of(pixels.begin(), pixels.end(), isPremultiplied));
    EXPECT_EQ(_view->petals(), 12U);
}

TEST_F(ViewProcessTest, DrawsABackgroundAlone) {
    beginPart(WallpaperPart::Background, 60);
    ASSERT_TRUE(hasDrawn(1)) << *_reason;
    const auto alone = picture();
    _pictures = 0;
    beginPart(WallpaperPart::Whole, 0);
    ASSERT_TRUE(hasDrawn(1)) << *_reason;
    const auto withFewPetals = picture();
    EXPECT_TRUE(std::all_of(alone.begin(), alone.end(),
                            [](std::uint32_t pixel) { return pixel >> 24 == 0xFF; }));
    EXPECT_EQ(alone, withFewPetals);
}

TEST_F(ViewProcessTest, ConvertsTheColorsOfAPicture) {
    const std::string bundle = copyOfShippedBundle(_folder.path());
    const std::uint8_t linear[] = {0, 1, 0x86, 0xa0};
    const auto background = PNGBuilder({4, 4, 8, PNGBuilder::Grey})
                                .chunk("gAMA", linear)
                                .pixels([](auto...) { return 64; })
                                .finish();
    _folder.write("Copy.bundle/lumivera_background_.png", background);
    WallpaperValues values;
    values.petals = 0;
    begin(bundle, values);
    ASSERT_TRUE(hasDrawn(1)) << *_reason;
    EXPECT_EQ(_memory->pixels(0)[kWidth * kHeight / 2], 0xff898989);
}

TEST_F(ViewProcessTest, GoesOnDrawingWhatMoves) {
    begin(shippedBundle("Lumivera.bundle"));
    EXPECT_TRUE(hasDrawn(20));
    EXPECT_GT(_view->cpuTime(), 0);
}

TEST_F(ViewProcessTest, DrawsOnceWhenItMayDrawOnce) {
    _asksAgain = false;
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasDrawn(1));
    NSRunLoop::mainRunLoop().runForSeconds(0.3);
    EXPECT_EQ(_pictures, 1);
}

TEST_F(ViewProcessTest, TellsHowManyPetalsThereAre) {
    WallpaperValues values;
    values.petals = 7;
    begin(shippedBundle("Lumivera.bundle"), values);
    ASSERT_TRUE(hasDrawn(1));
    EXPECT_EQ(_view->petals(), 7U);
    values.petals = 9;
    _view->set(values);
    EXPECT_TRUE(serveUntil([&] { return _view->petals() == 9U; }));
}

TEST_F(ViewProcessTest, ShowsAStillWallpaperToo) {
    begin(testBundle(_folder.path(), "StillWallpaper"));
    EXPECT_TRUE(hasDrawn(1));
    EXPECT_EQ(_view->petals(), std::nullopt);
}

TEST_F(ViewProcessTest, SpendsNothingWhileItRests) {
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasDrawn(10));
    _view->setRunning(false);
    ASSERT_TRUE(rests());
    const int before = _pictures;
    const double used = _view->cpuTime();
    NSRunLoop::mainRunLoop().runForSeconds(2);
    EXPECT_EQ(_view->cpuTime(), used);
    EXPECT_EQ(_pictures, before);
    _view->setRunning(true);
    EXPECT_TRUE(hasDrawn(before + 10));
}

TEST_F(ViewProcessTest, RestsFromItsFirstPictureOn) {
    begin(shippedBundle("Lumivera.bundle"));
    _view->setRunning(false);
    ASSERT_TRUE(hasDrawn(1));
    ASSERT_TRUE(rests());
    EXPECT_LE(_pictures, 2);
    EXPECT_FALSE(_reason);
}

TEST_F(ViewProcessTest, SaysWhichSignalEndedIt) {
    beginHostile("crash-in-frame");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("signal 11"));
    EXPECT_FALSE(_isHopeless);
    EXPECT_GT(_pictures, 50) << "the frames before the crash were shown";
}

TEST_F(ViewProcessTest, SaysThatItHasExited) {
    beginHostile("exit-in-init");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("exited with status 7"));
}

TEST_F(ViewProcessTest, SaysThatTheBundleIsDamaged) {
    begin(_folder.path());
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("has no description.plist"));
    EXPECT_TRUE(_isHopeless);
}

TEST_F(ViewProcessTest, IsEndedWhenItHangsInAFrame) {
    beginHostile("loop-in-frame");
    ASSERT_TRUE(hasDrawn(50));
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("has drawn nothing for 5 s"));
}

TEST_F(ViewProcessTest, IsEndedWhenItHangsWhileItLoads) {
    beginHostile("loop-in-init");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("has drawn nothing for 5 s"));
    EXPECT_EQ(_pictures, 0);
}

/// Time that passes faster than it does.
class HastyClock final : public Clock {
  public:
    HastyClock() : _system(Clock::current()), _start(_system.now()) { Clock::setCurrent(this); }
    ~HastyClock() override { Clock::setCurrent(nullptr); }
    HastyClock(const HastyClock &) = delete;
    HastyClock &operator=(const HastyClock &) = delete;

    Nanoseconds now() override { return _start + (_system.now() - _start) * kFactor; }

    void wait(ClockCondition &condition, std::unique_lock<std::mutex> &lock,
              Nanoseconds deadline) override {
        _system.wait(condition, lock,
                     deadline == kNever ? kNever : _start + (deadline - _start) / kFactor);
    }

    void notifyAll(ClockCondition &condition) override { _system.notifyAll(condition); }

  private:
    static constexpr Nanoseconds kFactor = 8;

    Clock &_system;
    const Nanoseconds _start;
};

class SlowViewTest : public ViewProcessTest, public ::testing::WithParamInterface<BrokenLibrary> {};

TEST_P(SlowViewTest, IsEndedInAWindowToo) {
    const HastyClock clock;
    _isInWindow = true;
    beginHostile(GetParam().deed);
    ASSERT_TRUE(serveUntil([&] { return _reason.has_value(); }, 300));
    EXPECT_THAT(*_reason, ::testing::StartsWith("has drawn nothing for 20 s, in "));
    EXPECT_TRUE(GetParam().isToldIn(*_reason)) << *_reason;
}

INSTANTIATE_TEST_SUITE_P(Libraries, SlowViewTest, ::testing::ValuesIn(brokenLibraries(true)),
                         [](const auto &info) { return nameOfBrokenLibrary(info); });

TEST_F(ViewProcessTest, IsEndedWhenItHangsAlthoughItRests) {
    beginHostile("loop-in-frame");
    ASSERT_TRUE(hasDrawn(95));
    NSRunLoop::mainRunLoop().runForSeconds(0.5); // by now it hangs in its hundredth frame
    _view->setRunning(false);
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("has drawn nothing for 5 s"));
}

TEST_F(ViewProcessTest, SpendsNothingWhileItRestsWhateverItsThreadsDo) {
    beginHostile("be-busy-in-init");
    ASSERT_TRUE(hasDrawn(3)) << *_reason;
    _view->setRunning(false);
    ASSERT_TRUE(rests());
    const double used = _view->cpuTime();
    NSRunLoop::mainRunLoop().runForSeconds(1);
    EXPECT_EQ(_view->cpuTime(), used);
    const int before = _pictures;
    _view->setRunning(true);
    EXPECT_TRUE(hasDrawn(before + 10));
}

TEST_F(ViewProcessTest, HearsOfChangesWhileItRestsAndRestsOn) {
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasDrawn(3)) << *_reason;
    _view->setRunning(false);
    ASSERT_TRUE(rests());
    WallpaperValues values;
    values.petals = 9;
    for (int i = 0; i < 1000; ++i) {
        _view->set(values);
        NSRunLoop::mainRunLoop().runForSeconds(0.001);
    }
    EXPECT_TRUE(serveUntil([&] { return _view->petals() == 9U; }));
    ASSERT_TRUE(rests());
    const double used = _view->cpuTime();
    NSRunLoop::mainRunLoop().runForSeconds(1);
    EXPECT_EQ(_view->cpuTime(), used);
    EXPECT_FALSE(_reason);
}

TEST_F(ViewProcessTest, DrawsWhatIsSetWhileItRestsAndRestsOn) {
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasDrawn(3)) << *_reason;
    _view->setRunning(false);
    ASSERT_TRUE(rests());
    const int before = _pictures;
    const auto still = picture();
    WallpaperValues values;
    values.scale = 0.5;
    _view->set(values);
    ASSERT_TRUE(hasDrawn(before + 1)) << _reason.value_or("no picture");
    EXPECT_NE(picture(), still);
    ASSERT_TRUE(rests());
    EXPECT_EQ(_pictures, before + 1);
}

TEST_F(ViewProcessTest, TellsOfEachFrameWhenItIsTraced) {
    _isTraced = true;
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(serveUntil([this] { return _entries.size() > 20 || _reason; })) << *_reason;
    for (const std::string &entry : _entries) {
        EXPECT_EQ(nlohmann::json::parse("{" + entry)["layers"].size(), 3U);
    }
}

/// All begin within one second, whose number the wallpaper takes for its own seed.
TEST_F(ViewProcessTest, BeginsInAnotherWayEachTimeButTheSameWithTheSameSeed) {
    _isTraced = true;
    const auto firstFrame = [this](std::optional<unsigned> seed) {
        _seed = seed;
        _entries.clear();
        begin(shippedBundle("Lumivera.bundle"));
        EXPECT_TRUE(serveUntil([this] { return !_entries.empty() || _reason; }));
        return nlohmann::json::parse("{" + _entries.at(0))["layers"];
    };
    EXPECT_NE(firstFrame({}), firstFrame({}));
    const auto seeded = firstFrame(7);
    EXPECT_EQ(firstFrame(7), seeded);
    EXPECT_NE(firstFrame(8), seeded);
}

TEST_F(ViewProcessTest, IsEndedWhenItTellsOfFramesThatNobodyAskedFor) {
    beginHostile("trace-in-init");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("says what makes no sense"));
}

TEST_F(ViewProcessTest, NamesTheSoundsOfTheBundleThatAreToBeHeardInAWindow) {
    const std::string bundle = hostileBundle(_folder.path(), "sing-in-init");
    const auto wave = WaveFile::ofFloats(std::vector<float>(600, 0.5F)).bytes();
    _folder.write("sing-in-init.bundle/splash.wav", wave);
    _folder.write("outside.wav", wave);
    begin(bundle);
    ASSERT_TRUE(hasDrawn(3)) << *_reason;
    EXPECT_THAT(_sounds, IsEmpty()) << "it is not in a window";
    _pictures = 0;
    _isInWindow = true;
    begin(bundle);
    ASSERT_TRUE(hasDrawn(3)) << *_reason;
    EXPECT_THAT(_sounds, Each("splash.wav"));
    EXPECT_GT(_sounds.size(), 0U);
    EXPECT_LE(_sounds.size(), 2 * ViewProcess::kMostSounds);
    EXPECT_THAT(_lines, IsEmpty()) << "no sound device was looked for";
}

TEST(ViewPatienceTest, IsGreaterInAWindowAndWithPetalsThatWereAskedFor) {
    ViewProcess::Start start;
    start.values.petals = 300'000;
    EXPECT_EQ(ViewProcess::patienceFor(start), 5);
    start.isInWindow = true;
    EXPECT_EQ(ViewProcess::patienceFor(start), 31 * 20);
    start.values.petals = {};
    EXPECT_EQ(ViewProcess::patienceFor(start), 20);
}

TEST_F(ViewProcessTest, KeepsOrdersForAViewThatIsBusy) {
    begin(shippedBundle("Lumivera.bundle"));
    WallpaperValues values;
    for (int i = 0; i < 3000; ++i) {
        values.offset = i % 50;
        _view->set(values);
    }
    values.petals = 9;
    _view->set(values);
    EXPECT_TRUE(serveUntil([&] { return _reason || _view->petals() == 9U; }));
    EXPECT_FALSE(_reason);
}

TEST_F(ViewProcessTest, IsEndedWhenItFloodsUsWithReports) {
    beginHostile("flood-in-init");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("says what makes no sense"));
}

TEST_F(ViewProcessTest, IsEndedWhenItShowsPicturesThatNobodyAskedFor) {
    _asksAgain = false;
    beginHostile("intrude-in-frame");
    ASSERT_TRUE(hasDrawn(1)) << *_reason;
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("says what makes no sense"));
    EXPECT_EQ(_pictures, 1);
}

TEST_F(ViewProcessTest, IsEndedWhenItSaysThatItIsNotConfined) {
    beginHostile("complain-in-init");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("says what makes no sense"));
}

TEST_F(ViewProcessTest, IsEndedWhenItHasTooManyThreads) {
    beginHostile("multiply-in-init");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("has too many threads"));
}

TEST_F(ViewProcessTest, TellsWhichProcessRunsTheView) {
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasDrawn(1)) << *_reason;
    EXPECT_THAT(_confined, ElementsAre(_view->process()));
    EXPECT_THAT(childrenOf(getpid()), ElementsAre(_view->process())) << "nothing else is left";
    EXPECT_THAT(_lines, IsEmpty());
}

TEST_F(ViewProcessTest, IsEndedWhenItTakesTimeWithoutDrawing) {
    _timeFactor = 1000;
    beginHostile("be-busy-in-init");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("takes a processor core without drawing"));
    EXPECT_THAT(_lines, ElementsAre(HasSubstr("takes much processor time")));
}

TEST_F(ViewProcessTest, MayTakeTimeAndStandStillWithoutAWatchdog) {
    _timeFactor = 1000;
    _hasWatchdog = false;
    beginHostile("be-busy-in-init");
    ASSERT_TRUE(hasDrawn(3)) << *_reason;
    kill(_view->process(), SIGSTOP);
    NSRunLoop::mainRunLoop().runForSeconds(ViewProcess::kPatience + 3);
    ASSERT_FALSE(_reason) << *_reason;
    kill(_view->process(), SIGCONT);
    EXPECT_TRUE(hasDrawn(_pictures + 10));
}

TEST_F(ViewProcessTest, TellsWhatTheWallpaperLogsAndPrints) {
    begin(testBundle(_folder.path(), "TalkingWallpaper"));
    ASSERT_TRUE(serveUntil([this] { return _printed.size() == 2 || _reason; }));
    EXPECT_THAT(_logged, Contains("has loaded"));
    EXPECT_THAT(_printed, ElementsAre("a printed line", "an error \\x1b[2J of its own"));
}

TEST_F(ViewProcessTest, TellsAFewOfManyPrintedLines) {
    beginHostile("print-in-first");
    ASSERT_TRUE(hasDrawn(20)) << *_reason;
    EXPECT_TRUE(serveUntil([this] {
        return std::any_of(_printed.begin(), _printed.end(),
                           [](const std::string &line) { return line.ends_with(" more lines)"); });
    }));
    EXPECT_LT(_printed.size(), 1000U);
}

TEST_F(ViewProcessTest, IsEndedWhenItKeepsManyThreadsBusy) {
    beginHostile("crowd-in-first");
    EXPECT_TRUE(hasEnded());
    EXPECT_EQ(_reason, "keeps too many threads busy");
    EXPECT_THAT(_lines, Contains(HasSubstr("gives way to all other programs")));
}

TEST_F(ViewProcessTest, GivesWayWhenItKeepsSomeThreadsBusy) {
    beginHostile("copy-in-first");
    EXPECT_TRUE(serveUntil([&] { return _reason || !_lines.empty(); }));
    EXPECT_THAT(_lines, Contains(HasSubstr("gives way to all other programs")));
}

TEST_F(ViewProcessTest, TakesLittleOfABusyProcessorWhenItLoadsWithSomeThreads) {
    beginHostile("copy-and-wait-in-init");
    EXPECT_TRUE(serveUntil([&] {
        return _reason || getpriority(PRIO_PROCESS, static_cast<id_t>(_view->process())) == 12;
    }));
    EXPECT_FALSE(_reason) << "before the watchdog";
    EXPECT_EQ(_pictures, 0U);
}

TEST_F(ViewProcessTest, TakesLittleOfABusyProcessorWithAllItsThreads) {
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasDrawn(2));
    for (const auto &thread : std::filesystem::directory_iterator(
             "/proc/" + std::to_string(_view->process()) + "/task")) {
        const auto number = std::stoul(thread.path().filename());
        EXPECT_EQ(getpriority(PRIO_PROCESS, static_cast<id_t>(number)), 12);
    }
}

TEST_F(ViewProcessTest, NamesEachRefusedSystemCallOnce) {
    beginHostile("reach-out-in-init");
    ASSERT_TRUE(hasDrawn(1)) << *_reason;
    EXPECT_EQ(
        std::count(_lines.begin(), _lines.end(), "makes the system call socket, which is refused"),
        1);
    EXPECT_THAT(_lines, Not(Contains(HasSubstr("openat2"))));
}

TEST_F(ViewProcessTest, IsTheFirstToDieWhenMemoryRunsOut) {
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasDrawn(1)) << *_reason;
    EXPECT_EQ(contentsOf("/proc/" + std::to_string(_view->process()) + "/oom_score_adj"), "1000\n");
}

TEST_F(ViewProcessTest, RefusesABundleThatIsALink) {
    hostileBundle(_folder.path(), "harmless");
    std::filesystem::create_symlink(_folder.path() + "/harmless.bundle",
                                    _folder.path() + "/link.bundle");
    begin(_folder.path() + "/link.bundle");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("is a link, not a bundle"));
    EXPECT_TRUE(_isHopeless);
}

TEST_F(ViewProcessTest, IsEndedWhenItSaysThatItHasMoved) {
    beginHostile("move-in-init");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("says what makes no sense"));
}

TEST_F(ViewProcessTest, GetsNothingThatWeWereBegunWith) {
    const int left = fcntl(STDOUT_FILENO, F_DUPFD, 200);
    begin(shippedBundle("Lumivera.bundle"));
    EXPECT_TRUE(hasDrawn(1)) << *_reason;
    EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(_view->process()) + "/fd/" +
                                         std::to_string(left)));
    close(left);
}

TEST_F(ViewProcessTest, CannotTakeAllMemory) {
    if (!kIsMemoryLimited) {
        GTEST_SKIP() << "needs a limit of memory, so no address or thread sanitizer";
    }
    beginHostile("allocate-in-frame");
    EXPECT_TRUE(hasEnded());
}

TEST_F(ViewProcessTest, IsEndedWhenItMapsMemoryTooWidely) {
    if (!kIsMemoryLimited) {
        GTEST_SKIP() << "needs the tables of memory alone, without those of a sanitizer";
    }
    beginHostile("scatter-in-init");
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("maps memory too widely"));
}

TEST_F(ViewProcessTest, MayPrintAsMuchAsItLikes) {
    beginHostile("print-in-frame");
    EXPECT_TRUE(hasDrawn(150));
}

TEST_F(ViewProcessTest, ReachesNothingOutsideOfItself) {
    std::ofstream(_folder.path() + "/secret") << "secret";
    const std::string bundle = hostileBundle(_folder.path(), "reach-out-in-init");
    const std::string description = contentsOf(bundle + "/description.plist");
    begin(bundle);
    ASSERT_TRUE(hasDrawn(3)) << *_reason;
    EXPECT_EQ(contentsOf(bundle + "/description.plist"), description);
    EXPECT_FALSE(std::filesystem::exists(bundle + "/written"));
    EXPECT_FALSE(std::filesystem::exists(_folder.path() + "/written"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/written"));
}

TEST_F(ViewProcessTest, DoesNotLoadALibraryThatOthersCanWrite) {
    const std::string bundle = hostileBundle(_folder.path(), "harmless");
    chmod(bundle.c_str(), 0777);
    begin(bundle);
    ASSERT_TRUE(hasEnded());
    EXPECT_THAT(*_reason, HasSubstr("can be written by others"));
    EXPECT_TRUE(_isHopeless);
}

TEST_F(ViewProcessTest, LoadsAnyLibraryWhenToldToTrustIt) {
    const std::string bundle = hostileBundle(_folder.path(), "harmless");
    chmod(bundle.c_str(), 0777);
    begin(bundle, {}, true);
    EXPECT_TRUE(hasDrawn(1)) << *_reason;
}

TEST_F(ViewProcessTest, EndsWithItsHost) {
    begin(shippedBundle("Lumivera.bundle"));
    ASSERT_TRUE(hasDrawn(1));
    const pid_t process = _view->process();
    _view.reset();
    EXPECT_NE(kill(process, 0), 0) << "neither running nor waited for";
}

} // namespace
