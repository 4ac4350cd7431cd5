#include "Animation/DeskTopView/IconViewNode.h"

#include <gtest/gtest.h>

namespace {

Retained<UIImage> makePicture() {
    return UIImage::imageWithCGImage_scale_orientation(CGImage::imageWithPixels(1, 1, {0xFFFFFFFF}),
                                                       1, UIImageOrientation::Up);
}

Retained<NSString> makeText(const char *text) { return NSString::stringWithUTF8String(text); }

} // namespace

TEST(IconViewNode, KnowsNothingAtFirst) {
    const auto node = makeRetained<IconViewNode>();
    EXPECT_EQ(node->appID(), nullptr);
    EXPECT_EQ(node->appName(), nullptr);
    EXPECT_EQ(node->appicon(), nullptr);
    EXPECT_FALSE(node->isRunning());
}

TEST(IconViewNode, RetainsTheVeryObjectsThatItIsGiven) {
    const auto node = makeRetained<IconViewNode>();
    const auto identifier = makeText("com.example.clock");
    const auto name = makeText("Clock");
    const auto picture = makePicture();
    node->setAppID(identifier.get());
    node->setAppName(name.get());
    node->setAppicon(picture.get());
    node->setIsRunning(true);
    EXPECT_EQ(node->appID(), identifier.get());
    EXPECT_EQ(node->appName(), name.get());
    EXPECT_EQ(node->appicon(), picture.get());
    EXPECT_TRUE(node->isRunning());
    EXPECT_EQ(identifier->retainCount(), 2U);
    EXPECT_EQ(name->retainCount(), 2U);
    EXPECT_EQ(picture->retainCount(), 2U);
}

TEST(IconViewNode, ReleasesWhatItHadForWhatItGets) {
    const auto node = makeRetained<IconViewNode>();
    const auto first = makeText("first");
    const auto picture = makePicture();
    node->setAppID(first.get());
    node->setAppName(first.get());
    node->setAppicon(picture.get());
    EXPECT_EQ(first->retainCount(), 3U);
    node->setAppID(makeText("second").get());
    node->setAppName(nullptr);
    node->setAppicon(nullptr);
    EXPECT_EQ(node->appID()->text(), "second");
    EXPECT_EQ(node->appID()->retainCount(), 1U);
    EXPECT_EQ(first->retainCount(), 1U);
    EXPECT_EQ(picture->retainCount(), 1U);
}

TEST(IconViewNode, MayBeGivenWhatItHas) {
    const auto node = makeRetained<IconViewNode>();
    node->setAppID(makeText("only here").get());
    node->setAppID(node->appID());
    EXPECT_EQ(node->appID()->text(), "only here");
    EXPECT_EQ(node->appID()->retainCount(), 1U);
}

TEST(IconViewNode, ReleasesEverythingWithItself) {
    const auto identifier = makeText("com.example.clock");
    const auto name = makeText("Clock");
    const auto picture = makePicture();
    auto node = makeRetained<IconViewNode>();
    node->setAppID(identifier.get());
    node->setAppName(name.get());
    node->setAppicon(picture.get());
    node = nullptr;
    EXPECT_EQ(identifier->retainCount(), 1U);
    EXPECT_EQ(name->retainCount(), 1U);
    EXPECT_EQ(picture->retainCount(), 1U);
}
