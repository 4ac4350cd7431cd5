#include "LumiveraLiveWallpaper/LumiveraLiveWallpaper.h"

#include "Animation/Common/ImageCache.h"
#include "Animation/DeskTopView/Lumivera/LumiveraView.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/UIKit/UIScreen.h"
#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>

namespace {

class EntryPoints : public SimulatedTimeTest {
  protected:
    ~EntryPoints() override {
        ImageCache::sharedInstance()->setResBundle(nullptr);
        UIScreen::setMainScreen(nullptr);
    }

    static void setScreen(CGFloat width, CGFloat height) {
        UIScreen::setMainScreen(makeRetained<UIScreen>(CGRectMake(0, 0, width, height), 1));
    }

    static Retained<LumiveraView> makeView(NSBundle *bundle) {
        const NSAutoreleasePool pool;
        return Retained<LumiveraView>(dynamic_cast<LumiveraView *>(getDeskTopViewInstance(bundle)));
    }

    const LogRecorder &log() const { return _log; }

  private:
    LogRecorder _log;
};

TEST_F(EntryPoints, SayEmptyNameAndVersion) {
    EXPECT_EQ(std::string_view(getDeskTopViewName()), "");
    EXPECT_EQ(std::string_view(getDeskTopViewVersion()), "");
}

TEST_F(EntryPoints, MakeAViewOf320PointsOnEveryScreenAndAsHighAsTheScreen) {
    const WallpaperBundle bundle;
    for (const CGSize size : {CGSizeMake(320, 480), CGSizeMake(1280, 800), CGSizeMake(100, 37.5)}) {
        setScreen(size.width, size.height);
        const auto view = makeView(bundle.open().get());
        ASSERT_TRUE(view);
        EXPECT_EQ(view->frame(), CGRectMake(0, 0, 320, size.height));
    }
}

TEST_F(EntryPoints, MakeAViewWithoutHeightWhenThereIsNoScreen) {
    const WallpaperBundle bundle;
    EXPECT_EQ(makeView(bundle.open().get())->frame(), CGRectMake(0, 0, 320, 0));
}

TEST_F(EntryPoints, PointTheImageCacheAtTheBundleAndReadTheDescriptionAtOnce) {
    const WallpaperBundle bundle;
    bundle.describe("<key>sakura Count</key><integer>42</integer>");
    const auto opened = bundle.open();
    const auto view = makeView(opened.get());
    EXPECT_EQ(ImageCache::sharedInstance()->resBundle(), opened);
    EXPECT_EQ(view->sakuraCount(), 42u);
    EXPECT_TRUE(view->descriptionFile());
    EXPECT_FALSE(view->sakuraImageNames()) << "nothing is loaded yet";
}

TEST_F(EntryPoints, HandTheViewOverAutoreleased) {
    const WallpaperBundle bundle;
    DeskTopView *view = nullptr;
    {
        const NSAutoreleasePool pool;
        view = getDeskTopViewInstance(bundle.open().get());
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(view->retainCount(), 2u) << "the pool's and the deferred loading's";
        view->retain();
    }
    EXPECT_EQ(view->retainCount(), 2u);
    view->release();
}

TEST_F(EntryPoints, MakeAViewEvenWithoutABundle) {
    const auto view = makeView(nullptr);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->sakuraCount(), 30u);
}

TEST_F(EntryPoints, GiveANewViewEachTime) {
    const WallpaperBundle bundle;
    EXPECT_NE(makeView(bundle.open().get()).get(), makeView(bundle.open().get()).get());
}

TEST_F(EntryPoints, MakeAViewThatAnimatesItsPetalsHalfASecondLater) {
    setScreen(320, 480);
    const WallpaperBundle bundle;
    bundle.addPictures();
    bundle.describe("<key>sakura Count</key><integer>30</integer>");
    const auto view = makeView(bundle.open().get());
    runForSeconds(0.499);
    EXPECT_EQ(view->subviewCount(), 1u);
    runForSeconds(0.002);
    ASSERT_EQ(view->subviewCount(), 4u);
    UIView *const back = view->subviewAtIndex(1);
    ASSERT_EQ(back->subviewCount(), 13u);
    const CGPoint before = back->subviewAtIndex(0)->center();
    runForSeconds(0.1);
    EXPECT_GT(back->subviewAtIndex(0)->center().y, before.y);
    view->stopAnimating();
}

TEST_F(EntryPoints, LetTheViewsDeathEmptyTheImageCacheAndKeepItsBundle) {
    const WallpaperBundle bundle;
    bundle.addPictures();
    const auto opened = bundle.open();
    auto view = makeView(opened.get());
    runForSeconds(0.6);
    view->stopAnimating();
    ImageCache *const cache = ImageCache::sharedInstance();
    const auto background = cache->imageWithName("lumivera_background_.png");
    EXPECT_GE(background->retainCount(), 3u) << "ours, the cache's and the view's";
    runMainLoopUntilIdle();
    view = nullptr;
    EXPECT_EQ(background->retainCount(), 1u);
    EXPECT_EQ(ImageCache::sharedInstance(), cache);
    EXPECT_EQ(cache->resBundle(), opened);
    EXPECT_THAT(log().lines(), testing::ElementsAre("=========DeskTopView dealloc========="));
}

TEST_F(EntryPoints, LoadADroppedViewsResourcesOnceAndLetItDie) {
    const WallpaperBundle bundle;
    bundle.addPictures();
    auto view = makeView(bundle.open().get());
    const Weak<LumiveraView> watch(view.get());
    runForSeconds(0.1);
    view = nullptr;
    EXPECT_TRUE(watch.lock());
    runForSeconds(0.5);
    EXPECT_FALSE(watch.lock());
    runMainLoopUntilIdle();
    EXPECT_THAT(log().lines(), testing::ElementsAre("=========DeskTopView dealloc========="));
}

} // namespace
