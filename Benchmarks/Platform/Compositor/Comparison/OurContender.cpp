#include "Benchmarks/Platform/Compositor/Comparison/Contender.h"

#include "Platform/Compositor/PixelKernels.h"
#include "Platform/Compositor/SoftwareCompositor.h"

namespace {

/// The scene as a layer tree: a layer with the background, and a sublayer for each petal.
class OurContender final : public Contender {
  public:
    // Draws only the damage if the target keeps its contents.
    OurContender(const PetalScene &scene, const PixelKernels &kernels, bool keepsMemory)
        : _scene(scene), _keepsMemory(keepsMemory), _compositor(kernels),
          _pixels(scene.background().size()) {
        const auto width = static_cast<NSUInteger>(scene.width());
        const auto height = static_cast<NSUInteger>(scene.height());
        _root->setBounds(CGRectMake(0, 0, scene.width(), scene.height()));
        _root->setContents(CGImage::imageWithPixels(width, height, scene.background()));
        const auto picture = CGImage::imageWithPixels(PetalScene::kPetalSide,
                                                      PetalScene::kPetalSide, scene.petalPixels());
        for (const PetalScene::Petal &petal : scene.petals()) {
            _layers.push_back(makeRetained<CALayer>());
            _layers.back()->setBounds(
                CGRectMake(0, 0, PetalScene::kPetalSide, PetalScene::kPetalSide));
            _layers.back()->setContents(picture);
            _layers.back()->setOpacity(static_cast<float>(petal.alpha));
            _root->addSublayer(_layers.back().get());
        }
    }

    void draw() override {
        for (std::size_t i = 0; i < _layers.size(); ++i) {
            const PetalScene::Petal &petal = _scene.petals()[i];
            _layers[i]->setPosition({petal.x, petal.y});
            _layers[i]->setTransform(CATransform3DMakeRotation(petal.angle, 0, 0, 1));
        }
        const auto width = static_cast<std::size_t>(_scene.width());
        const auto height = static_cast<std::size_t>(_scene.height());
        _compositor.composite(*_root, {_pixels.data(), width, height, width, _age}, 1);
        _age = _keepsMemory ? 1 : 0;
    }

    PixelBuffer pixels() override { return _pixels; }

  private:
    const PetalScene &_scene;
    const bool _keepsMemory;
    unsigned _age = 0;
    SoftwareCompositor _compositor;
    Retained<CALayer> _root = makeRetained<CALayer>();
    std::vector<Retained<CALayer>> _layers;
    PixelBuffer _pixels;
};

} // namespace

std::vector<ContenderKind> ourContenders() {
    std::vector<ContenderKind> result;
    const auto add = [&](const PixelKernels &kernels, const char *what, bool keepsMemory) {
        result.push_back({std::string("lumivera ") + kernels.name + what,
                          [&kernels, keepsMemory](const PetalScene &scene) {
                              return std::make_unique<OurContender>(scene, kernels, keepsMemory);
                          }});
    };
    for (const PixelKernels *const kernels : PixelKernels::all()) {
        add(*kernels, "", true);
        add(*kernels, " all", false);
    }
    return result;
}
