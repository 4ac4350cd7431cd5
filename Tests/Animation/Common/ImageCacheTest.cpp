#include "Animation/Common/ImageCache.h"

#include "Animation/Common/NSData+DataEncrypt.h"
#include "Platform/UIKit/UIScreen.h"
#include "Tests/Animation/Support/AllocationCounter.h"
#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Platform/CoreGraphics/ExifBuilder.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace {

/// A cache, not the shared one, on a temporary bundle.
class ImageCacheTest : public testing::Test {
  protected:
    ImageCacheTest() {
        UIScreen::setMainScreen(nullptr);
        _cache->setResBundle(_bundle.open());
    }

    ~ImageCacheTest() override { UIScreen::setMainScreen(nullptr); }

    ImageCache &cache() { return *_cache; }
    const WallpaperBundle &bundle() const { return _bundle; }

    /// Writes a pack of pictures in the form that the cache reads.
    void writePack(const DataEncrypt::Datas &files) {
        DataEncrypt::Datas encoded;
        for (const auto &[name, file] : files) {
            encoded[name] = DataEncrypt::encryptionDataWithData_encrypt(file, true);
        }
        ASSERT_TRUE(DataEncrypt::saveDatas_toFilePath(encoded, _bundle.folder().pathOf("a.pack")));
    }

    static DataEncrypt::Bytes png(unsigned width, unsigned height) {
        const std::string file = pngOfSize(width, height);
        return {file.begin(), file.end()};
    }

    static void setScreenScale(CGFloat scale) {
        UIScreen::setMainScreen(makeRetained<UIScreen>(CGRectMake(0, 0, 320, 480), scale));
    }

  private:
    WallpaperBundle _bundle;
    Retained<ImageCache> _cache = ImageCache::init();
};

TEST(SharedImageCache, IsTheSameObjectEachTime) {
    ASSERT_NE(ImageCache::sharedInstance(), nullptr);
    EXPECT_EQ(ImageCache::sharedInstance(), ImageCache::sharedInstance());
}

TEST(SharedImageCache, StaysWithItsBundleButEmptyAfterItsRelease) {
    const LogRecorder log;
    const WallpaperBundle bundle;
    bundle.addPicture("a.png", 3, 4);
    const auto opened = bundle.open();
    ImageCache *const shared = ImageCache::sharedInstance();
    shared->setResBundle(opened);
    const auto first = shared->imageWithName("a.png");
    ASSERT_TRUE(first);

    ImageCache::releaseInstance();
    EXPECT_EQ(ImageCache::sharedInstance(), shared);
    EXPECT_EQ(shared->resBundle(), opened);
    const auto second = shared->imageWithName("a.png");
    ASSERT_TRUE(second);
    EXPECT_NE(second.get(), first.get());
    EXPECT_THAT(log.lines(), testing::ElementsAre());
    shared->setResBundle(nullptr);
}

/// Runs in a new process, in which the instance was not made yet.
TEST(SharedImageCacheDeathTest, DoesNotComeIntoBeingByItsRelease) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto release = [] {
        const std::size_t before = AllocationCounter::totalBlocks();
        ImageCache::releaseInstance();
        const std::size_t byRelease = AllocationCounter::totalBlocks() - before;
        ImageCache::sharedInstance();
        const std::size_t byUse = AllocationCounter::totalBlocks() - before;
        std::_Exit(byRelease == 0 && byUse > 0 ? 0 : 1);
    };
    EXPECT_EXIT(release(), testing::ExitedWithCode(0), "");
}

TEST(SharedImageCacheDeathTest, IsSilentWhenTheProcessEnds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto end = [] {
        NSLogSetSink([](std::string_view line) {
            std::fprintf(stderr, "logged: %s\n", std::string(line).c_str());
        });
        ImageCache::sharedInstance();
        NSLog("a line");
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0),
                testing::AllOf(testing::HasSubstr("logged: a line"),
                               testing::Not(testing::HasSubstr("dealloc"))));
}

TEST_F(ImageCacheTest, TakesANameWithAPercentSignAsItIs) {
    bundle().addPicture("50%s%n.png", 3, 4);
    EXPECT_TRUE(cache().imageWithName("50%s%n.png"));
    cache().clearMemorryCache();
    EXPECT_TRUE(cache().imageWithName2x("50%s%n.png"));
}

TEST_F(ImageCacheTest, LoadsANameOnce) {
    bundle().addPicture("a.png", 3, 4);
    const auto first = cache().imageWithName("a.png");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->size(), CGSizeMake(3, 4));
    std::filesystem::remove(bundle().folder().pathOf("a.png"));
    EXPECT_EQ(cache().imageWithName("a.png").get(), first.get());
}

