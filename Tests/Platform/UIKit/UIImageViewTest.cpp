#include "Platform/UIKit/UIImageView.h"

#include <gtest/gtest.h>

namespace {

Retained<UIImage> image(CGFloat scale) {
    auto bitmap = CGImage::imageWithPixels(4, 2, PixelBuffer(8, 0xff336699));
    return UIImage::imageWithCGImage_scale_orientation(std::move(bitmap), scale,
                                                       UIImageOrientation::Up);
}

class UIImageViewTest : public ::testing::Test {
  protected:
    Retained<UIImageView> _view = UIImageView::initWithFrame({{1, 2}, {30, 40}});
};

} // namespace

TEST_F(UIImageViewTest, IsAnEmptyViewThatTakesNoTouchesAtFirst) {
    EXPECT_EQ(_view->frame(), (CGRect{{1, 2}, {30, 40}}));
    EXPECT_FALSE(_view->image());
    EXPECT_FALSE(_view->layer()->contents());
    EXPECT_FALSE(_view->isUserInteractionEnabled());
}

TEST_F(UIImageViewTest, ShowsAnImageWithoutChangingItsFrame) {
    const auto shown = image(2);
    _view->layer()->didComposite();
    _view->setImage(shown);
    EXPECT_EQ(_view->image(), shown);
    EXPECT_EQ(_view->layer()->contents(), shown->bitmap());
    EXPECT_EQ(_view->layer()->contentsScale(), 2);
    EXPECT_EQ(_view->frame(), (CGRect{{1, 2}, {30, 40}}));
    EXPECT_TRUE(_view->layer()->needsComposite());
}

TEST_F(UIImageViewTest, ShowsNothingAgain) {
    const auto shown = image(1);
    _view->setImage(shown);
    _view->setImage(nullptr);
    EXPECT_FALSE(_view->image());
    EXPECT_FALSE(_view->layer()->contents());
    EXPECT_EQ(shown->retainCount(), 1u);
}

TEST_F(UIImageViewTest, OwnsItsImage) {
    auto shown = image(1);
    const UIImage *plain = shown.get();
    _view->setImage(std::move(shown));
    EXPECT_EQ(plain->retainCount(), 1u);
}
