#include "Benchmarks/Platform/Compositor/Comparison/Contender.h"

#include <pixman.h>

#include <cmath>

namespace {

pixman_image_t *imageOf(const PixelBuffer &pixels, pixman_format_code_t format, int width,
                        int height) {
    return pixman_image_create_bits(format, width, height,
                                    const_cast<std::uint32_t *>(pixels.data()), width * 4);
}

class PixmanContender final : public Contender {
  public:
    explicit PixmanContender(const PetalScene &scene)
        : _scene(scene), _pixels(scene.background().size()),
          _petal(imageOf(scene.petalPixels(), PIXMAN_a8r8g8b8, PetalScene::kPetalSide,
                         PetalScene::kPetalSide)),
          _background(imageOf(scene.background(), PIXMAN_x8r8g8b8, scene.width(), scene.height())),
          _target(imageOf(_pixels, PIXMAN_x8r8g8b8, scene.width(), scene.height())) {
        pixman_image_set_filter(_petal, PIXMAN_FILTER_BILINEAR, nullptr, 0);
    }

    ~PixmanContender() override {
        pixman_image_unref(_target);
        pixman_image_unref(_background);
        pixman_image_unref(_petal);
    }

    void draw() override {
        pixman_image_composite32(PIXMAN_OP_SRC, _background, nullptr, _target, 0, 0, 0, 0, 0, 0,
                                 _scene.width(), _scene.height());
        for (const PetalScene::Petal &petal : _scene.petals()) {
            drawPetal(petal);
        }
    }

    PixelBuffer pixels() override { return _pixels; }

  private:
    // Only the petal's bounding box is composited; the transform is relative to its corner.
    void drawPetal(const PetalScene::Petal &petal) {
        const double cosine = std::cos(petal.angle);
        const double sine = std::sin(petal.angle);
        const double reach = (std::abs(cosine) + std::abs(sine)) * PetalScene::kPetalSide / 2 + 1;
        const int left = static_cast<int>(std::floor(petal.x - reach));
        const int top = static_cast<int>(std::floor(petal.y - reach));
        const int side = static_cast<int>(std::ceil(2 * reach)) + 1;
        const double x = left - petal.x;
        const double y = top - petal.y;
        pixman_f_transform_t places = {
            {{cosine, sine, cosine * x + sine * y + PetalScene::kPetalSide / 2.0},
             {-sine, cosine, cosine * y - sine * x + PetalScene::kPetalSide / 2.0},
             {0, 0, 1}}};
        pixman_transform_t transform;
        pixman_transform_from_pixman_f_transform(&transform, &places);
        pixman_image_set_transform(_petal, &transform);
        const auto alpha = static_cast<std::uint16_t>(petal.alpha * 65535 + 0.5);
        const pixman_color_t color = {0, 0, 0, alpha};
        pixman_image_t *const mask = pixman_image_create_solid_fill(&color);
        pixman_image_composite32(PIXMAN_OP_OVER, _petal, mask, _target, 0, 0, 0, 0, left, top, side,
                                 side);
        pixman_image_unref(mask);
    }

    const PetalScene &_scene;
    PixelBuffer _pixels;
    pixman_image_t *_petal;
    pixman_image_t *_background;
    pixman_image_t *_target;
};

} // namespace

std::vector<ContenderKind> pixmanContenders() {
    return {{"pixman",
             [](const PetalScene &scene) { return std::make_unique<PixmanContender>(scene); }}};
}