TEST_F(ImageCacheTest, LooksForAMissingNameOnEveryRequest) {
    EXPECT_FALSE(cache().imageWithName("a.png"));
    EXPECT_FALSE(cache().imageWithName("a.png"));
    bundle().addPicture("a.png", 3, 4);
    EXPECT_TRUE(cache().imageWithName("a.png"));
}

TEST_F(ImageCacheTest, GivesNothingForAFileThatIsNoPicture) {
    bundle().folder().write("a.png", "no picture");
    EXPECT_FALSE(cache().imageWithName("a.png"));
    bundle().addPicture("a.png", 3, 4);
    EXPECT_TRUE(cache().imageWithName("a.png"));
}

TEST_F(ImageCacheTest, TakesNamesWithSubfoldersAndTellsThemApart) {
    bundle().folder().makeFolder("inner");
    bundle().addPicture("inner/a.png", 5, 6);
    bundle().addPicture("a.png", 3, 4);
    EXPECT_EQ(cache().imageWithName("inner/a.png")->size(), CGSizeMake(5, 6));
    EXPECT_EQ(cache().imageWithName("a.png")->size(), CGSizeMake(3, 4));
    EXPECT_FALSE(cache().imageWithName("A.png"));
    EXPECT_FALSE(cache().imageWithName("a"));
}

TEST_F(ImageCacheTest, EmptiesItselfWhenTheSameBundleIsSetAgain) {
    bundle().addPicture("a.png", 3, 4);
    const auto first = cache().imageWithName("a.png");
    cache().setResBundle(cache().resBundle());
    EXPECT_NE(cache().imageWithName("a.png").get(), first.get());
}

TEST_F(ImageCacheTest, KeepsItsBundleWhenItIsEmptied) {
    bundle().addPicture("a.png", 3, 4);
    const auto first = cache().imageWithName("a.png");
    const auto before = cache().resBundle();
    cache().clearMemorryCache();
    EXPECT_EQ(cache().resBundle(), before);
    EXPECT_NE(cache().imageWithName("a.png").get(), first.get());
}

TEST_F(ImageCacheTest, LetsGoOfPicturesAndBundlesThatItDrops) {
    bundle().addPicture("a.png", 3, 4);
    const auto opened = cache().resBundle();
    const auto picture = cache().imageWithName("a.png");
    EXPECT_EQ(picture->retainCount(), 2u);
    cache().setResBundle(nullptr);
    EXPECT_EQ(picture->retainCount(), 1u);
    EXPECT_EQ(opened->retainCount(), 1u);
}

TEST_F(ImageCacheTest, TakesTheMainBundleForTheFirstLookUpWithoutOne) {
    cache().setResBundle(nullptr);
    EXPECT_FALSE(cache().imageWithName("no such picture.png"));
    EXPECT_EQ(cache().resBundle(), NSBundle::mainBundle());
    cache().setResBundle(nullptr);
    EXPECT_FALSE(cache().imageWithName2x("no such picture.png"));
    EXPECT_EQ(cache().resBundle(), NSBundle::mainBundle());
    cache().setResBundle(nullptr);
    cache().setResourceData("no such.pack");
    EXPECT_EQ(cache().resBundle(), NSBundle::mainBundle());
}

TEST_F(ImageCacheTest, HasNoBundleAtFirst) { EXPECT_FALSE(ImageCache::init()->resBundle()); }

TEST_F(ImageCacheTest, ServesAPacksPicturesBeforeTheBundlesFiles) {
    bundle().addPicture("a.png", 3, 4);
    writePack({{"a.png", png(7, 8)}, {"only in the pack", png(9, 9)}});
    cache().setResourceData("a.pack");
    EXPECT_EQ(cache().imageWithName("a.png")->size(), CGSizeMake(7, 8));
    EXPECT_EQ(cache().imageWithName2x("only in the pack")->size(), CGSizeMake(9, 9));
}

TEST_F(ImageCacheTest, GoesBackToTheFilesWhenABundleIsSetAfterAPack) {
    bundle().addPicture("a.png", 3, 4);
    writePack({{"a.png", png(7, 8)}});
    cache().setResourceData("a.pack");
    cache().setResBundle(cache().resBundle());
    EXPECT_EQ(cache().imageWithName("a.png")->size(), CGSizeMake(3, 4));
}

TEST_F(ImageCacheTest, EmptiesItselfForAPackThatIsMissing) {
    bundle().addPicture("a.png", 3, 4);
    const auto first = cache().imageWithName("a.png");
    cache().setResourceData("missing.pack");
    EXPECT_NE(cache().imageWithName("a.png").get(), first.get());
}

