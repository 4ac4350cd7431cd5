#include "Host/Displays/X11/X11Layer.h"

#include <gmock/gmock.h>

using namespace Lumivera;

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr DeviceRect kLeft{0, 0, 800, 600};
constexpr DeviceRect kRight{800, 0, 1600, 600};
constexpr std::uint32_t kWindow = 11;
constexpr std::uint32_t kFrame = 10;

X11IconWindow icons(bool isOpaque, const DeviceRect &area = kLeft) {
    return {kWindow, kFrame, area, "Files", isOpaque};
}

/// The windows with icons from bottom to top.
X11Scene scene(const std::string &manager, const std::vector<X11IconWindow> &icons,
               bool isBlended = true) {
    return {manager, isBlended, true, true, icons};
}

X11Layer chosen(const X11Scene &scene, LayerChoice choice = LayerChoice::Automatic) {
    return X11Layer::choose(scene, kLeft, choice);
}

/// Managers that leave windows alone where they do not manage them.
class X11LayerUnderPlainManagers : public testing::TestWithParam<const char *> {};

INSTANTIATE_TEST_SUITE_P(X11, X11LayerUnderPlainManagers,
                         testing::Values("Xfwm4", "Openbox", "i3", "bspwm", "unnamed"));

TEST_P(X11LayerUnderPlainManagers, IsUnmanagedWhateverTheIcons) {
    for (const auto &windows : {std::vector<X11IconWindow>{}, {icons(true)}, {icons(false)}}) {
        for (const LayerChoice choice :
             {LayerChoice::Automatic, LayerChoice::Behind, LayerChoice::Over}) {
            EXPECT_TRUE(chosen(scene(GetParam(), windows), choice).isUnmanaged);
        }
    }
}

/// Managers that draw unmanaged windows in front of all others.
class X11LayerUnderDrawingManagers : public testing::TestWithParam<const char *> {};

INSTANTIATE_TEST_SUITE_P(X11, X11LayerUnderDrawingManagers,
                         testing::Values("Mutter", "Mutter (Muffin)", "GNOME Shell", "KWin",
                                         "Mutter(Gala)", "Mutter(Budgie)", "Metacity",
                                         "Metacity (Marco)"));

TEST_P(X11LayerUnderDrawingManagers, IsManagedWhateverTheIcons) {
    for (const auto &windows : {std::vector<X11IconWindow>{}, {icons(true)}, {icons(false)}}) {
        for (const LayerChoice choice :
             {LayerChoice::Automatic, LayerChoice::Behind, LayerChoice::Over}) {
            EXPECT_FALSE(chosen(scene(GetParam(), windows), choice).isUnmanaged);
        }
    }
}

TEST(X11LayerTest, IsManagedWhereNobodyManages) {
    EXPECT_FALSE(chosen(scene("", {})).isUnmanaged);
    EXPECT_FALSE(chosen(scene("", {icons(true)})).isUnmanaged);
}

TEST(X11LayerTest, IsBeneathEverythingWhereNobodyManages) {
    const X11Layer layer = chosen(scene("", {icons(false)}));
    EXPECT_EQ(layer.beneath, 0u);
    EXPECT_EQ(layer.icons, 0u);
    EXPECT_EQ(layer.layer.program, "Files");
}

TEST(X11LayerTest, IsBehindEverythingWithoutIcons) {
    const X11Layer layer = chosen(scene("Openbox", {}));
    EXPECT_EQ(layer.beneath, 0u);
    EXPECT_EQ(layer.icons, 0u);
    EXPECT_FALSE(layer.isTransparent);
    EXPECT_FALSE(layer.isShaped);
    EXPECT_EQ(layer.layer.name, "behind");
    EXPECT_THAT(layer.layer.program, IsEmpty());
    EXPECT_THAT(layer.layer.words, HasSubstr("behind all windows"));
    EXPECT_THAT(layer.layer.remedy, IsEmpty());
}

