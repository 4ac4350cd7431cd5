#include "Tests/Host/Desktop/BusyHostTest.h"
#include "Tests/Host/Desktop/FakeViews.h"

#include <gmock/gmock.h>

using namespace Lumivera;

namespace {

constexpr double kTwoHours = 7200;
constexpr double kCalm = 40;

/// Two hours of use.
class DesktopSoakTest : public BusyHostTest {
  protected:
    DesktopSoakTest() {
        _options.makeView = _views.maker();
        _views.behaviours["/slow"].firstPicture = 4;
        _views.behaviours["/ends"].end = 7;
        _views.behaviours["/hangs"] = {1000, 5, false, 30};
        _views.behaviours["/hopeless"] = {1000, 0.05, true, 30};
        _views.behaviours["/still"].petals.reset();
    }

    void TearDown() override {
        end();
        BusyHostTest::TearDown();
    }

    /// Undoes everything that pauses the wallpaper, chooses a harmless bundle and waits until it is
    /// shown.
    void calmDown() {
        _host->setConfiguration({});
        _host->setSession({});
        _host->setPaused("", false);
        WallpaperChoice choice;
        choice.bundle = "/calm";
        _host->choose("", choice);
        for (const OutputStatus &output : _host->status("")) {
            _desktop->surface(output.output)->setVisibility(SurfaceVisibility::Visible);
        }
        runForSeconds(kCalm);
    }

    void expectEverythingInOrder() {
        const auto outputs = _host->status("");
        EXPECT_EQ(_views.views().size(), outputs.size()) << "one view an output";
        for (const OutputStatus &output : outputs) {
            EXPECT_EQ(output.bundle, "/calm");
            EXPECT_EQ(output.failedBundle, "");
            EXPECT_NEAR(output.framesPerSecond, 40, 1) << output.output;
            const SharedBuffers *memory = _desktop->surface(output.output)->memory();
            ASSERT_TRUE(memory);
            EXPECT_EQ(memory->width(), output.width);
            EXPECT_EQ(memory->height(), output.height);
        }
        EXPECT_LE(openDescriptors(), _descriptors + 2 * outputs.size());
    }

    FakeViews _views;
    const std::size_t _descriptors = openDescriptors();
};

TEST_F(DesktopSoakTest, IsInOrderAfterEveryQuarterOfTwoHours) {
    begin();
    for (int quarter = 1; quarter <= 8; ++quarter) {
        while (elapsed() < kTwoHours * quarter / 8 - kCalm) {
            happen();
            runForSeconds(random(300) / 100.0);
        }
        calmDown();
        expectEverythingInOrder();
    }
    EXPECT_GT(_views.made().size(), 500U) << "much has happened";
    EXPECT_GT(_lines, 50) << "views ended";
}

} // namespace