TEST_F(ImageCacheTest, SkipsPackEntriesThatAreNoPictures) {
    writePack({{"a.png", {1, 2, 3, 4}}, {"b.png", png(2, 2)}, {"c.png", {}}});
    cache().setResourceData("a.pack");
    EXPECT_FALSE(cache().imageWithName("a.png"));
    EXPECT_TRUE(cache().imageWithName("b.png"));
    bundle().addPicture("c.png", 3, 4);
    EXPECT_EQ(cache().imageWithName("c.png")->size(), CGSizeMake(3, 4));
}

TEST_F(ImageCacheTest, DecodesPackPicturesAtScaleOneOnADenseScreen) {
    setScreenScale(2);
    writePack({{"a.png", png(8, 6)}});
    cache().setResourceData("a.pack");
    EXPECT_EQ(cache().imageWithName2x("a.png")->scale(), 1.0);
}

TEST_F(ImageCacheTest, GivesAPictureTheScreensScale) {
    setScreenScale(2);
    bundle().addPicture("a.png", 8, 6);
    const auto picture = cache().imageWithName2x("a.png");
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->scale(), 2.0);
    EXPECT_EQ(picture->size(), CGSizeMake(4, 3));
    EXPECT_EQ(picture->imageOrientation(), UIImageOrientation::Up);
    EXPECT_EQ(cache().imageWithName("a.png").get(), picture.get()) << "one dictionary for both";
}

TEST_F(ImageCacheTest, KeepsAPhotographUprightWhateverItsScale) {
    const auto photograph = PNGBuilder({8, 6, 8, PNGBuilder::Grey})
                                .chunk("eXIf", exifWithOrientation(6, true))
                                .pixels([](auto x, auto y, int) { return x * 10 + y; })
                                .finish();
    bundle().folder().write("a.png", photograph);
    writePack({{"b.png", photograph}});
    const auto plain = cache().imageWithName("a.png");
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->size(), CGSizeMake(6, 8));
    cache().clearMemorryCache();
    setScreenScale(2);
    const auto dense = cache().imageWithName2x("a.png");
    ASSERT_TRUE(dense);
    EXPECT_EQ(dense->size(), CGSizeMake(3, 4));
    EXPECT_EQ(dense->bitmap()->pixels()[5], 0xff000000u) << "the top left is the top right now";
    cache().setResourceData("a.pack");
    EXPECT_EQ(cache().imageWithName("b.png")->size(), CGSizeMake(6, 8));
}

TEST_F(ImageCacheTest, LeavesThePictureAsItIsWithoutAScreen) {
    bundle().addPicture("a.png", 8, 6);
    EXPECT_EQ(cache().imageWithName2x("a.png")->scale(), 1.0);
}

TEST_F(ImageCacheTest, GivesACachedPictureUnchangedWhateverItsScale) {
    bundle().addPicture("a.png", 8, 6);
    const auto first = cache().imageWithName("a.png");
    setScreenScale(2);
    EXPECT_EQ(cache().imageWithName2x("a.png").get(), first.get());
    EXPECT_EQ(first->scale(), 1.0);
}

TEST_F(ImageCacheTest, CachesNothingForAMissingNameAtTheScreensScale) {
    setScreenScale(2);
    EXPECT_FALSE(cache().imageWithName2x("a.png"));
    bundle().addPicture("a.png", 8, 6);
    EXPECT_TRUE(cache().imageWithName2x("a.png"));
}

TEST(ImageCache, LogsItsEndBeforeItLetsGoOfAnything) {
    const WallpaperBundle bundle;
    bundle.addPicture("a.png", 3, 4);
    const auto opened = bundle.open();
    auto cache = ImageCache::init();
    cache->setResBundle(opened);
    const auto picture = cache->imageWithName("a.png");
    std::vector<NSUInteger> holders;
    NSLogSetSink([&](std::string_view) {
        holders = {picture->retainCount(), opened->retainCount()};
    });
    cache = nullptr;
    NSLogSetSink(nullptr);
    EXPECT_THAT(holders, testing::ElementsAre(2u, 2u));
    EXPECT_EQ(picture->retainCount(), 1u);
    EXPECT_EQ(opened->retainCount(), 1u);
}

TEST(ImageCache, LogsItsEndAndLetsGoOfItsBundle) {
    const LogRecorder log;
    const WallpaperBundle bundle;
    const auto opened = bundle.open();
    {
        const auto cache = ImageCache::init();
        cache->setResBundle(opened);
        EXPECT_TRUE(log.lines().empty());
    }
    EXPECT_THAT(log.lines(), testing::ElementsAre("=======ImageCache dealloc"));
    EXPECT_EQ(opened->retainCount(), 1u);
}

} // namespace
