#include "Animation/Common/ImageCache.h"
#include "Animation/Common/NSData+DataEncrypt.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/Foundation/SimulatedClock.h"
#include "Platform/UIKit/UIScreen.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

namespace {

constexpr CGRect kScreen = CGRectMake(0, 0, 1280, 800);
constexpr int kFramesOnScreen = 200;
constexpr std::size_t kPackBytes = std::size_t{64} << 20;
constexpr std::size_t kPackEntries = 64;

/// A loaded wallpaper in simulated time; the benchmark makes its frames.
class PetalScene {
  public:
    explicit PetalScene(NSUInteger petals) {
        NSLogSetSink([](std::string_view) {});
        Clock::setCurrent(&_clock);
        UIScreen::setMainScreen(makeRetained<UIScreen>(kScreen, 1));
        ImageCache::sharedInstance()->setResBundle(
            NSBundle::bundleWithPath(LUMIVERA_SOURCE_DIR "/Wallpapers/Lumivera.bundle"));
        _view = LumiveraView::initWithFrame(kScreen);
        NSRunLoop::mainRunLoop().runForSeconds(0.5);
        _view->setSakuraCount(petals);
        NSRunLoop::mainRunLoop().runForSeconds(0.01);
        _view->stopAnimating();
        NSRunLoop::mainRunLoop().runForSeconds(0.1);
        std::srand(1);
    }

    ~PetalScene() {
        _view = nullptr;
        while (NSThread::detachedThreadCount() > 0) {
            NSRunLoop::mainRunLoop().runForSeconds(0.1);
        }
        UIScreen::setMainScreen(nullptr);
        Clock::setCurrent(nullptr);
        NSLogSetSink(nullptr);
    }

    LumiveraView &view() { return *_view; }

    NSUInteger petalCount() const {
        NSUInteger count = 0;
        for (NSUInteger i = 1; i < _view->subviewCount(); ++i) {
            count += _view->subviewAtIndex(i)->subviewCount();
        }
        return count;
    }

    void passTime() { NSThread::sleepForTimeInterval(0.025); }

    /// Puts every petal at a place on the screen.
    void scatter() {
        for (NSUInteger i = 1; i < _view->subviewCount(); ++i) {
            UIView *layer = _view->subviewAtIndex(i);
            for (NSUInteger j = 0; j < layer->subviewCount(); ++j) {
                layer->subviewAtIndex(j)->setCenter({static_cast<CGFloat>(std::rand() % 1280),
                                                     static_cast<CGFloat>(std::rand() % 800)});
            }
        }
    }

  private:
    SimulatedClock _clock;
    Retained<LumiveraView> _view;
};

void stepOfOneFrame(benchmark::State &state) {
    PetalScene scene(static_cast<NSUInteger>(state.range(0)));
    const auto petals = static_cast<double>(scene.petalCount());
    int frame = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (frame++ % kFramesOnScreen == 0) {
            scene.scatter();
        }
        scene.passTime();
        state.ResumeTiming();
        scene.view().doAnimating();
    }
    state.counters["time_per_petal"] = benchmark::Counter(
        petals, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// A pack of 64 MiB that the benchmarks read.
class LargePack {
  public:
    LargePack() : _path(std::filesystem::temp_directory_path() / "lumivera-benchmark.pack") {
        NSLogSetSink([](std::string_view) {});
        DataEncrypt::Datas datas;
        for (std::size_t i = 0; i < kPackEntries; ++i) {
            datas["picture" + std::to_string(i) + ".png"] =
                DataEncrypt::Bytes(kPackBytes / kPackEntries, static_cast<std::uint8_t>(i));
        }
        DataEncrypt::saveDatas_toFilePath(datas, _path);
    }

    ~LargePack() {
        std::error_code ignored;
        std::filesystem::remove(_path, ignored);
        NSLogSetSink(nullptr);
    }

    const std::string &path() const { return _path; }

  private:
    const std::string _path;
};

void packOf64MiBRead(benchmark::State &state) {
    const LargePack pack;
    for (auto _ : state) {
        benchmark::DoNotOptimize(DataEncrypt::readDatasFromFilePath(pack.path()));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kPackBytes));
}

/// The least that any reader must do, in memory that is allocated already.
void fileOf64MiBReadAndCopied(benchmark::State &state) {
    const LargePack pack;
    const std::size_t size = std::filesystem::file_size(pack.path());
    DataEncrypt::Bytes bytes(size);
    DataEncrypt::Bytes copy(size);
    for (auto _ : state) {
        std::FILE *const file = std::fopen(pack.path().c_str(), "rb");
        if (std::fread(bytes.data(), 1, size, file) != size) {
            state.SkipWithError("the file cannot be read");
        }
        std::fclose(file);
        std::memcpy(copy.data(), bytes.data(), size);
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kPackBytes));
}

BENCHMARK(stepOfOneFrame)->Arg(300)->Arg(100'000);
BENCHMARK(packOf64MiBRead)->Unit(benchmark::kMillisecond);
BENCHMARK(fileOf64MiBReadAndCopied)->Unit(benchmark::kMillisecond);

} // namespace
