#include "Benchmarks/Platform/Compositor/Comparison/Contender.h"

#include <cairo.h>

namespace {

cairo_surface_t *surfaceOf(const PixelBuffer &pixels, cairo_format_t format, int width,
                           int height) {
    auto *const bytes =
        reinterpret_cast<unsigned char *>(const_cast<std::uint32_t *>(pixels.data()));
    return cairo_image_surface_create_for_data(bytes, format, width, height, width * 4);
}

class CairoContender final : public Contender {
  public:
    explicit CairoContender(const PetalScene &scene)
        : _scene(scene), _pixels(scene.background().size()),
          _petal(surfaceOf(scene.petalPixels(), CAIRO_FORMAT_ARGB32, PetalScene::kPetalSide,
                           PetalScene::kPetalSide)),
          _background(
              surfaceOf(scene.background(), CAIRO_FORMAT_RGB24, scene.width(), scene.height())),
          _target(surfaceOf(_pixels, CAIRO_FORMAT_RGB24, scene.width(), scene.height())),
          _context(cairo_create(_target)) {}

    ~CairoContender() override {
        cairo_destroy(_context);
        cairo_surface_destroy(_target);
        cairo_surface_destroy(_background);
        cairo_surface_destroy(_petal);
    }

    void draw() override {
        cairo_set_operator(_context, CAIRO_OPERATOR_SOURCE);
        cairo_set_source_surface(_context, _background, 0, 0);
        cairo_paint(_context);
        cairo_set_operator(_context, CAIRO_OPERATOR_OVER);
        for (const PetalScene::Petal &petal : _scene.petals()) {
            cairo_save(_context);
            cairo_translate(_context, petal.x, petal.y);
            cairo_rotate(_context, petal.angle);
            cairo_set_source_surface(_context, _petal, -PetalScene::kPetalSide / 2.0,
                                     -PetalScene::kPetalSide / 2.0);
            cairo_pattern_set_filter(cairo_get_source(_context), CAIRO_FILTER_BILINEAR);
            cairo_paint_with_alpha(_context, petal.alpha);
            cairo_restore(_context);
        }
        cairo_surface_flush(_target);
    }

    PixelBuffer pixels() override { return _pixels; }

  private:
    const PetalScene &_scene;
    PixelBuffer _pixels;
    cairo_surface_t *_petal;
    cairo_surface_t *_background;
    cairo_surface_t *_target;
    cairo_t *_context;
};

} // namespace

std::vector<ContenderKind> cairoContenders() {
    return {
        {"cairo", [](const PetalScene &scene) { return std::make_unique<CairoContender>(scene); }}};
}
