// Measures a frame of petals in three faded layers over a background picture at 1280 × 800, drawn
// by our compositor and, in the same run, by cairo.

#include "Platform/Compositor/SoftwareCompositor.h"

#include <benchmark/benchmark.h>
#include <cairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 800;
constexpr int kSprite = 64;
constexpr std::array<float, 3> kOpacities = {0.6F, 0.8F, 1.0F};

/// An ellipse with soft edges; a little less than half of the texels are visible.
Retained<CGImage> makePetal() {
    PixelBuffer pixels;
    for (int i = 0; i < kSprite * kSprite; ++i) {
        const double x = (i % kSprite + 0.5 - 32) / 28;
        const double y = (i / kSprite + 0.5 - 32) / 21;
        const double edge = (1 - std::sqrt(x * x + y * y)) * 10;
        const auto alpha = static_cast<std::uint32_t>(std::clamp(edge, 0.0, 1.0) * 230);
        pixels.push_back(alpha << 24 | alpha << 16 | alpha * 3 / 4 << 8 | alpha * 4 / 5);
    }
    return CGImage::imageWithPixels(kSprite, kSprite, std::move(pixels));
}

Retained<CGImage> makeBackground() {
    PixelBuffer pixels;
    for (int i = 0; i < 1600 * 1000; ++i) {
        const std::uint32_t x = i % 1600;
        const std::uint32_t y = i / 1600;
        pixels.push_back(0xFF000000U | x * 255 / 1600 << 16 | y * 255 / 1000 << 8 | (x ^ y) % 256);
    }
    return CGImage::imageWithPixels(1600, 1000, std::move(pixels));
}

struct Petal {
    double x;
    double y;
    double angle;
};

struct Scene {
    Retained<CGImage> petal = makePetal();
    Retained<CGImage> background = makeBackground();
    std::vector<Petal> petals;

    explicit Scene(int count) {
        std::mt19937 random(1);
        for (int i = 0; i < count; ++i) {
            const auto fraction = [&] { return static_cast<double>(random() % 4096) / 4096; };
            const double x = fraction() * kWidth;
            const double y = fraction() * kHeight;
            petals.push_back({x, y, fraction() * 6});
        }
    }

    // Moves and turns every petal, so that no frame equals the one before.
    void step() {
        for (Petal &petal : petals) {
            petal.y = petal.y > kHeight + kSprite ? -kSprite : petal.y + 1.3;
            petal.angle += 0.01;
        }
    }

    std::size_t groupOf(std::size_t petal) const {
        return petal * kOpacities.size() / petals.size();
    }
};

/// The scene as a layer tree.
struct Tree {
    Retained<CALayer> root = makeRetained<CALayer>();
    std::vector<Retained<CALayer>> petals;

    explicit Tree(const Scene &scene) {
        const CGRect screen = CGRectMake(0, 0, kWidth, kHeight);
        root->setBounds(screen);
        root->setContents(scene.background);
        root->setContentsGravity(ContentsGravity::ResizeAspectFill);
        std::vector<Retained<CALayer>> groups;
        for (const float opacity : kOpacities) {
            groups.push_back(makeRetained<CALayer>());
            groups.back()->setBounds(screen);
            groups.back()->setPosition({kWidth / 2.0, kHeight / 2.0});
            groups.back()->setOpacity(opacity);
            root->addSublayer(groups.back().get());
        }
        for (std::size_t i = 0; i < scene.petals.size(); ++i) {
            petals.push_back(makeRetained<CALayer>());
            petals.back()->setBounds(CGRectMake(0, 0, kSprite, kSprite));
            petals.back()->setContents(scene.petal);
            groups[scene.groupOf(i)]->addSublayer(petals.back().get());
        }
    }

    void follow(const Scene &scene) {
        for (std::size_t i = 0; i < petals.size(); ++i) {
            petals[i]->setPosition({scene.petals[i].x, scene.petals[i].y});
            petals[i]->setTransform(CATransform3DMakeRotation(scene.petals[i].angle, 0, 0, 1));
        }
    }
};

