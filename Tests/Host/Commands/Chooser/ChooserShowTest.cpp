#include "Host/Commands/Chooser/ChooserShow.h"

#include "Host/Support/HostError.h"
#include "Tests/Host/Desktop/FakeViews.h"
#include "Tests/Host/Playing/FakeWindow.h"
#include "Tests/Host/Programs/ProgramRun.h"
#include "Tests/Support/SimulatedTime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>

using namespace Lumivera;

namespace {

constexpr std::uint32_t kGreen = 0xff00ff00;

BundleListing bundleCalled(const std::string &path, const std::string &problem = {}) {
    BundleListing listing;
    listing.path = path;
    listing.name = path;
    listing.problem = problem;
    return listing;
}

/// The chooser in a fake window, with fake views that paint everything green.
class ChooserShowTest : public SimulatedTimeTest {
  protected:
    using Events = std::vector<std::pair<double, std::function<void()>>>;

    void TearDown() override {
        _show.reset();
        SimulatedTimeTest::TearDown();
    }

    void addBundles(int count) {
        for (int i = 0; i < count; ++i) {
            _bundles.push_back(bundleCalled("b" + std::to_string(i)));
        }
    }

    /// Runs the show, performs the actions at their times, and ends the show after that many
    /// seconds.
    void show(double seconds, const Events &events) {
        ChooserShow::Options options;
        options.bundles = _bundles;
        options.selected = _selected;
        options.makeView = [this](const ViewRequest &request, RemoteView::Listener &listener) {
            const std::size_t count =
                std::size_t{request.memory->width()} * request.memory->height();
            std::fill_n(request.memory->pixels(0), count, kGreen);
            return _views.maker()(request, listener);
        };
        options.use = [this](const BundleListing &bundle) {
            if (!_failure.empty()) {
                throw HostError(bundle.path, _failure);
            }
            _used.push_back(bundle.path);
        };
        _show.emplace(_window, std::move(options));
        for (const auto &[time, event] : events) {
            loop().performSelector_afterDelay(nullptr, "event", event, time);
        }
        loop().performSelector_afterDelay(
            nullptr, "event", [] { loop().stop(); }, seconds);
        _show->run();
        loop().cancelPreviousPerformRequestsWithTarget(nullptr, "event");
    }

    void press(WindowKey key) { _window.listener().keyPressed(key); }
    std::function<void()> pressing(WindowKey key) {
        return [this, key] { press(key); };
    }

    /// The centre of the visible part of a card.
    CGPoint placeOf(NSUInteger index) const {
        const ChooserLayout &layout = _show->layout();
        const CGRect card = layout.card(index);
        const CGFloat scroll = _show->shelf().scroll();
        return {layout.shelf().origin.x + CGRectGetMidX(card) - (layout.isRow() ? scroll : 0),
                layout.shelf().origin.y + CGRectGetMidY(card) - (layout.isRow() ? 0 : scroll)};
    }

    void tap(NSUInteger card) { _window.listener().tapped(placeOf(card)); }

    std::uint32_t pixelAt(CGFloat x, CGFloat y) const {
        const auto width = static_cast<std::size_t>(_window.size().width);
        return _window.pixels()[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)];
    }

    /// The pixels of the upper part of the preview, where no text is.
    std::uint32_t previewPixel() const {
        const CGRect preview = _show->layout().preview();
        return pixelAt(CGRectGetMidX(preview), preview.origin.y + 20);
    }

    FakeWindow _window{{800, 500}, 1};
    FakeViews _views;
    std::vector<BundleListing> _bundles;
    NSUInteger _selected = 0;
    std::string _failure;
    std::vector<std::string> _used;
    std::optional<ChooserShow> _show;
};

TEST_F(ChooserShowTest, ShowsTheSelectedWallpaperAsItMoves) {
    addBundles(3);
    _selected = 1;
    int presents = 0;
    show(3, {{0.15, [&] { EXPECT_TRUE(_views.made().empty()); }},
             {0.5, [&] { EXPECT_NE(previewPixel(), kGreen); }},
             {1, [&] { _window.forgetPresents(); }},
             {2, [&] { presents = _window.presents(); }}});
    EXPECT_EQ(_views.made(), std::vector<std::string>{"b1"});
    EXPECT_EQ(previewPixel(), kGreen);
    EXPECT_GE(presents, 35);
    EXPECT_LE(presents, 45);
}

TEST_F(ChooserShowTest, RoundsThePreviewOff) {
    addBundles(1);
    show(2, {});
    const CGRect preview = _show->layout().preview();
    EXPECT_EQ(pixelAt(preview.origin.x, preview.origin.y), pixelAt(2, 2));
    EXPECT_EQ(pixelAt(preview.origin.x, preview.origin.y + 30), kGreen);
}

