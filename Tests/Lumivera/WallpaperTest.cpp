#include "Lumivera/Wallpaper.h"

#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"
#include "Tests/Support/WaveFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <vector>

using ::testing::ElementsAre;

namespace {

/// All but its accessors is protected, as with views.
class Guarded : public NSObject {
  public:
    int value() const { return _value; }

  protected:
    Guarded(int value, std::unique_ptr<int> deaths) : _value(value), _deaths(std::move(deaths)) {}
    ~Guarded() override { died = *_deaths; }

  private:
    const int _value;
    const std::unique_ptr<int> _deaths;

  public:
    static inline int died = 0;
};

class Sealed final : public NSObject {
  public:
    ~Sealed() override = default;
};

class SilentView : public DeskTopView {
  public:
    using DeskTopView::DeskTopView;
};

/// The paths of the sounds that were played.
class PlayedSounds {
  public:
    PlayedSounds() {
        AudioServicesSetSink([this](const std::string &path) { paths.push_back(path); });
    }
    ~PlayedSounds() { AudioServicesSetSink(nullptr); }

    std::vector<std::string> paths;
};

class Kit : public SimulatedTimeTest {
  protected:
    Kit() {
        UIScreen::setMainScreen(makeRetained<UIScreen>(CGRectMake(0, 0, 640, 500), 1));
        ImageCache::sharedInstance()->setResBundle(_bundle.open());
    }

    ~Kit() override {
        ImageCache::sharedInstance()->setResBundle(nullptr);
        UIScreen::setMainScreen(nullptr);
    }

    WallpaperBundle _bundle;

  private:
    LogRecorder _log;
};

/// On the system's clock, because nothing is heard in simulated time.
class KitSounds : public testing::Test {
  protected:
    KitSounds() { ImageCache::sharedInstance()->setResBundle(_bundle.open()); }
    ~KitSounds() override { ImageCache::sharedInstance()->setResBundle(nullptr); }

    const WallpaperBundle _bundle;
};

TEST_F(Kit, MakesObjectsOfClassesWithProtectedConstructors) {
    Guarded::died = 0;
    {
        const Retained<Guarded> object = Lumivera::make<Guarded>(3, std::make_unique<int>(7));
        EXPECT_EQ(object->value(), 3);
        EXPECT_EQ(object->retainCount(), 1u);
    }
    EXPECT_EQ(Guarded::died, 7);
    EXPECT_EQ(Lumivera::make<Sealed>()->retainCount(), 1u);
}

TEST_F(Kit, MakesTheViewOfABundleAsHighAsTheScreen) {
    ImageCache::sharedInstance()->setResBundle(nullptr);
    const auto bundle = _bundle.open();
    const NSAutoreleasePool pool;
    const Retained<DeskTopView> view(Lumivera::viewOfBundle<SilentView>(bundle.get()));
    EXPECT_TRUE(dynamic_cast<SilentView *>(view.get()));
    EXPECT_EQ(view->frame(), CGRectMake(0, 0, 320, 500));
    EXPECT_EQ(ImageCache::sharedInstance()->resBundle(), bundle);
}

TEST_F(Kit, FindsPicturesOfTheBundle) {
    _bundle.addPicture("sky.png", 5, 4);
    ASSERT_TRUE(Lumivera::picture("sky.png"));
    EXPECT_EQ(Lumivera::picture("sky.png")->size(), CGSizeMake(5, 4));
    EXPECT_FALSE(Lumivera::picture("none.png"));
}

TEST_F(KitSounds, ArePlayedFromTheBundle) {
    const std::vector<std::int16_t> samples(100, 1000);
    const std::string path = _bundle.folder().write("s.wav", WaveFile::ofShorts(samples).bytes());
    const PlayedSounds played;
    Lumivera::Sound first("s.wav");
    first.play();
    EXPECT_THAT(played.paths, ElementsAre(path));
    Lumivera::Sound second = std::move(first);
    first.play();
    EXPECT_EQ(played.paths.size(), 1u) << "it was moved away";
    first = std::move(second);
    first.play();
    EXPECT_EQ(played.paths.size(), 2u);
}

TEST_F(KitSounds, AreSilentWhereThereIsNone) {
    const PlayedSounds played;
    Lumivera::Sound("none.wav").play();
    Lumivera::Sound().play();
    ImageCache::sharedInstance()->setResBundle(nullptr);
    Lumivera::Sound("s.wav").play();
    EXPECT_TRUE(played.paths.empty());
}

TEST_F(Kit, MakesWallpapersThatEveryHostLoads) {
    std::filesystem::create_symlink(LUMIVERA_BUILD_DIR "/lib/test-wallpapers/libKitWallpaper.so",
                                    _bundle.folder().pathOf("kit.so"));
    _bundle.describe("<key>name Library</key><string>kit.so</string>");
    const auto bundle = _bundle.open();
    const NSAutoreleasePool pool;
    const Retained<DeskTopView> view(DeskTopView::createDeskTopViewFromBundle(bundle.get()));
    ASSERT_TRUE(view);
    runForSeconds(0.5 + 1);
    EXPECT_GE(view->offset(), 40.0);
    view->stopAnimating();
}

} // namespace
