// NewName: lights that wander over a picture, breathe, and flee from a tap.

#include <Lumivera/Wallpaper.h>

#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

namespace {

constexpr int kLights = 24;
constexpr double kFrameSeconds = 0.025;
constexpr double kTurn = 2 * std::numbers::pi;
constexpr CGFloat kReach = 120; // of a tap, in points

/// Places and speeds are parts of the view's size, so that they fit every screen.
struct Light {
    Retained<UIImageView> view;
    CGPoint place;
    double direction; // in radians
    double speed;     // a second
    double phase;     // of its breath, in radians
    double pace;      // of its breath, in radians a second
};

class NewNameWallpaper : public DeskTopView {
  public:
    using DeskTopView::DeskTopView;

    /// Called once, on a thread of its own. Load here what takes time.
    void initResource() override {
        setBackgroundImage(Lumivera::picture("background.png"));
        auto picture = Lumivera::picture("light.png");
        auto chime = Lumivera::Sound("chime.wav");
        {
            // The main thread may be handling a tap already.
            const TreeAccess access;
            _picture = std::move(picture);
            _chime = std::move(chime);
        }
        startAnimating();
    }

    /// Called on the main thread, 40 times a second.
    void doAnimating() override {
        // Made here, because hosts seed the random numbers after initResource.
        while (_lights.size() < kLights) {
            addLight();
        }
        for (Light &light : _lights) {
            move(light);
            breathe(light);
        }
    }

    /// While it is paused nothing is to move, so animations that still run end here.
    void pauseAnimating() override {
        DeskTopView::pauseAnimating();
        for (const Light &light : _lights) {
            light.view->layer()->removeAllAnimations();
        }
    }

    void tapActionAtViewPoint(CGPoint point) override {
        if (!CGRectContainsPoint(tapClipRect(), point)) {
            return;
        }
        _chime.play();
        for (Light &light : _lights) {
            const CGPoint center = light.view->center();
            if (distanceForTwoPoints(point, center) < kReach) {
                light.direction = std::atan2(center.y - point.y, center.x - point.x);
                light.speed = 0.6;
                LWUIAnimation::setScaleAnimation_duration_repeatCount(light.view.get(), 2, 0.4, 1);
            }
        }
    }

  private:
    void addLight() {
        const double size = _random.between(12, 32);
        auto view = UIImageView::initWithFrame(CGRectMake(0, 0, size, size));
        view->setImage(_picture);
        addSubview(view.get());
        _lights.push_back({.view = std::move(view),
                           .place = {_random.between(0, 1), _random.between(0, 1)},
                           .direction = _random.between(0, kTurn),
                           .speed = 0,
                           .phase = _random.between(0, kTurn),
                           .pace = kTurn / _random.between(2, 8)});
    }

    void move(Light &light) {
        light.direction += _random.between(-0.2, 0.2);
        light.speed += (0.04 - light.speed) * 0.05;
        const double way = light.speed * kFrameSeconds;
        light.place.x = wrapped(light.place.x + way * std::cos(light.direction));
        light.place.y = wrapped(light.place.y + way * std::sin(light.direction));
        const CGSize size = bounds().size;
        light.view->setCenter({light.place.x * size.width, light.place.y * size.height});
    }

    static void breathe(Light &light) {
        light.phase += light.pace * kFrameSeconds;
        light.view->layer()->setOpacity(static_cast<float>(0.5 - 0.5 * std::cos(light.phase)));
    }

    /// What leaves the view at one edge comes back at the other.
    static double wrapped(double place) {
        return place < -0.1 ? place + 1.2 : place > 1.1 ? place - 1.2 : place;
    }

    Retained<UIImage> _picture;
    Lumivera::Sound _chime;
    Lumivera::Random _random;
    std::vector<Light> _lights;
};

} // namespace

LUMIVERA_WALLPAPER(NewNameWallpaper, "NewName", "1.0");
