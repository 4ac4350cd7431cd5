#include "Host/Desktop/Isolation/ViewProcess.h"
#include "Host/Support/DescriptorWaiter.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace {

using namespace Lumivera;

/// The wallpaper's own delay before it loads.
constexpr NSTimeInterval kLoadingDelay = 0.5;

constexpr unsigned kWidth = 1280;
constexpr unsigned kHeight = 800;

/// Ends the run loop with the first picture.
class FirstPicture final : public RemoteView::Listener {
  public:
    bool hasFailed = false;

  private:
    void viewDrew(RemoteView &, unsigned, const std::vector<DeviceRect> &) override {
        NSRunLoop::mainRunLoop().stop();
    }
    void viewEnded(RemoteView &, const std::string &, bool) override {
        hasFailed = true;
        NSRunLoop::mainRunLoop().stop();
    }
};

/// Milliseconds from the start of a process until its first picture, less the wallpaper's delay.
/// Nothing when there is none.
double timeBehind(unsigned walls) {
    DescriptorWaiter waiter;
    FirstPicture picture;
    ViewProcess::Start start;
    start.bundle = LUMIVERA_BUILD_DIR "/share/lumivera/wallpapers/Lumivera.bundle";
    start.memory = std::make_shared<SharedBuffers>(kWidth, kHeight, 1);
    start.walls = walls;
    const NSTimeInterval from = CACurrentMediaTime();
    ViewProcess view(waiter, start, picture);
    view.allowDrawing(0);
    NSRunLoop::mainRunLoop().runForSeconds(30);
    return picture.hasFailed ? -1 : (CACurrentMediaTime() - from - kLoadingDelay) * 1000;
}

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// What all walls add to the time until the first picture: medians of turns with and without them,
/// and the median of the differences between neighbours.
void firstPictureBehindWalls(benchmark::State &state) {
    NSLogSetSink([](std::string_view) {});
    std::vector<double> behind, without, difference;
    for (auto _ : state) {
        without.push_back(timeBehind(0));
        behind.push_back(timeBehind(Sandbox::kAllWalls));
        difference.push_back(behind.back() - without.back());
        if (without.back() < 0 || behind.back() < 0) {
            state.SkipWithError("the view has ended");
            break;
        }
    }
    NSLogSetSink(nullptr);
    state.counters["without_ms"] = medianOf(without);
    state.counters["behind_ms"] = medianOf(behind);
    state.counters["difference_ms"] = medianOf(difference);
}

BENCHMARK(firstPictureBehindWalls)->Iterations(41)->Unit(benchmark::kMillisecond);

} // namespace
