#include "Lumivera/Wallpaper.h"

#include <utility>
#include <vector>

namespace {

/// Puts three dots at random places in its first frame, and moves them down by a point in each.
class DiceWallpaper : public DeskTopView {
  public:
    using DeskTopView::DeskTopView;

    void initResource() override { startAnimating(); }

    void doAnimating() override {
        while (_dots.size() < 3) {
            auto dot = UIView::initWithFrame(CGRectMake(0, 0, 10, 6));
            dot->setCenter({_random.between(0, 100), _random.between(0, 100)});
            dot->setBackgroundColor(UIColor::colorWithRed_green_blue_alpha(1, 1, 1, 1).get());
            addSubview(dot.get());
            _dots.push_back(std::move(dot));
        }
        for (const auto &dot : _dots) {
            dot->setCenter({dot->center().x, dot->center().y + 1});
        }
    }

  private:
    Lumivera::Random _random;
    std::vector<Retained<UIView>> _dots;
};

} // namespace

LUMIVERA_WALLPAPER(DiceWallpaper, "Dice", "1");
