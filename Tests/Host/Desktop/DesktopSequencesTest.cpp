#include "Tests/Host/Desktop/BusyHostTest.h"
#include "Tests/Host/Desktop/PlayedViews.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <malloc.h>

using namespace Lumivera;

namespace {

constexpr int kUsualSequences = 60;
constexpr unsigned kMostSteps = 20;
constexpr double kBetweenTurns = 0.025;

/// What a few sequences leave in caches, and no more than that after many.
constexpr int kWarmUp = 20;
constexpr std::size_t kMostGrowth = std::size_t{64} << 10;

int numberFrom(const char *variable, int standard) {
    const char *const text = std::getenv(variable);
    return text ? std::atoi(text) : standard;
}

/// Random sequences of orders, changes and misdeeds of views. LUMIVERA_SEQUENCES is how many, and
/// LUMIVERA_FIRST_SEQUENCE the number of the first, by which one is repeated.
class DesktopSequencesTest : public BusyHostTest {
  protected:
    DesktopSequencesTest() : _turn([this] { takeTurn(); }) { _options.makeView = _views.maker(); }

    void TearDown() override {
        end();
        _turn.cancel();
        BusyHostTest::TearDown();
    }

    void takeTurn() {
        _views.act();
        checkSurfaces();
        _turn.callAfter(kBetweenTurns);
    }

    /// A surface whose picture was shown keeps one: the last one, or that of a view that has drawn.
    void checkSurfaces() {
        for (const char *const name : {"OUT-0", "OUT-1", "OUT-2"}) {
            const HeadlessSurface *const surface = _desktop ? _desktop->surface(name) : nullptr;
            if (!surface || surface->presentCount() == 0) {
                continue;
            }
            const SharedBuffers *const memory = surface->memory();
            const auto presented = surface->presented();
            _isBlank = _isBlank || !memory || (presented && memory->pixels(*presented)[0] == 0);
        }
    }

    void runSequence(int number) {
        _random.seed(static_cast<unsigned>(number));
        begin();
        _turn.callAfter(0);
        for (unsigned step = random(kMostSteps) + 1; step > 0; --step) {
            happen();
            runForSeconds(random(200) / 100.0);
        }
        end();
        _views.act();
        _turn.cancel();
        runMainLoopUntilIdle();
    }

    void expectNothingLeft() {
        EXPECT_FALSE(_isBlank);
        EXPECT_EQ(_views.count(), 0U);
        EXPECT_EQ(_views.sources(), 0U);
        EXPECT_EQ(openDescriptors(), _descriptors);
    }

    PlayedViews _views{_random};
    DeferredCall _turn;
    bool _isBlank = false;
    const std::size_t _descriptors = openDescriptors();
};

TEST_F(DesktopSequencesTest, LeaveNoSurfaceBlankAndNothingBehind) {
    const int first = numberFrom("LUMIVERA_FIRST_SEQUENCE", 1);
    const int count = numberFrom("LUMIVERA_SEQUENCES", kUsualSequences);
    std::size_t used = 0;
    for (int i = 0; i < count && !HasFailure(); ++i) {
        SCOPED_TRACE("sequence " + std::to_string(first + i));
        runSequence(first + i);
        expectNothingLeft();
        if (i == kWarmUp) {
            used = mallinfo2().uordblks;
        }
    }
    if (count > kWarmUp && used > 0) {
        EXPECT_LE(mallinfo2().uordblks, used + kMostGrowth);
    }
    RecordProperty("misdeeds", _views.misdeeds());
    EXPECT_GT(_views.misdeeds(), count / 2) << "much has happened";
}

} // namespace