void compositeSprites(benchmark::State &state) {
    Scene scene(static_cast<int>(state.range(0)));
    Tree tree(scene);
    SoftwareCompositor compositor;
    PixelBuffer pixels(std::size_t{kWidth} * kHeight, 0);
    for (auto _ : state) {
        scene.step();
        tree.follow(scene);
        compositor.composite(*tree.root, {pixels.data(), kWidth, kHeight, kWidth}, 1);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(compositeSprites)
    ->Name("Frame1280x800/lumivera")
    ->Arg(0)
    ->Arg(120)
    ->Arg(300)
    ->Unit(benchmark::kMillisecond);

cairo_surface_t *surfaceOf(const CGImage &image) {
    auto *const bytes =
        reinterpret_cast<unsigned char *>(const_cast<std::uint32_t *>(image.pixels()));
    const int width = static_cast<int>(image.width());
    return cairo_image_surface_create_for_data(bytes, CAIRO_FORMAT_ARGB32, width,
                                               static_cast<int>(image.height()), width * 4);
}

/// Scales the background beforehand, as our compositor does.
cairo_surface_t *scaledBackground(const Scene &scene) {
    cairo_surface_t *const result = cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight);
    cairo_surface_t *const source = surfaceOf(*scene.background);
    cairo_t *const context = cairo_create(result);
    cairo_scale(context, kWidth / 1600.0, kHeight / 1000.0);
    cairo_set_source_surface(context, source, 0, 0);
    cairo_paint(context);
    cairo_destroy(context);
    cairo_surface_destroy(source);
    return result;
}

void drawGroup(cairo_t *context, const Scene &scene, cairo_surface_t *petal, std::size_t group) {
    for (std::size_t i = 0; i < scene.petals.size(); ++i) {
        if (scene.groupOf(i) != group) {
            continue;
        }
        cairo_save(context);
        cairo_translate(context, scene.petals[i].x, scene.petals[i].y);
        cairo_rotate(context, scene.petals[i].angle);
        cairo_set_source_surface(context, petal, -kSprite / 2.0, -kSprite / 2.0);
        cairo_pattern_set_filter(cairo_get_source(context), CAIRO_FILTER_BILINEAR);
        cairo_paint(context);
        cairo_restore(context);
    }
}

void drawWithCairo(cairo_t *context, const Scene &scene, cairo_surface_t *petal,
                   cairo_surface_t *background) {
    cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
    cairo_set_source_surface(context, background, 0, 0);
    cairo_paint(context);
    cairo_set_operator(context, CAIRO_OPERATOR_OVER);
    for (std::size_t group = 0; group < kOpacities.size(); ++group) {
        if (kOpacities[group] == 1) {
            drawGroup(context, scene, petal, group);
            continue;
        }
        cairo_push_group(context);
        drawGroup(context, scene, petal, group);
        cairo_pop_group_to_source(context);
        cairo_paint_with_alpha(context, kOpacities[group]);
    }
}

void cairoSprites(benchmark::State &state) {
    Scene scene(static_cast<int>(state.range(0)));
    cairo_surface_t *const petal = surfaceOf(*scene.petal);
    cairo_surface_t *const background = scaledBackground(scene);
    cairo_surface_t *const target = cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight);
    cairo_t *const context = cairo_create(target);
    for (auto _ : state) {
        scene.step();
        drawWithCairo(context, scene, petal, background);
        benchmark::ClobberMemory();
    }
    cairo_destroy(context);
    cairo_surface_destroy(target);
    cairo_surface_destroy(background);
    cairo_surface_destroy(petal);
}
BENCHMARK(cairoSprites)
    ->Name("Frame1280x800/cairo")
    ->Arg(0)
    ->Arg(120)
    ->Arg(300)
    ->Unit(benchmark::kMillisecond);

/// Measures the first frame, or the first one after the window was resized.
void scaleBackground(benchmark::State &state) {
    const Scene scene(0);
    Tree tree(scene);
    SoftwareCompositor compositor;
    PixelBuffer pixels(std::size_t{kWidth} * kHeight, 0);
    for (auto _ : state) {
        compositor.purge();
        compositor.composite(*tree.root, {pixels.data(), kWidth, kHeight, kWidth}, 1);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(scaleBackground)->Name("FirstFrame1280x800/lumivera")->Unit(benchmark::kMillisecond);

} // namespace
