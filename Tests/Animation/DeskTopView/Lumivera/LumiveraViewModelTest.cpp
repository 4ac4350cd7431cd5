#include "Tests/Animation/Support/PetalWallpaper.h"
#include "Tests/Support/ScriptedRandom.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <limits>
#include <numbers>

namespace {

/// The petals' motion again as plain numbers without views. From the same seed it must draw the
/// same random numbers and put each petal at the same place, to the last bit.
class PetalModel {
  public:
    struct Petal {
        double scale, width, height, x, y, angle = 0, step = 0, swayRate = 0.01;
        float driftX = 0, driftY = 0, pushX = 0, pushY = 0, decay = 0;
        bool sways = false;
        std::size_t picture = 0;
    };

    PetalModel(unsigned seed, long level) : _level(level) {
        std::srand(seed);
        for (int i = 0; i < 100'000; ++i) {
            _draws.push_back(std::rand());
        }
    }

    std::array<std::vector<Petal>, 3> layers;

    void fill(const std::array<int, 3> &counts) {
        for (std::size_t layer = 0; layer < 3; ++layer) {
            for (int made = 0; made < counts[layer]; ++made) {
                layers[layer].push_back(scattered((2.0 - static_cast<double>(layer)) * -0.2 + 1));
            }
        }
    }

    void frame(double now, double interval) {
        for (auto &layer : layers) {
            for (Petal &petal : layer) {
                step(petal);
                if (isOut(petal) && now - _lastTime > interval) {
                    _lastTime = now;
                    const std::size_t picture = drawPicture();
                    enter(petal, picture, 320);
                    ++recycled;
                }
            }
        }
    }

    void tap(double x, double y) {
        for (auto &layer : layers) {
            for (Petal &petal : layer) {
                const double dx = x - petal.x;
                const double dy = y - petal.y;
                if (double{std::sqrt(static_cast<float>(dx * dx + dy * dy))} < 50) {
                    push(petal, x, y);
                }
            }
        }
    }

    int recycled = 0;

  private:
    static constexpr std::array<std::size_t, 13> kPictures{0, 1, 2, 3, 5, 6, 3, 4, 5, 3, 4, 5, 6};

    int draw() {
        const int next = _draws.front();
        _draws.pop_front();
        return next;
    }

    std::size_t drawPicture() { return kPictures[static_cast<std::size_t>(draw()) % 13]; }

    Petal scattered(double scale) {
        Petal petal{};
        petal.scale = scale;
        petal.swayRate = 0.01;
        const std::size_t picture = drawPicture();
        enter(petal, picture, 320);
        petal.x = petal.width / 2 + draw() % static_cast<int>(320 - petal.width / 2);
        petal.y = petal.height / 2 + draw() % static_cast<int>(480 - petal.height / 2);
        return petal;
    }

    void enter(Petal &petal, std::size_t picture, int strip) {
        petal.picture = picture;
        petal.width = kPetalPictures[picture].width * petal.scale;
        petal.height = kPetalPictures[picture].height * petal.scale;
        petal.x = draw() % strip + petal.width / 2;
        petal.y = (0.1 - petal.height) + petal.height / 2;
        const long unit = _level == 0 ? 24 : 12 * _level;
        const long r = draw();
        petal.driftX = static_cast<float>(static_cast<double>(r % unit + unit) * 0.015 *
                                          (r % 2 == 0 ? 1 : -1));
        petal.driftY = static_cast<float>(static_cast<double>(r % (2 * unit) + 3 * unit) * 0.015);
        petal.angle = 0;
        petal.step = static_cast<double>(r % (2 * unit) + unit) * 0.025 * (std::numbers::pi / 180);
        petal.step = r % 2 == 0 ? -petal.step : petal.step;
        petal.sways = draw() % 5 == 0;
    }

    static float worn(float push, float decay) {
        if (!(std::fabs(push) > std::fabs(decay))) {
            return push;
        }
        return push > 0 ? push - decay : push + decay;
    }

