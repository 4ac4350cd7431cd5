#include "Host/Displays/Wayland/SwayTree.h"

#include "Tests/Host/Displays/Wayland/FakeSway.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Lumivera;

namespace {

constexpr WaylandSize kWhole{640, 480};

/// How the tree's windows hide the output "A" of 640x480 points.
std::optional<SurfaceVisibility> visibility(const std::string &text,
                                            std::optional<WaylandSize> free = kWhole) {
    const auto tree = SwayTree::parse(text);
    return tree ? tree->visibilityOf("A", free) : std::nullopt;
}

std::string window(int x, int y, int width, int height, const std::string &more = "") {
    return FakeSway::window(x, y, width, height, more);
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    return text.replace(text.find(from), from.size(), to);
}

TEST(SwayTree, IsVisibleWithoutWindows) {
    EXPECT_EQ(visibility(FakeSway::tree("")), SurfaceVisibility::Visible);
}

TEST(SwayTree, IsCoveredByTilesThatFillTheWorkspace) {
    const std::string left = window(0, 0, 320, 480);
    EXPECT_EQ(visibility(FakeSway::tree(left)), SurfaceVisibility::Visible);
    EXPECT_EQ(visibility(FakeSway::tree(left + "," + window(320, 0, 320, 480))),
              SurfaceVisibility::Covered);
}

TEST(SwayTree, CountsTitleBarsAsPartsOfTheirWindows) {
    const std::string bar = R"(, "deco_rect": {"x": 0, "y": 0, "width": 640, "height": 25})";
    EXPECT_EQ(visibility(FakeSway::tree(window(0, 25, 640, 455))), SurfaceVisibility::Visible);
    EXPECT_EQ(visibility(FakeSway::tree(window(0, 25, 640, 455, bar))), SurfaceVisibility::Covered);
}

TEST(SwayTree, SeesPetalsInWideGapsAlone) {
    const auto tiles = [](int gap) {
        return FakeSway::tree(window(0, 0, 320, 480) + "," + window(320 + gap, 0, 320 - gap, 480));
    };
    EXPECT_EQ(visibility(tiles(15)), SurfaceVisibility::Covered);
    EXPECT_EQ(visibility(tiles(17)), SurfaceVisibility::Visible);
}

TEST(SwayTree, TakesTabsForTheWholeContainer) {
    const std::string hidden = replaced(window(0, 25, 640, 455), "true", "false");
    const std::string shown = window(0, 25, 640, 455);
    const auto tree = [&](const std::string &layout) {
        return FakeSway::tree(R"({"type": "con", "layout": ")" + layout +
                              R"(", "rect": {"x": 0, "y": 0, "width": 640, "height": 480},
                              "nodes": [)" +
                              hidden + "," + shown + "]}");
    };
    EXPECT_EQ(visibility(tree("tabbed")), SurfaceVisibility::Covered);
    EXPECT_EQ(visibility(tree("stacked")), SurfaceVisibility::Covered);
    EXPECT_EQ(visibility(tree("splitv")), SurfaceVisibility::Visible);
}

TEST(SwayTree, IsNotHiddenByFloatingWindowsWhichMoveUnheard) {
    EXPECT_EQ(visibility(FakeSway::tree("", window(0, 0, 640, 480))), SurfaceVisibility::Visible);
}

TEST(SwayTree, IsHiddenByFullScreenWindows) {
    const std::string full = R"(, "fullscreen_mode": 1)";
    EXPECT_EQ(visibility(FakeSway::tree(window(0, 0, 640, 480, full))),
              SurfaceVisibility::FullScreen);
    EXPECT_EQ(visibility(FakeSway::tree("", window(0, 0, 640, 480, full))),
              SurfaceVisibility::FullScreen);
    const std::string hidden = replaced(window(0, 0, 640, 480, full), "true", "false");
    EXPECT_EQ(visibility(FakeSway::tree(hidden)), SurfaceVisibility::Visible);
}

TEST(SwayTree, IsHiddenByAWindowThatIsFullScreenOnAllOutputs) {
    const std::string full = window(0, 0, 640, 480, R"(, "fullscreen_mode": 2)");
    const auto tree = SwayTree::parse(
        replaced(FakeSway::tree(full), R"("nodes": [{"type": "output")",
                 R"("nodes": [{"type": "output", "name": "B", "nodes": []}, {"type": "output")"));
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->visibilityOf("B", kWhole), SurfaceVisibility::FullScreen);
    EXPECT_EQ(tree->visibilityOf("C", kWhole), std::nullopt);
}

