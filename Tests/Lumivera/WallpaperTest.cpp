#include "Lumivera/Wallpaper.h"

#include "Tests/Animation/Support/WallpaperBundle.h"
#include "Tests/Support/SimulatedTime.h"
#include "Tests/Support/WaveFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
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

TEST(KitRandom, RepeatsAfterTheSameSeed) {
    const auto numbers = [](unsigned seed) {
        std::srand(seed);
        Lumivera::Random random;
        return std::vector<double>{random.unit(), random.between(5, 7), double(random.below(9))};
    };
    EXPECT_EQ(numbers(7), numbers(7));
    EXPECT_NE(numbers(7), numbers(8));
}

TEST(KitRandom, TakesItsSeedWhenItIsUsedFirst) {
    Lumivera::Random early;
    std::srand(7);
    Lumivera::Random late;
    const double first = early.unit();
    std::srand(7);
    EXPECT_EQ(late.unit(), first);
    const double second = early.unit();
    std::srand(7);
    EXPECT_EQ(late.unit(), second) << "a seed in between changes nothing";
}

TEST(KitRandom, KeepsItsLimits) {
    std::srand(7);
    Lumivera::Random random;
    int heads = 0;
    for (int i = 0; i < 1000; ++i) {
        EXPECT_LT(random.unit(), 1);
        const double between = random.between(-2, 3);
        EXPECT_TRUE(between >= -2 && between < 3) << between;
        const int below = random.below(6);
        EXPECT_TRUE(below >= 0 && below < 6) << below;
        heads += random.chance(0.5) ? 1 : 0;
    }
    EXPECT_NEAR(heads, 500, 100);
    EXPECT_EQ(random.below(0), 0);
    EXPECT_EQ(random.below(-3), 0);
    EXPECT_FALSE(random.chance(0));
    EXPECT_TRUE(random.chance(1));
}

TEST(KitRandom, ServesTheStandardLibrary) {
    std::srand(7);
    Lumivera::Random random;
    std::vector<int> cards{1, 2, 3, 4, 5};
    std::shuffle(cards.begin(), cards.end(), random);
    EXPECT_THAT(cards, ::testing::UnorderedElementsAre(1, 2, 3, 4, 5));
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