    static void step(Petal &petal) {
        petal.pushX = worn(petal.pushX, petal.decay);
        petal.pushY = worn(petal.pushY, petal.decay);
        if (petal.sways) {
            petal.driftX = static_cast<float>(double{petal.driftX} - petal.swayRate);
            if (std::fabs(double{petal.driftX}) > 0.8) {
                petal.swayRate = -petal.swayRate;
            }
        }
        petal.x = petal.x + double{petal.pushX} + double{petal.driftX};
        petal.y = petal.y + double{petal.pushY} + double{petal.driftY};
        petal.angle += petal.step;
    }

    static bool isOut(const Petal &petal) {
        const double c = std::fabs(std::cos(petal.angle));
        const double s = std::fabs(std::sin(petal.angle));
        const double width = c * petal.width + s * petal.height;
        const double height = s * petal.width + c * petal.height;
        return petal.x < -width || petal.x > 320 + width || petal.y < -height ||
               petal.y > 480 + height;
    }

    static void push(Petal &petal, double x, double y) {
        auto dx = static_cast<float>(petal.x - x);
        auto dy = static_cast<float>(petal.y - y);
        const float length =
            std::sqrt(static_cast<float>(double{dx} * double{dx} + double{dy} * double{dy}));
        if (length > 0) {
            dx /= length;
            dy /= length;
        }
        petal.pushX = static_cast<float>(2.0 * double{dx});
        petal.pushY = static_cast<float>(2.0 * double{dy});
        petal.decay = 0.02f;
    }

    const long _level;
    std::deque<int> _draws;
    double _lastTime = 0;
};

class LumiveraModel : public PetalWallpaper {
  protected:
    void expectSamePetals(const PetalModel &model, int frame) {
        for (NSUInteger i = 0; i < 3; ++i) {
            ASSERT_EQ(layerView(i).subviewCount(), model.layers[i].size());
            for (NSUInteger j = 0; j < model.layers[i].size(); ++j) {
                const PetalModel::Petal &expected = model.layers[i][j];
                const Sakura &actual = petal(i, j);
                ASSERT_EQ(actual.center(), CGPointMake(expected.x, expected.y))
                    << "frame " << frame << ", layer " << i << ", petal " << j;
                ASSERT_EQ(actual.angle(), expected.angle);
                ASSERT_EQ(actual.bounds().size, CGSizeMake(expected.width, expected.height));
                ASSERT_EQ(actual.image()->fileName(), kPetalPictures[expected.picture].name);
            }
        }
    }

    /// Runs two minutes of frames with a tap every second beside the model.
    void runBesideModel(unsigned seed, NSInteger level, NSUInteger count,
                        const std::array<int, 3> &split) {
        load();
        view().setSpeedLevel(level);
        PetalModel model(seed, level);
        model.fill(split);
        std::srand(seed);
        view().setSakuraCount(count);
        for (int frame = 0; frame < 4800; ++frame) {
            if (frame % 40 == 20) {
                const CGPoint point{frame % 320 + 0.5, frame % 480 + 0.25};
                view().tapActionAtViewPoint(point);
                model.tap(point.x, point.y);
            }
            view().doAnimating();
            const double now = static_cast<double>(Clock::current().now()) / 1e9;
            model.frame(now, 5.0 / static_cast<double>(count));
            expectSamePetals(model, frame);
            if (HasFatalFailure()) {
                return;
            }
            runForSeconds(0.025);
        }
        EXPECT_GT(model.recycled, 100);
    }
};

TEST_F(LumiveraModel, AgreesToTheBitAtLevelZero) { runBesideModel(1, 0, 30, {13, 10, 7}); }

TEST_F(LumiveraModel, AgreesToTheBitAtLevelThreeWithManyPetals) {
    runBesideModel(20240921, 3, 120, {53, 40, 27});
}

} // namespace
