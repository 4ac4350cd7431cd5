#include "Animation/Common/ImageSet.h"
#include "Tests/Animation/Support/PetalWallpaper.h"

namespace {

/// A background of 2 × 1 pixels.
Retained<UIImage> smallBackground() {
    return UIImage::imageWithCGImage_scale_orientation(
        CGImage::imageWithPixels(2, 1, {0xffff8000, 0xff404040}), 1, UIImageOrientation::Up);
}

class LumiveraTint : public PetalWallpaper {
  protected:
    std::vector<std::uint32_t> background() {
        const auto image = view().bgView()->image();
        const CGImage &bitmap = *image->bitmap();
        return {bitmap.pixels(), bitmap.pixels() + bitmap.width() * bitmap.height()};
    }

    Retained<UIColor> _halfRed = UIColor::colorWithRed_green_blue_alpha(0.5, 1, 0, 1);
};

TEST_F(LumiveraTint, ShadesTheBackground) {
    view().setBackgroundImage(smallBackground());
    view().setBgColor(_halfRed.get());
    EXPECT_EQ(background(), (std::vector<std::uint32_t>{0xff808000, 0xff204000}));
}

TEST_F(LumiveraTint, TwiceShadesTwice) {
    view().setBackgroundImage(smallBackground());
    view().setBgColor(_halfRed.get());
    view().setBgColor(_halfRed.get());
    EXPECT_EQ(background(), (std::vector<std::uint32_t>{0xff408000, 0xff104000}));
}

TEST_F(LumiveraTint, OfANullColorLeavesTheVerySamePicture) {
    const auto image = smallBackground();
    view().setBackgroundImage(image);
    view().setBgColor(nullptr);
    EXPECT_EQ(view().bgView()->image(), image);
}

TEST_F(LumiveraTint, GoesToTheBackgroundViewAlone) {
    load();
    // setBackgroundImage would do this too.
    const CGRect clip = CGRectMake(1, 2, 3, 4);
    view().setTapClipRect(clip);
    view().setBgColor(_halfRed.get());
    EXPECT_EQ(view().tapClipRect(), clip);
}

TEST_F(LumiveraTint, LeavesTheCachedPictureAsItWas) {
    load();
    const auto cached = ImageCache::sharedInstance()->imageWithName("lumivera_background_.png");
    ASSERT_EQ(view().bgView()->image(), cached);
    view().setBgColor(_halfRed.get());
    EXPECT_NE(view().bgView()->image(), cached);
    EXPECT_EQ(ImageCache::sharedInstance()->imageWithName("lumivera_background_.png"), cached);
    EXPECT_EQ(cached->bitmap()->pixels()[0], 0xff808080);
}

TEST_F(LumiveraTint, LeavesThePetalsAlone) {
    load();
    makePetals(3);
    const auto image = petal(0, 0).image();
    view().setBgColor(_halfRed.get());
    EXPECT_EQ(petal(0, 0).image(), image);
}

TEST_F(LumiveraTint, WithoutABackgroundShowsNothing) {
    view().setBgColor(_halfRed.get());
    EXPECT_FALSE(view().bgView()->image());
    view().setBgColor(nullptr);
    EXPECT_FALSE(view().bgView()->image());
}

} // namespace
