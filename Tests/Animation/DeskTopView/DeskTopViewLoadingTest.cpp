#include "Animation/DeskTopView/DeskTopView.h"

#include "Animation/Common/ImageCache.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/UIKit/UIScreen.h"
#include "Tests/Animation/Support/LoaderWatch.h"
#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <link.h>
#include <unistd.h>

namespace {

constexpr const char *kPetals = LUMIVERA_BUILD_DIR "/lib/libLumiveraLiveWallpaper.dylib";
constexpr const char *kTiny = LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libTinyWallpaper.so";
constexpr const char *kHigh = LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libHighWallpaper.so";
constexpr const char *kBorrowing =
    LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libBorrowingWallpaper.so";
constexpr const char *kNoEntryPoint = LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libNoEntryPoint.so";
constexpr const char *kKit = LUMIVERA_BUILD_DIR "/lib/libLumiveraWallpaperKit.so";

/// A bundle whose description names a library.
class BundleLoading : public SimulatedTimeTest {
  protected:
    BundleLoading() {
        UIScreen::setMainScreen(makeRetained<UIScreen>(CGRectMake(0, 0, 640, 480), 1));
    }

    ~BundleLoading() override { UIScreen::setMainScreen(nullptr); }

    void nameLibrary(const std::string &name) {
        _bundle.describe("<key>name Library</key><string>" + name + "</string>");
    }

    /// Puts a link to a library into the bundle and names it.
    void useLibrary(const std::string &path) {
        ASSERT_TRUE(std::filesystem::exists(path)) << path;
        std::filesystem::create_symlink(path, _bundle.folder().pathOf("wallpaper.dylib"));
        nameLibrary("wallpaper.dylib");
    }

    Retained<DeskTopView> load() { return load(_bundle.open().get()); }

    static Retained<DeskTopView> load(NSBundle *bundle) {
        const NSAutoreleasePool pool;
        return Retained<DeskTopView>(DeskTopView::createDeskTopViewFromBundle(bundle));
    }

    const WallpaperBundle &bundle() const { return _bundle; }
    const LogRecorder &log() const { return _log; }

