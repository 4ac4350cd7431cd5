#include "Host/Playing/TraceWriter.h"

#include "Animation/DeskTopView/DeskTopView.h"
#include "Platform/QuartzCore/CABasicAnimation.h"
#include "Platform/UIKit/UIImageView.h"
#include "Tests/Platform/CoreGraphics/PNGBuilder.h"
#include "Tests/Platform/Foundation/TemporaryFolder.h"
#include "Tests/Support/SimulatedTime.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <string>
#include <vector>

using namespace Lumivera;
using ::testing::ElementsAre;

namespace {

using Json = nlohmann::ordered_json;

/// A view without petals.
class SublayerTraceTest : public SimulatedTimeTest {
  protected:
    template <class Kind = UIView> Retained<Kind> add(UIView &superview, const CGRect &frame) {
        auto view = Kind::initWithFrame(frame);
        superview.addSubview(view.get());
        return view;
    }

    Retained<UIImageView> addPicture(UIView &superview, const std::string &name) {
        auto view = add<UIImageView>(superview, {{0, 0}, {10, 10}});
        const auto bytes =
            PNGBuilder({2, 2, 8, PNGBuilder::Grey}).pixels([](auto...) { return 64; }).finish();
        view->setImage(UIImage::imageWithContentsOfFile(_folder.write(name, bytes)));
        return view;
    }

    Json sublayers(NSTimeInterval time = CACurrentMediaTime()) const {
        return Json::parse("{" + TraceWriter::entry(time, *_view))["sublayers"];
    }

    std::vector<std::string> names() const {
        std::vector<std::string> found;
        const Json all = sublayers();
        for (const auto &[name, numbers] : all.items()) {
            found.push_back(name);
        }
        return found;
    }

    LogRecorder _log;
    TemporaryFolder _folder;
    Retained<DeskTopView> _view = DeskTopView::initWithFrame({{0, 0}, {100, 100}});
};

TEST_F(SublayerTraceTest, HasTheNumbersOfEverySublayerButTheBackground) {
    const auto dot = add(*_view, {{10, 20}, {30, 40}});
    dot->layer()->setTransform(CATransform3DMakeRotation(std::acos(-1) / 2, 0, 0, 1));
    const Json found = sublayers();
    ASSERT_EQ(found.size(), 1U);
    const Json &numbers = found["1"];
    EXPECT_EQ(numbers[0], 25);
    EXPECT_EQ(numbers[1], 40);
    EXPECT_DOUBLE_EQ(numbers[2].get<double>(), std::acos(-1) / 2);
    EXPECT_NEAR(numbers[3].get<double>(), 40, 1e-9);
    EXPECT_NEAR(numbers[4].get<double>(), 30, 1e-9);
}

TEST_F(SublayerTraceTest, NamesSublayersByTheirPicturesAndElseByTheirIndices) {
    const auto sky = add(*_view, {{0, 0}, {100, 50}});
    addPicture(*sky, "star.png");
    addPicture(*sky, "star.png");
    add(*sky, {{0, 0}, {1, 1}});
    const auto moon = addPicture(*_view, "moon.png");
    addPicture(*moon, "star.png");
    EXPECT_THAT(names(), ElementsAre("1", "1/star.png", "1/star.png#2", "1/2", "moon.png",
                                     "moon.png/star.png"));
}

TEST_F(SublayerTraceTest, FindsLayersWithoutAView) {
    const auto layer = makeRetained<CALayer>();
    layer->setPosition({3, 4});
    _view->layer()->addSublayer(layer.get());
    EXPECT_EQ(sublayers()["1"][0], 3);
    EXPECT_EQ(sublayers()["1"][1], 4);
}

TEST_F(SublayerTraceTest, ShowsWhereAnAnimationIs) {
    const auto dot = add(*_view, {{0, 0}, {10, 10}});
    const auto way = CABasicAnimation::animationWithKeyPath("position");
    way->setFromValue(CGPointMake(0, 0));
    way->setToValue(CGPointMake(100, 0));
    way->setDuration(2);
    dot->layer()->addAnimation_forKey(way.get(), "way");
    EXPECT_NEAR(sublayers(CACurrentMediaTime() + 1)["1"][0].get<double>(), 50, 1);
}

TEST_F(SublayerTraceTest, EndsInAHeapOfLayers) {
    Retained<UIView> inner = add(*_view, {{0, 0}, {1, 1}});
    for (int i = 0; i < 1000; ++i) {
        inner = add(*inner, {{0, 0}, {1, 1}});
    }
    EXPECT_EQ(sublayers().size(), 100U);
}

} // namespace
