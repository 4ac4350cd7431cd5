#include "Host/Playing/WallpaperStage.h"
#include "Host/Wallpapers/WallpaperBundle.h"
#include "Platform/Compositor/SoftwareCompositor.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/QuartzCore/CAAnimation.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using namespace Lumivera;

/// The wallpaper's own delay before it loads.
constexpr NSTimeInterval kLoadingDelay = 0.5;

/// Milliseconds from naming the bundle to the first picture with petals, on the system's clock,
/// less the wallpaper's own delay: reading the description, loading the library, decoding and
/// scaling the background, making the petals, drawing.
void startUpUntilFirstPicture(benchmark::State &state) {
    NSLogSetSink([](std::string_view) {});
    WallpaperSettings settings;
    settings.size = {static_cast<CGFloat>(state.range(0)), static_cast<CGFloat>(state.range(1))};
    std::vector<std::uint32_t> pixels(settings.pixelWidth() * settings.pixelHeight());
    const CompositorTarget target{pixels.data(), settings.pixelWidth(), settings.pixelHeight(),
                                  settings.pixelWidth()};
    for (auto _ : state) {
        const NSTimeInterval start = CACurrentMediaTime();
        const WallpaperBundle bundle(LUMIVERA_BUILD_DIR
                                     "/share/lumivera/wallpapers/Lumivera.bundle");
        WallpaperStage stage(bundle, settings);
        SoftwareCompositor compositor;
        NSRunLoop &runLoop = NSRunLoop::mainRunLoop();
        bool wasAnimating = false;
        runLoop.setObservers([&] { wasAnimating = stage.view().isAnimating(); },
                             [&] {
                                 if (wasAnimating) {
                                     compositor.composite(*stage.root().layer(), target, 1);
                                     runLoop.stop();
                                 }
                             });
        runLoop.runForSeconds(30);
        runLoop.setObservers(nullptr, nullptr);
        state.SetIterationTime(CACurrentMediaTime() - start - kLoadingDelay);
    }
    NSLogSetSink(nullptr);
}

BENCHMARK(startUpUntilFirstPicture)
    ->Args({1280, 800})
    ->Args({1920, 1080})
    ->Args({3840, 2160})
    ->Iterations(7)
    ->MeasureProcessCPUTime()
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