  private:
    LogRecorder _log;
    WallpaperBundle _bundle;
};

TEST_F(BundleLoading, GivesAViewThatLivesAndAnimatesAfterItsLibraryWasClosed) {
    useLibrary(kTiny);
    auto view = load();
    ASSERT_TRUE(view);
    EXPECT_EQ(view->retainCount(), 2u) << "ours and the deferred loading's";
    EXPECT_EQ(view->frame().size.width, static_cast<CGFloat>(bundle().folder().path().size()));
    runForSeconds(0.5 + 1);
    EXPECT_TRUE(view->isAnimating());
    EXPECT_GE(view->offset(), 40.0);
    view->gestureAction_atPoint(2, {3, 4});
    view->tapActionAtViewPoint({3, 4});
    EXPECT_EQ(view->speedLevel(), 3);
    view->stopAnimating();
    view = nullptr;
    runMainLoopUntilIdle();
}

TEST_F(BundleLoading, GivesTheSameKindOfViewAgain) {
    useLibrary(kTiny);
    auto first = load();
    auto second = load();
    ASSERT_TRUE(first);
    ASSERT_TRUE(second);
    EXPECT_NE(first.get(), second.get());
    runForSeconds(0.6);
    EXPECT_TRUE(first->isAnimating());
    EXPECT_TRUE(second->isAnimating());
}

TEST_F(BundleLoading, LoadsThePetalWallpaperThroughTheSameDoor) {
    useLibrary(kPetals);
    bundle().addPictures();
    auto view = load();
    ASSERT_TRUE(view);
    EXPECT_EQ(view->frame(), CGRectMake(0, 0, 320, 480));
    runForSeconds(0.5 + 0.2);
    EXPECT_TRUE(view->isAnimating());
    ASSERT_EQ(view->subviewCount(), 4u);
    EXPECT_EQ(view->subviewAtIndex(1)->subviewCount(), 53u) << "of 120, as no count is given";
}

TEST_F(BundleLoading, ShowsThePicturesOfTheBundleThatShips) {
    std::filesystem::copy(LUMIVERA_BUILD_DIR "/share/lumivera/wallpapers/Lumivera.bundle",
                          bundle().folder().path());
    useLibrary(kPetals);
    const auto view = load();
    ASSERT_TRUE(view);
    runForSeconds(0.6);
    EXPECT_TRUE(view->bgView()->image());
    EXPECT_TRUE(view->isAnimating());
}

TEST_F(BundleLoading, GivesNothingForABundleOfPicturesAlone) {
    const auto shipped =
        NSBundle::bundleWithPath(LUMIVERA_BUILD_DIR "/share/lumivera/wallpapers/Lumivera.bundle");
    ASSERT_TRUE(shipped);
    EXPECT_FALSE(load(shipped.get())) << "only the host knows the library for it";
}

TEST_F(BundleLoading, OpensTheLibraryLazilyAndClosesItOnceItHasTheView) {
    useLibrary(kPetals);
    const auto opened = bundle().open();
    LoaderWatch loader;
    loader.beforeClosing = [&opened] {
        EXPECT_EQ(ImageCache::sharedInstance()->resBundle(), opened) << "given the very object";
    };
    ASSERT_TRUE(load(opened.get()));
    ASSERT_EQ(loader.openings.size(), 1u);
    EXPECT_EQ(loader.openings[0].path, opened->resourcePath() + "/wallpaper.dylib");
    EXPECT_EQ(loader.openings[0].mode, RTLD_LAZY);
    EXPECT_THAT(loader.closings, testing::ElementsAre(loader.openings[0].library));
    loader.beforeClosing = nullptr;
    ImageCache::sharedInstance()->setResBundle(nullptr);
}

TEST_F(BundleLoading, ClosesALibraryWithoutTheEntryPointToo) {
    useLibrary(kNoEntryPoint);
    const LoaderWatch loader;
    EXPECT_FALSE(load());
    ASSERT_EQ(loader.openings.size(), 1u);
    EXPECT_THAT(loader.closings, testing::ElementsAre(loader.openings[0].library));
}

TEST_F(BundleLoading, OpensNothingWithoutALibrarysName) {
    bundle().describe("");
    const LoaderWatch loader;
    EXPECT_FALSE(load());
    EXPECT_TRUE(loader.openings.empty());
    EXPECT_TRUE(loader.closings.empty());
}

TEST_F(BundleLoading, TakesALibraryThatWasLinkedForAnotherAddress) {
    useLibrary(kHigh);
    const auto view = load();
    ASSERT_TRUE(view);
    EXPECT_EQ(view->frame(), CGRectMake(0, 0, 20, 20));
}

TEST_F(BundleLoading, CallsAnEntryPointInALibraryBehindTheNamedOne) {
    useLibrary(kBorrowing);
    std::filesystem::create_symlink(kTiny, bundle().folder().pathOf("libTinyWallpaper.so"));
    const auto view = load();
    ASSERT_TRUE(view);
    EXPECT_EQ(view->frame().size.width, static_cast<CGFloat>(bundle().folder().path().size()));
}

TEST_F(BundleLoading, GivesNothingForTheKitItself) {
    useLibrary(kKit);
    EXPECT_FALSE(load());
}

TEST_F(BundleLoading, GivesNothingForNoBundle) {
    EXPECT_EQ(DeskTopView::createDeskTopViewFromBundle(nullptr), nullptr);
}

TEST_F(BundleLoading, GivesNothingWithoutADescription) { EXPECT_FALSE(load()); }

TEST_F(BundleLoading, GivesNothingForABrokenDescription) {
    bundle().folder().write("description.plist", "<plist><dict><key>name Library");
    EXPECT_FALSE(load());
}

TEST_F(BundleLoading, GivesNothingWithoutTheKey) {
    bundle().describe("<key>name library</key><string>wallpaper.dylib</string>");
    EXPECT_FALSE(load());
}

TEST_F(BundleLoading, OpensNothingWhenTheKeyIsNoText) {
    // The file that would be opened if the number were read as text.
    std::filesystem::create_symlink(kTiny, bundle().folder().pathOf("7"));
    bundle().describe("<key>name Library</key><integer>7</integer>");
    EXPECT_FALSE(load());
}

TEST_F(BundleLoading, GivesNothingForALibraryThatIsMissing) {
    nameLibrary("missing.dylib");
    EXPECT_FALSE(load());
}

TEST_F(BundleLoading, LooksInTheBundlesFolderOnly) {
    nameLibrary(kTiny);
    EXPECT_FALSE(load());
    nameLibrary("libc.so.6");
    EXPECT_FALSE(load());
}

TEST_F(BundleLoading, GivesNothingForAnEmptyName) {
    nameLibrary("");
    EXPECT_FALSE(load());
}

TEST_F(BundleLoading, GivesNothingForATextFileOrAFolderInPlaceOfALibrary) {
    bundle().folder().write("wallpaper.dylib", "not a library at all");
    nameLibrary("wallpaper.dylib");
    EXPECT_FALSE(load());
    bundle().folder().makeFolder("folder.dylib");
    nameLibrary("folder.dylib");
    EXPECT_FALSE(load());
}

TEST_F(BundleLoading, GivesNothingForALibraryWithoutTheEntryPoint) {
    useLibrary(kNoEntryPoint);
    EXPECT_FALSE(load());
}

TEST_F(BundleLoading, StaysSilentWhateverGoesWrong) {
    load();
    nameLibrary("missing.dylib");
    load();
    bundle().folder().write("wallpaper.dylib", "not a library");
    nameLibrary("wallpaper.dylib");
    load();
    EXPECT_THAT(log().lines(), testing::ElementsAre());
}

TEST(WallpaperLibrary, HasNoEntryPointsInItsKit) {
    void *const library = dlopen(kKit, RTLD_LAZY);
    ASSERT_TRUE(library) << dlerror();
    for (const char *name :
         {"getDeskTopViewName", "getDeskTopViewVersion", "getDeskTopViewInstance"}) {
        EXPECT_FALSE(dlsym(library, name)) << name;
    }
    dlclose(library);
}

TEST(WallpaperLibrary, ExportsItsFunctionsUnmangledAndStaysWhenItIsClosed) {
    for (const char *path : {kPetals, kTiny}) {
        void *const library = dlopen(path, RTLD_LAZY);
        ASSERT_TRUE(library) << dlerror();
        for (const char *name :
             {"getDeskTopViewName", "getDeskTopViewVersion", "getDeskTopViewInstance"}) {
            EXPECT_TRUE(dlsym(library, name)) << path << " " << name;
        }
        dlclose(library);
        void *const again = dlopen(path, RTLD_LAZY | RTLD_NOLOAD);
        EXPECT_TRUE(again) << path;
        if (again) {
            dlclose(again);
        }
    }
}

TEST(WallpaperLibrary, IsLinkedToStayAndSoIsItsKit) {
    for (const char *path : {kPetals, kKit}) {
        void *const library = dlopen(path, RTLD_LAZY);
        link_map *map = nullptr;
        ASSERT_EQ(dlinfo(library, RTLD_DI_LINKMAP, &map), 0) << path;
        ElfW(Addr) flags = 0;
        for (const ElfW(Dyn) *entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
            flags = entry->d_tag == DT_FLAGS_1 ? entry->d_un.d_val : flags;
        }
        EXPECT_TRUE(flags & DF_1_NODELETE) << path;
        dlclose(library);
    }
}

TEST(WallpaperLibrary, SaysItsNameAndVersionThroughTheDoor) {
    void *const library = dlopen(kTiny, RTLD_LAZY);
    ASSERT_TRUE(library);
    const auto text = [&](const char *function) {
        return std::string(reinterpret_cast<const char *(*)()>(dlsym(library, function))());
    };
    EXPECT_EQ(text("getDeskTopViewName"), "Tiny");
    EXPECT_EQ(text("getDeskTopViewVersion"), "1");
    dlclose(library);
}

} // namespace