TEST_F(ChooserShowTest, BeginsNoViewWhileAnArrowKeyIsHeld) {
    addBundles(40);
    Events events;
    for (int i = 0; i < 20; ++i) {
        events.emplace_back(0.1 * i, pressing(WindowKey::Right));
    }
    show(4, events);
    EXPECT_EQ(_show->selected(), 20u);
    EXPECT_EQ(_views.made(), std::vector<std::string>{"b20"});
}

TEST_F(ChooserShowTest, EndsTheViewOfABundleThatIsSelectedNoMore) {
    addBundles(2);
    show(3, {{1, pressing(WindowKey::Right)},
             {1.1, [&] { EXPECT_TRUE(_views.views().empty()); }},
             {2, [&] {
                  ASSERT_EQ(_views.views().size(), 1u);
                  EXPECT_EQ(_views.views()[0]->request().bundle, "b1");
              }}});
}

TEST_F(ChooserShowTest, RestsWhileNobodyCanSeeIt) {
    addBundles(1);
    show(4, {{1, [&] { _window.setVisible(false); }},
             {1.1,
              [&] {
                  EXPECT_FALSE(_views.views().at(0)->isRunning());
                  _window.forgetPresents();
              }},
             {3,
              [&] {
                  EXPECT_EQ(_window.presents(), 0);
                  _window.setVisible(true);
              }},
             {3.5, [&] { EXPECT_TRUE(_views.views().at(0)->isRunning()); }}});
}

TEST_F(ChooserShowTest, BeginsNothingWhileNobodyCanSeeIt) {
    addBundles(2);
    show(4, {{0.1, [&] { _window.setVisible(false); }}, {2, [&] {
                                                             EXPECT_TRUE(_views.made().empty());
                                                             _window.setVisible(true);
                                                         }}});
    EXPECT_EQ(_views.made().size(), 1u);
}

TEST_F(ChooserShowTest, ShowsNoPictureOfAViewThatHasEnded) {
    addBundles(1);
    _views.behaviours["b0"].end = 2;
    std::uint32_t before = 0;
    show(6, {{1.5, [&] { before = previewPixel(); }}});
    EXPECT_EQ(before, kGreen);
    EXPECT_NE(previewPixel(), kGreen);
    EXPECT_EQ(_views.made().size(), 1u);
}

TEST_F(ChooserShowTest, GoesOnWhereThereCanBeNoView) {
    addBundles(2);
    _views.isOutOfProcesses = true;
    show(2, {{1, pressing(WindowKey::Right)}, {1.5, pressing(WindowKey::Use)}});
    EXPECT_EQ(_used, std::vector<std::string>{"b1"});
}

TEST_F(ChooserShowTest, UsesTheSelectedBundleAndEnds) {
    addBundles(5);
    show(5, {{0.1, pressing(WindowKey::Last)},
             {0.2, pressing(WindowKey::Left)},
             {0.5, pressing(WindowKey::Use)}});
    EXPECT_EQ(_used, std::vector<std::string>{"b3"});
    EXPECT_NEAR(elapsed(), 0.5, 0.01);
}

TEST_F(ChooserShowTest, UsesNothingWhenItIsClosed) {
    addBundles(5);
    show(5, {{0.5, pressing(WindowKey::Quit)}});
    EXPECT_TRUE(_used.empty());
    EXPECT_NEAR(elapsed(), 0.5, 0.01);
}

TEST_F(ChooserShowTest, SelectsATappedCardAndUsesItAtTheSecondTap) {
    addBundles(6);
    show(5, {{0.5, [&] { tap(3); }},
             {0.6,
              [&] {
                  EXPECT_EQ(_show->selected(), 3u);
                  EXPECT_TRUE(_used.empty());
              }},
             {1, [&] { tap(3); }}});
    EXPECT_EQ(_used, std::vector<std::string>{"b3"});
    EXPECT_NEAR(elapsed(), 1, 0.01);
}

TEST_F(ChooserShowTest, UsesTheSelectedBundleWithTheButton) {
    addBundles(6);
    show(5, {{0.5, [&] {
                  const CGRect button = _show->layout().button();
                  _window.listener().tapped({CGRectGetMidX(button), CGRectGetMidY(button)});
              }}});
    EXPECT_EQ(_used, std::vector<std::string>{"b0"});
}

TEST_F(ChooserShowTest, HandsTapsOnThePreviewToTheView) {
    addBundles(1);
    std::vector<CGPoint> taps;
    show(2, {{1, [&] {
                  const CGPoint corner = _show->layout().preview().origin;
                  _window.listener().tapped({corner.x + 30, corner.y + 40});
                  taps = _views.views().at(0)->taps();
              }}});
    EXPECT_EQ(taps, (std::vector<CGPoint>{{30, 40}}));
}

TEST_F(ChooserShowTest, NeitherShowsNorUsesABundleWithAProblem) {
    addBundles(2);
    _bundles[1].problem = "has no description.plist";
    show(3, {{0.5, pressing(WindowKey::Right)}, {1.5, pressing(WindowKey::Use)}, {1.6, [&] {
                                                                                      tap(1);
                                                                                  }}});
    EXPECT_EQ(_show->selected(), 1u);
    EXPECT_TRUE(_used.empty());
    EXPECT_TRUE(std::find(_views.made().begin(), _views.made().end(), "b1") == _views.made().end());
}