TEST(X11LayerTest, IsBehindTransparentIcons) {
    const X11Layer layer = chosen(scene("Mutter (Muffin)", {icons(false)}));
    EXPECT_EQ(layer.beneath, 0u);
    EXPECT_EQ(layer.icons, kWindow);
    EXPECT_FALSE(layer.isTransparent);
    EXPECT_FALSE(layer.isShaped);
    EXPECT_EQ(layer.layer.name, "behind");
    EXPECT_EQ(layer.layer.program, "Files");
    EXPECT_THAT(layer.layer.words, HasSubstr("behind the icons of Files"));
    EXPECT_THAT(layer.layer.remedy, IsEmpty());
}

TEST(X11LayerTest, IsOverOpaqueIcons) {
    const X11Layer layer = chosen(scene("Xfwm4", {icons(true)}));
    EXPECT_EQ(layer.beneath, kFrame);
    EXPECT_EQ(layer.icons, kWindow);
    EXPECT_TRUE(layer.isTransparent);
    EXPECT_FALSE(layer.isShaped);
    EXPECT_EQ(layer.layer.name, "over");
    EXPECT_EQ(layer.layer.program, "Files");
    EXPECT_EQ(layer.layer.window, kWindow);
    EXPECT_THAT(layer.layer.words, HasSubstr("in front of the icons of Files"));
    EXPECT_THAT(layer.layer.remedy, IsEmpty());
}

TEST(X11LayerTest, IsCutOutWhereNobodyBlendsAndSaysHowToImproveThat) {
    const X11Layer layer = chosen(scene("Openbox", {icons(true)}, false));
    EXPECT_TRUE(layer.isTransparent);
    EXPECT_TRUE(layer.isShaped);
    EXPECT_THAT(layer.layer.remedy, HasSubstr("start a compositing manager"));
    EXPECT_THAT(layer.layer.remedy, HasSubstr("soft edges"));
}

TEST(X11LayerTest, IsCutOutWhereTheServerHasNoTransparentWindows) {
    X11Scene poor = scene("Openbox", {icons(true)});
    poor.hasTransparentWindows = false;
    EXPECT_TRUE(chosen(poor).isShaped);
}

TEST(X11LayerTest, SaysThatWithoutShapesNothingIsShown) {
    X11Scene poor = scene("Openbox", {icons(true)}, false);
    poor.hasShapes = false;
    EXPECT_THAT(chosen(poor).layer.remedy, HasSubstr("no petals are shown"));
}

TEST(X11LayerTest, IsNeverCutOutWhereItIsWhole) {
    EXPECT_FALSE(chosen(scene("Openbox", {}, false)).isShaped);
    EXPECT_FALSE(chosen(scene("Openbox", {icons(true)}, false), LayerChoice::Behind).isShaped);
}

TEST(X11LayerTest, DoesNotDependOnIconsOfAnotherOutput) {
    const X11Scene other = scene("Xfwm4", {icons(true, kRight)});
    EXPECT_EQ(chosen(other), chosen(scene("Xfwm4", {})));
    EXPECT_TRUE(X11Layer::choose(other, kRight, LayerChoice::Automatic).isTransparent);
}

TEST(X11LayerTest, IsTheSameOnAllOutputsThatOneWindowWithIconsCovers) {
    const X11Scene wide = scene("Xfwm4", {icons(true, {0, 0, 1600, 600})});
    EXPECT_EQ(chosen(wide), X11Layer::choose(wide, kRight, LayerChoice::Automatic));
}

TEST(X11LayerTest, IsOverTheTopmostOfTheOpaqueIcons) {
    const X11Scene both =
        scene("Xfwm4", {{1, 1, kLeft, "Below", true}, {2, 2, kLeft, "Above", true}, icons(false)});
    const X11Layer layer = chosen(both);
    EXPECT_EQ(layer.beneath, 2u);
    EXPECT_EQ(layer.icons, 2u);
    EXPECT_EQ(layer.layer.program, "Above");
}

