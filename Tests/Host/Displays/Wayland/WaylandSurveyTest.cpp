#include "Host/Displays/Wayland/WaylandDesktop.h"

#include "Tests/Host/Displays/Wayland/FakeSway.h"
#include "Tests/Host/Displays/Wayland/TestCompositor.h"

#include <gtest/gtest.h>

using namespace Lumivera;

namespace {

using Level = Finding::Level;

TEST(WaylandSurvey, FindsNothingAmissWhereEverythingIsOffered) {
    TestCompositor compositor;
    compositor.addOutput("A", {1280, 800, 2, 0});
    const DesktopSurvey survey = surveyWayland();
    for (const Finding &finding : survey.findings) {
        EXPECT_EQ(finding.level, Level::Good) << finding.subject << ": " << finding.words;
    }
    ASSERT_EQ(survey.outputs.size(), 1U);
    EXPECT_EQ(survey.outputs[0].name, "A");
    EXPECT_EQ(survey.outputs[0].width, 1280U);
    EXPECT_EQ(survey.outputs[0].height, 800U);
    EXPECT_EQ(survey.outputs[0].density, 2);
}

TEST(WaylandSurvey, SaysWhatIsMissing) {
    TestCompositor::Options options;
    options.hasLayerShell = false;
    options.hasFractionalScale = false;
    options.hasToplevels = false;
    TestCompositor compositor(options);
    const DesktopSurvey survey = surveyWayland();
    ASSERT_EQ(survey.findings.size(), 3U);
    EXPECT_EQ(survey.findings[0].level, Level::Bad);
    EXPECT_EQ(survey.findings[1].level, Level::Lacking);
    EXPECT_EQ(survey.findings[2].level, Level::Lacking);
    for (const Finding &finding : survey.findings) {
        EXPECT_FALSE(finding.remedy.empty()) << finding.subject;
    }
}

/// The finding about the layer on a Sway that does not answer.
Finding layerOnSway(LayerChoice choice) {
    const FakeSway sway;
    TestCompositor compositor;
    return surveyWayland(choice).findings[1];
}

TEST(WaylandSurvey, SaysOnSwayWhatItsOwnBackgroundHides) {
    EXPECT_EQ(layerOnSway(LayerChoice::Automatic).level, Level::Good);
    EXPECT_EQ(layerOnSway(LayerChoice::Bottom).level, Level::Good);
    EXPECT_EQ(layerOnSway(LayerChoice::Background).level, Level::Lacking);
}

/// The finding about windows on Plasma.
Finding windowsOnPlasma(bool isTold) {
    TestCompositor::Options options;
    options.isPlasmas = true;
    options.isKWins = isTold;
    TestCompositor compositor(options);
    return surveyWayland().findings[3];
}

TEST(WaylandSurvey, SaysOnPlasmaWhetherKWinTellsOfItsWindows) {
    const Finding told = windowsOnPlasma(true);
    EXPECT_EQ(told.subject, "KWin's windows");
    EXPECT_EQ(told.level, Level::Good);
    const Finding notTold = windowsOnPlasma(false);
    EXPECT_EQ(notTold.subject, "KWin's windows");
    EXPECT_EQ(notTold.level, Level::Lacking);
    EXPECT_FALSE(notTold.remedy.empty());
}

TEST(WaylandSurvey, SaysOnPlasmaThatTheIconsAreHidden) {
    TestCompositor::Options options;
    options.isPlasmas = true;
    TestCompositor compositor(options);
    const Finding finding = surveyWayland().findings.back();
    EXPECT_EQ(finding.subject, "icons");
    EXPECT_EQ(finding.level, Level::Lacking);
    EXPECT_FALSE(finding.remedy.empty());
}

TEST(WaylandSurvey, SaysOnSwayThatItsSocketIsMissing) {
    const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "sway");
    const EnvironmentVariable socket("SWAYSOCK", nullptr);
    TestCompositor compositor;
    const Finding finding = surveyWayland().findings.back();
    EXPECT_EQ(finding.subject, "Sway's windows");
    EXPECT_EQ(finding.level, Level::Lacking);
}

} // namespace