TEST_F(ChooserShowTest, StaysAndSaysWhyABundleCouldNotBeUsed) {
    addBundles(2);
    _failure = "the disk is full";
    std::vector<std::uint32_t> before;
    ::testing::internal::CaptureStderr();
    show(3, {{1.5,
              [&] {
                  before = _window.pixels();
                  press(WindowKey::Use);
              }},
             {2, [&] {
                  const CGRect details = _show->layout().details();
                  bool hasChanged = false;
                  for (CGFloat x = details.origin.x; x < details.origin.x + 100; ++x) {
                      const auto at = static_cast<std::size_t>(details.origin.y + 8) * 800 +
                                      static_cast<std::size_t>(x);
                      hasChanged = hasChanged || _window.pixels()[at] != before[at];
                  }
                  EXPECT_TRUE(hasChanged);
              }}});
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "lumivera: b0: the disk is full\n");
    EXPECT_NEAR(elapsed(), 3, 0.01);
}

TEST_F(ChooserShowTest, StaysThereWithoutAnyBundle) {
    show(2, {{0.5, pressing(WindowKey::Use)},
             {0.6, pressing(WindowKey::Down)},
             {0.7, [&] {
                  _window.listener().tapped({100, 100});
              }}});
    EXPECT_TRUE(_used.empty());
    EXPECT_TRUE(_views.made().empty());
    const CGRect preview = _show->layout().preview();
    int bright = 0;
    for (CGFloat x = preview.origin.x + 20; x < preview.origin.x + preview.size.width - 20; ++x) {
        for (CGFloat y = CGRectGetMidY(preview) - 20; y < CGRectGetMidY(preview) + 20; ++y) {
            bright += (pixelAt(x, y) & 0xff) > 0x60 ? 1 : 0;
        }
    }
    EXPECT_GT(bright, 100) << "no words";
}

TEST_F(ChooserShowTest, DrawsCardsOneByOneTheVisibleOnesFirst) {
    addBundles(100);
    for (BundleListing &bundle : _bundles) {
        bundle.path = shippedBundle("Lumivera.bundle");
    }
    _selected = 60;
    int presents = 0;
    show(1, {{0, [&] {
                  presents = _window.presents();
                  EXPECT_TRUE(_show->shelf().needsDrawing(99));
              }}});
    EXPECT_GE(presents, 1);
    for (NSUInteger i = 0; i < 100; ++i) {
        EXPECT_FALSE(_show->shelf().needsDrawing(i)) << i;
    }
}

TEST_F(ChooserShowTest, ScrollsWithTheWheelAndWithTheKeys) {
    addBundles(60);
    show(2, {{0.1,
              [&] {
                  _window.listener().scrolledDownBy(-200);
                  EXPECT_EQ(_show->shelf().scroll(), 200);
                  _window.listener().scrolledDownBy(5000);
                  EXPECT_EQ(_show->shelf().scroll(), 0);
                  press(WindowKey::Last);
                  EXPECT_EQ(_show->shelf().scroll(), _show->layout().longestScroll());
              }},
             {0.2, [&] { tap(59); }}});
    EXPECT_EQ(_used, std::vector<std::string>{"b59"});
}

TEST_F(ChooserShowTest, ScrollsARowSideways) {
    addBundles(30);
    show(1, {{0.1, [&] {
                  _window.resize({320, 480});
                  _window.listener().scrolledBy(-150);
                  EXPECT_EQ(_show->shelf().scroll(), 150);
              }}});
}

TEST_F(ChooserShowTest, BeginsTheViewAnewInAWindowOfAnotherSize) {
    addBundles(1);
    show(3, {{1,
              [&] {
                  _window.resize({500, 900});
              }},
             {2.5, [&] {
                  ASSERT_EQ(_views.views().size(), 1u);
                  const CGSize preview = _show->layout().preview().size;
                  const SharedBuffers &memory = *_views.views()[0]->request().memory;
                  EXPECT_EQ(memory.width(), preview.width);
                  EXPECT_EQ(memory.height(), preview.height);
              }}});
    EXPECT_EQ(_views.made().size(), 2u);
}

TEST_F(ChooserShowTest, LivesThroughEverySize) {
    addBundles(12);
    Events events;
    double time = 0.1;
    for (const CGSize size :
         {CGSize{1, 1}, CGSize{40, 900}, CGSize{900, 40}, CGSize{2600, 1400}, CGSize{320, 480}}) {
        events.emplace_back(time, [this, size] { _window.resize(size); });
        time += 0.6;
    }
    show(4, events);
    EXPECT_EQ(_window.pixels().size(), 320u * 480u);
}

} // namespace