TEST(X11LayerTest, IsOverOpaqueIconsThatHideTransparentOnes) {
    const X11Scene both = scene("Xfwm4", {{1, 1, kLeft, "Below", false}, icons(true)});
    EXPECT_EQ(chosen(both), chosen(scene("Xfwm4", {icons(true)})));
}

TEST(X11LayerTest, NamesTheDesktopsOwnSwitchForBlendedWindows) {
    const auto remedy = [](const char *manager) {
        X11Scene unblended = scene(manager, {icons(true)});
        unblended.isBlended = false;
        return chosen(unblended).layer.remedy;
    };
    EXPECT_THAT(remedy("Xfwm4"), HasSubstr("Window Manager Tweaks"));
    EXPECT_THAT(remedy("Metacity (Marco)"), HasSubstr("Enable software compositing"));
    EXPECT_THAT(remedy("Openbox"), HasSubstr("picom"));
}

TEST(X11LayerTest, LeavesTheTypeDesktopToNemoUntilItsIconsAreThere) {
    for (const char *manager : {"Mutter (Muffin)", "GNOME Shell"}) {
        const bool isMuffin = std::string_view(manager) != "GNOME Shell";
        const X11Layer alone = chosen(scene(manager, {}));
        const X11Layer withIcons = chosen(scene(manager, {icons(false)}));
        EXPECT_EQ(alone.isPanel, isMuffin) << manager;
        EXPECT_FALSE(withIcons.isPanel) << manager;
        EXPECT_EQ(withIcons.takesWindowOf(alone), !isMuffin) << manager;
        EXPECT_TRUE(withIcons.takesPictureOf(alone)) << manager;
    }
    EXPECT_TRUE(chosen(scene("GNOME Shell", {icons(true)})).isPanel);
    EXPECT_FALSE(chosen(scene("Xfwm4", {icons(true)})).isPanel);
}

TEST(X11LayerTest, CanHideOpaqueIconsByHandAndSaysSo) {
    const X11Layer layer = chosen(scene("Xfwm4", {icons(true)}), LayerChoice::Behind);
    EXPECT_FALSE(layer.isTransparent);
    EXPECT_EQ(layer.beneath, kFrame);
    EXPECT_EQ(layer.layer.name, "behind");
    EXPECT_THAT(layer.layer.words, HasSubstr("whose icons it hides"));
    EXPECT_THAT(layer.layer.remedy, HasSubstr("layer = \"auto\""));
}

TEST(X11LayerTest, DecidesByItselfWhereTheWordIsForWayland) {
    for (const bool isOpaque : {true, false}) {
        const X11Scene windows = scene("Xfwm4", {icons(isOpaque)});
        EXPECT_EQ(chosen(windows, LayerChoice::Background), chosen(windows));
        EXPECT_EQ(chosen(windows, LayerChoice::Bottom), chosen(windows));
    }
}

TEST(X11LayerTest, IsBehindTransparentIconsByHandToo) {
    const X11Scene transparent = scene("Muffin", {icons(false)});
    EXPECT_EQ(chosen(transparent, LayerChoice::Behind), chosen(transparent));
}

TEST(X11LayerTest, CanBeOverTheBackgroundAloneByHand) {
    for (const auto &windows : {std::vector<X11IconWindow>{}, {icons(false)}}) {
        const X11Layer layer = chosen(scene("Muffin", windows), LayerChoice::Over);
        EXPECT_TRUE(layer.isTransparent);
        EXPECT_EQ(layer.beneath, 0u);
        EXPECT_EQ(layer.layer.name, "over");
        EXPECT_THAT(layer.layer.words, HasSubstr("over the background"));
    }
}

TEST(X11LayerTest, OverByHandIsTheAutomaticChoiceForOpaqueIcons) {
    const X11Scene opaque = scene("Xfwm4", {icons(true)});
    EXPECT_EQ(chosen(opaque, LayerChoice::Over), chosen(opaque));
}

} // namespace