TEST(SwayTree, LooksAtTheWorkspaceThatIsShown) {
    const std::string text = FakeSway::tree(window(0, 0, 640, 480));
    EXPECT_EQ(
        visibility(replaced(text, R"("current_workspace": "1")", R"("current_workspace": "2")")),
        SurfaceVisibility::Visible);
}

struct Margin {
    const char *name;
    int left, top, right, bottom; ///< of the workspace
    std::optional<WaylandSize> free;
    SurfaceVisibility expected;
};

class SwayTreeMargins : public ::testing::TestWithParam<Margin> {};

TEST_P(SwayTreeMargins, ShowPetalsUnlessTheyAreOfPanelsOrNarrow) {
    const Margin &margin = GetParam();
    const int width = margin.right - margin.left;
    const int height = margin.bottom - margin.top;
    std::string text = FakeSway::tree(window(margin.left, margin.top, width, height));
    const std::string whole =
        R"("rect": {"x": 0, "y": 0, "width": 640, "height": 480}, "nodes": [{"type": "con")";
    text =
        replaced(text, whole,
                 R"("rect": {"x": )" + std::to_string(margin.left) + R"(, "y": )" +
                     std::to_string(margin.top) + R"(, "width": )" + std::to_string(width) +
                     R"(, "height": )" + std::to_string(height) + R"(}, "nodes": [{"type": "con")");
    EXPECT_EQ(visibility(text, margin.free), margin.expected);
}

constexpr auto kCovered = SurfaceVisibility::Covered;
constexpr auto kVisible = SurfaceVisibility::Visible;

INSTANTIATE_TEST_SUITE_P(
    Tables, SwayTreeMargins,
    ::testing::Values(Margin{"APanel", 0, 23, 640, 480, {}, kCovered},
                      Margin{"APanelWithNarrowGaps", 10, 33, 630, 470, {}, kCovered},
                      Margin{"WideGaps", 30, 53, 610, 450, {}, kVisible},
                      Margin{"GapsAtTheSides", 200, 23, 440, 480, {}, kVisible},
                      Margin{"TwoPanels", 0, 23, 640, 450, WaylandSize{640, 427}, kCovered},
                      Margin{"AGapAtOneSide", 100, 0, 640, 480, kWhole, kVisible},
                      Margin{"NarrowGapsBesideAPanel", 10, 33, 630, 470, WaylandSize{640, 457},
                             kCovered}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(SwayTree, ReadsTitlesOfAnyBytes) {
    const std::string title = ", \"name\": \"\xff\xfe \xc3\x28\"";
    EXPECT_EQ(visibility(FakeSway::tree(window(0, 0, 640, 480, title))), kCovered);
}

TEST(SwayTree, IsNothingForOtherTexts) {
    for (const char *text :
         {"", "{", "[]", "null", "7", "{}", R"({"type": "con"})", R"({"type": 7, "nodes": []})",
          "{\"type\": \"root\", \"nodes\": [", R"({"success": true})"}) {
        EXPECT_FALSE(SwayTree::parse(text)) << text;
    }
}

TEST(SwayTree, TakesWrongTypesForMissingValues) {
    for (const char *text :
         {R"({"type": "root"})", R"({"type": "root", "nodes": 7})",
          R"({"type": "root", "nodes": [7, null, [], {"type": "output"}]})",
          R"({"type": "root", "nodes": [{"type": "output", "name": "A", "nodes": [1, "x"],
              "rect": [], "current_workspace": {}}]})",
          R"({"type": "root", "nodes": [{"type": "output", "name": "A", "current_workspace": "1",
              "rect": {"x": 1e300, "width": "7", "height": 99999999999999999999},
              "nodes": [{"type": "workspace", "name": "1", "rect": null, "floating_nodes": [3],
              "nodes": [5, {"visible": true, "rect": {"width": -9223372036854775808}}]}]}]})"}) {
        const auto tree = SwayTree::parse(text);
        ASSERT_TRUE(tree) << text;
        EXPECT_NE(tree->visibilityOf("A", kWhole), kCovered) << text;
    }
}

TEST(SwayTree, EndsItsWorkOnDeepNesting) {
    std::string nodes = window(0, 0, 640, 480);
    for (int i = 0; i < 20'000; ++i) {
        nodes = R"({"nodes": [)" + nodes + "]}";
    }
    EXPECT_EQ(visibility(FakeSway::tree(nodes)), kVisible);
    EXPECT_FALSE(SwayTree::parse(std::string(1'000'000, '[')));
}

} // namespace
