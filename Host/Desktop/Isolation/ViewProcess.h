#pragma once

#include "Host/Desktop/Isolation/ConfinedProcess.h"
#include "Host/Desktop/Isolation/ProcessorUse.h"
#include "Host/Desktop/Isolation/RemoteView.h"
#include "Host/Desktop/Isolation/Sandbox.h"
#include "Host/Desktop/Isolation/TraceParts.h"
#include "Host/Desktop/Isolation/ViewMessages.h"
#include "Host/Displays/SharedBuffers.h"
#include "Host/Support/DeferredCall.h"
#include "Host/Support/DescriptorWaiter.h"
#include "Platform/Foundation/Clock.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace Lumivera {

/// So many deeds a second, and that many at once.
class Allowance {
  public:
    explicit Allowance(double aSecond) : _aSecond(aSecond), _left(aSecond) {}

    /// False when none is left.
    bool take(Clock::Nanoseconds now);

  private:
    const double _aSecond;
    double _left;
    Clock::Nanoseconds _lastTime = 0;
};

/// A view in a sandboxed process of its own, which the host never trusts. The process is killed,
/// and the listener told, when it sends a malformed report or one that it was not asked for, or
/// when a report that is due does not come in time. A process that takes much processor
/// time gives way to other programs; one that takes more than its pictures explain is killed. While
/// the view rests, its process is stopped. Main thread.
class ViewProcess final : public RemoteView, private DescriptorSource {
  public:
    /// How long a report may take, behind the icons and in a window. There a person waits, and can
    /// end a wallpaper that takes too long; patienceWith() the petals that were asked for.
    static constexpr NSTimeInterval kPatience = 5;
    static constexpr NSTimeInterval kPatienceInWindow = 20;

    /// The most frames that a trace has in a second; a process that tells more is killed. The most
    /// sounds that are heard in a second.
    static constexpr double kMostFrames = 1000;
    static constexpr double kMostSounds = 50;

    /// How long a report may take where there is no watchdog: a century.
    static constexpr NSTimeInterval kEndlessPatience = 3e9;

    struct Start : ViewRequest, ConfinedProcess::Confinement {
        /// False lets the process stand still, and take processor time, for as long as a debugger
        /// wants.
        bool hasWatchdog = true;

        /// Seeds the random numbers after the resources have loaded, before the first frame.
        unsigned seed = newSeed();

        /// Tests judge more processor time than was taken, to find little too much.
        double timeFactor = 1;

        /// A person waits for the view, which therefore may take more memory and time, and be
        /// heard.
        bool isInWindow = false;

        /// The listener is told of each frame.
        bool isTraced = false;
    };

    /// How long a report of this view may take, in seconds.
    static NSTimeInterval patienceFor(const Start &start);

    /// Throws a HostError when there can be no process. Watch and listener are not owned.
    ViewProcess(DescriptorWatch &watch, const Start &start, Listener &listener);
    ~ViewProcess() override;

    ViewProcess(const ViewProcess &) = delete;
    ViewProcess &operator=(const ViewProcess &) = delete;

    void allowDrawing(unsigned index) override;
    void setRunning(bool isRunning) override;
    void set(const WallpaperValues &change) override;
    void tap(CGPoint point) override;
    void scrollBy(CGFloat distance) override;
    void finishScrolling() override;
    std::optional<std::uint64_t> petals() const override { return _petals; }
    double cpuTime() const override { return _process.cpuTime(); }

    /// The process's identifier.
    int process() const { return _process.process(); }

  private:
    int descriptor() const override { return _process.connection().descriptor(); }
    void serve() override;
    bool readReports();
    bool take(const ViewReport &report, std::size_t bytes, int &attached);
    bool takePicture(const ViewReport &report, std::size_t bytes);
    bool takeFrame();
    bool takeSound(const ViewReport &report, std::size_t bytes);
    bool takeAnswer();
    bool refuse();
    void order(const ViewOrder &order, int attached = -1);
    void send(const ViewOrder &order, int attached);
    void sendUnsent();
    void sendLater();
    void expectReportTo(const ViewOrder &order);
    void ping(Clock::Nanoseconds deadline);
    void expectAnswerBy(Clock::Nanoseconds deadline);
    void stopOrContinue();
    void checkLater();
    void check();
    std::string complaintAt(Clock::Nanoseconds now);
    bool takesTooMuchTime(Clock::Nanoseconds now);
    bool keepsTooManyThreadsBusy();
    void look();
    void giveWay();
    void say(const std::string &line) const;
    void endWith(const std::string &reason, bool isHopeless);

    DescriptorWatch &_watch;
    Listener &_listener;
    const std::shared_ptr<SharedBuffers> _memory;
    const std::function<void(const std::string &line)> _says;
    const bool _isInWindow;
    const bool _isTraced;
    const bool _hasWatchdog;
    const Clock::Nanoseconds _patience;
    const double _timeFactor;
    DeferredCall _check;
    DeferredCall _look;
    DeferredCall _sendLater;
    ConfinedProcess _process;
    ProcessorUse _processorUse;
    std::uint64_t _pictures = 0;
    TraceParts _parts;
    Allowance _framesLeft{kMostFrames};
    Allowance _soundsLeft{kMostSounds};

    /// Orders that the socket has no room for.
    std::deque<ViewOrder> _unsent;

    std::optional<std::uint64_t> _petals;
    std::vector<DeviceRect> _rects;
    Clock::Nanoseconds _lastSign = 0;

    /// Deadlines of the first picture and of an answer; kNever when none is due.
    Clock::Nanoseconds _pictureDeadline = Clock::kNever;
    Clock::Nanoseconds _answerDeadline = Clock::kNever;

    /// The reports that the view may still send: pictures by buffer index, and the number of
    /// others.
    std::vector<bool> _isWanted;
    unsigned _answersDue = 0;
    unsigned _petalsDue = 1;
    unsigned _unusualChecks = 0;
    unsigned _crowdedChecks = 0;
    bool _givesWay = false;
    bool _isRunning = true;
    bool _isStopped = false;
    bool _hasEnded = false;
};

} // namespace Lumivera
