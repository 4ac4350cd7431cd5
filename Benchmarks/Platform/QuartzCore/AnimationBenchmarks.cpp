// Measures animations: each frame of running ones, and layers that have none. Pictures are so
// small, and layers so transparent, that only the walk over the tree counts.

#include "Platform/Compositor/SoftwareCompositor.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/QuartzCore/CAAnimation.h"
#include "Platform/QuartzCore/CABasicAnimation.h"

#include <benchmark/benchmark.h>

#include <array>
#include <limits>
#include <vector>

namespace {

constexpr int kLayers = 10'000;

/// Groups of a hundred invisible layers.
struct Tree {
    Retained<CALayer> root = makeRetained<CALayer>();
    std::vector<Retained<CALayer>> layers;

    Tree() {
        root->setBounds(CGRectMake(0, 0, 16, 16));
        Retained<CALayer> group;
        for (int i = 0; i < kLayers; ++i) {
            if (i % 100 == 0) {
                group = makeRetained<CALayer>();
                root->addSublayer(group.get());
            }
            layers.push_back(makeRetained<CALayer>());
            layers.back()->setBounds(CGRectMake(0, 0, 8, 8));
            layers.back()->setPosition({8, static_cast<CGFloat>(i % 16)});
            group->addSublayer(layers.back().get());
        }
    }
};

const std::array<const char *, 5> kKeyPaths = {"opacity", "position", "transform.translation",
                                               "transform.scale", "transform.rotation"};

Retained<CABasicAnimation> makeAnimation(const char *keyPath) {
    auto animation = CABasicAnimation::animationWithKeyPath(keyPath);
    const std::string_view name = keyPath;
    if (name == "position" || name == "transform.translation") {
        animation->setFromValue(CGPoint{0, 0});
        animation->setToValue(CGPoint{10, 20});
    } else {
        animation->setFromValue(0.25);
        animation->setToValue(0.75);
    }
    animation->setDuration(1);
    animation->setAutoreverses(true);
    animation->setRepeatCount(std::numeric_limits<float>::infinity());
    return animation;
}

void animate(const Tree &tree, const char *keyPath) {
    for (const Retained<CALayer> &layer : tree.layers) {
        layer->addAnimation_forKey(makeAnimation(keyPath).get(), "key");
    }
}

/// Reads what every layer shows at one time after the other.
void evaluate(benchmark::State &state) {
    const char *keyPath = kKeyPaths[static_cast<std::size_t>(state.range(0))];
    const Tree tree;
    animate(tree, keyPath);
    NSTimeInterval time = CACurrentMediaTime();
    for (auto _ : state) {
        time += 0.016;
        for (const Retained<CALayer> &layer : tree.layers) {
            benchmark::DoNotOptimize(layer->presentationAt(time));
        }
    }
    state.SetLabel(keyPath);
    state.SetItemsProcessed(state.iterations() * kLayers);
}
BENCHMARK(evaluate)
    ->Name("Animations10000/evaluate")
    ->DenseRange(0, kKeyPaths.size() - 1)
    ->Unit(benchmark::kMicrosecond);

void walk(benchmark::State &state, const Tree &tree) {
    SoftwareCompositor compositor;
    std::array<std::uint32_t, 256> pixels{};
    for (auto _ : state) {
        compositor.composite(*tree.root, {pixels.data(), 16, 16, 16, 1}, 1);
    }
    state.SetItemsProcessed(state.iterations() * kLayers);
}

void walkOverStill(benchmark::State &state) { walk(state, Tree()); }
BENCHMARK(walkOverStill)->Name("Walk10000/never-animated")->Unit(benchmark::kMicrosecond);

void walkOverFormerlyAnimated(benchmark::State &state) {
    const Tree tree;
    animate(tree, "opacity");
    for (const Retained<CALayer> &layer : tree.layers) {
        layer->removeAllAnimations();
    }
    walk(state, tree);
}
BENCHMARK(walkOverFormerlyAnimated)
    ->Name("Walk10000/animated-before")
    ->Unit(benchmark::kMicrosecond);

void walkOverAnimated(benchmark::State &state) {
    const Tree tree;
    animate(tree, "transform.rotation");
    walk(state, tree);
}
BENCHMARK(walkOverAnimated)->Name("Walk10000/animated")->Unit(benchmark::kMicrosecond);

/// Adds and removes all animations.
void beginAndEnd(benchmark::State &state) {
    const Tree tree;
    for (auto _ : state) {
        animate(tree, "opacity");
        for (const Retained<CALayer> &layer : tree.layers) {
            layer->removeAllAnimations();
        }
    }
    state.SetItemsProcessed(state.iterations() * kLayers);
}
BENCHMARK(beginAndEnd)->Name("Animations10000/add-and-remove")->Unit(benchmark::kMillisecond);

/// The same with finite animations, whose ends the run loop waits for.
void beginAndEndFinite(benchmark::State &state) {
    const Tree tree;
    for (auto _ : state) {
        for (const Retained<CALayer> &layer : tree.layers) {
            const auto animation = makeAnimation("opacity");
            animation->setRepeatCount(1e9F);
            layer->addAnimation_forKey(animation.get(), "key");
        }
        for (const Retained<CALayer> &layer : tree.layers) {
            layer->removeAllAnimations();
        }
    }
    state.SetItemsProcessed(state.iterations() * kLayers);
}
BENCHMARK(beginAndEndFinite)
    ->Name("Animations10000/add-and-remove-finite")
    ->Unit(benchmark::kMillisecond);

} // namespace
